#!/bin/sh
# Configures and builds presets of CMakePresets.json: scripts/build.sh PRESET...
set -eu
cd "$(dirname -- "$0")/.."

mkdir -p build
for preset in "$@"; do
  echo "Building $preset"
  cmake --preset "$preset" >"build/$preset.configure.log" 2>&1 || {
    cat "build/$preset.configure.log" >&2
    exit 1
  }
  cmake --build --preset "$preset" >"build/$preset.build.log" 2>&1 || {
    cat "build/$preset.build.log" >&2
    exit 1
  }
done
