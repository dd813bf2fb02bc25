#!/usr/bin/env bash
# Installs the release build into a scratch prefix and builds a separate
# project against it, once through the CMake package and once through
# pkg-config.
set -euo pipefail
build=${1:-build/release}
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
cmake -S examples/consumer -B "$scratch/consumer" -G Ninja -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$scratch/consumer" >/dev/null
"$scratch/consumer/consumer"

libdir=$(find "$scratch/prefix" -name ZelImageGenerator.pc -printf '%h\n' | head -n 1)
export PKG_CONFIG_PATH="$libdir"
# shellcheck disable=SC2046
g++ -std=c++17 examples/consumer/*.cpp -o "$scratch/consumer-pc" $(pkg-config --cflags --libs ZelImageGenerator)
LD_LIBRARY_PATH="$(pkg-config --variable=libdir ZelImageGenerator)" "$scratch/consumer-pc"
echo "install check: CMake package and pkg-config both work"
