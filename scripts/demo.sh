#!/usr/bin/env bash
# Runs the main job of the library on the built-in phantom.
set -euo pipefail
build=${1:-build/release}
if [ -x "$build/tools/zelgen" ]; then
  "$build/tools/zelgen" demo "${DEMO_DIR:-demo-gallery}"
else
  "$build/examples/tiled_volume"
fi
