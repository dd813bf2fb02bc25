#!/usr/bin/env bash
# Runs the main job of the library on the built-in phantom: zelgen renders a
# gallery of pictures and says where its index.html is.
# Usage: scripts/demo.sh [BUILD_DIR]   (DEMO_DIR picks the gallery directory)
set -euo pipefail
build=${1:-build/release}
zelgen="$build/tools/zelgen"
if [ ! -x "$zelgen" ]; then
  echo "demo: $zelgen is missing; build first (make build)" >&2
  exit 1
fi
"$zelgen" demo "${DEMO_DIR:-demo-gallery}"
