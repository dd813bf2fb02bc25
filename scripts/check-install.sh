#!/usr/bin/env bash
# Installs the release build into a scratch prefix and builds a separate
# project against it, once through the CMake package and once through
# pkg-config. The consumer (examples/consumer) calls every exported class,
# instantiation and function, so a missing export fails its link here.
set -euo pipefail
build=${1:-build/release}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# Runs a step quietly; shows its output when it fails.
quiet() {
  if ! "$@" >"$scratch/log" 2>&1; then
    cat "$scratch/log" >&2
    echo "install check: failed: $*" >&2
    exit 1
  fi
}

quiet cmake --install "$build" --prefix "$scratch/prefix"
quiet cmake -S examples/consumer -B "$scratch/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/prefix"
quiet cmake --build "$scratch/consumer"
"$scratch/consumer/consumer"

libdir=$(find "$scratch/prefix" -name ZelImageGenerator.pc -printf '%h\n' | head -n 1)
export PKG_CONFIG_PATH="$libdir"
# shellcheck disable=SC2046
quiet g++ -std=c++17 examples/consumer/*.cpp -o "$scratch/consumer-pc" $(pkg-config --cflags --libs ZelImageGenerator)
LD_LIBRARY_PATH="$(pkg-config --variable=libdir ZelImageGenerator)" "$scratch/consumer-pc" >/dev/null
echo "install check: CMake package and pkg-config both work"
