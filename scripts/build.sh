#!/bin/sh
# Configures and builds presets of CMakePresets.json: scripts/build.sh PRESET[:TARGET[,TARGET]...]...
# Without targets all of a preset is built.
set -eu
cd "$(dirname -- "$0")/.."
. scripts/steps.sh

mkdir -p build
for wanted in "$@"; do
  preset=${wanted%%:*}
  targets=all
  [ "$preset" = "$wanted" ] || targets=$(echo "${wanted#*:}" | tr ',' ' ')
  echo "Building $preset (the first time takes minutes; log in build/$preset.build.log)"
  # A build tree that came here with a copy of its checkout cannot be used.
  fresh=
  cache=build/$preset/CMakeCache.txt
  if [ -e "$cache" ] && ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$PWD" "$cache"; then
    fresh=--fresh
  fi
  step cmake $fresh --preset "$preset" >"build/$preset.configure.log" 2>&1 || {
    show_log "build/$preset.configure.log"
    exit 1
  }
  # shellcheck disable=SC2086  # the targets are meant to fall into words
  step cmake --build --preset "$preset" --target $targets >"build/$preset.build.log" 2>&1 || {
    show_log "build/$preset.build.log"
    exit 1
  }
done
