#!/usr/bin/env bash
# Installs the Debian packages the build needs, and nothing when all are there.
# Usage: scripts/install-deps.sh [extra package ...]
set -euo pipefail

packages=(cmake ninja-build g++ clang libclang-rt-14-dev clang-format make pkg-config
          libgtest-dev libgmock-dev libbenchmark-dev zlib1g-dev libpng-dev libnifti2-dev libgdcm-dev
          libfreetype-dev libfontconfig-dev fonts-dejavu-core
          pybind11-dev python3-dev python3-numpy python3-pytest python3-scipy "$@")

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
echo "Installing: ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq >&2
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
