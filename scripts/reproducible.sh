#!/bin/sh
# Builds the products twice, each time from nothing and in a folder of another name, and compares them
# byte for byte: scripts/reproducible.sh [PRESET]...
# The presets are mingw and native unless others are named. Takes some ten minutes.
set -eu
cd "$(dirname -- "$0")/.."
. scripts/steps.sh

[ "$#" -ne 0 ] || set -- mingw native
folder=$PWD/build/reproducible
rm -rf "$folder"
# Neither takes anything that was compiled elsewhere.
export CCACHE_DISABLE=1
# What packages say of when they were made.
SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
export SOURCE_DATE_EPOCH

for place in one another/place; do
  mkdir -p "$folder/$place"
  git ls-files -z | xargs -0 cp --parents -t "$folder/$place"
  for preset in "$@"; do
    echo "Building $preset in build/reproducible/$place"
    log="$folder/$preset.$(basename "$place").log"
    targets='corvane_dll corvane_cli'
    [ "$preset" = mingw ] || targets='corvane_cli corvane-modem-sim'
    # shellcheck disable=SC2086  # the targets are meant to fall into words
    step sh -c 'cd "$1" && shift && cmake --preset "$1" -DBUILD_TESTING=OFF &&
      preset=$1 && shift && cmake --build --preset "$preset" --target "$@"' \
      sh "$folder/$place" "$preset" $targets >"$log" 2>&1 || {
      show_log "$log"
      exit 1
    }
  done
done

different=
for preset in "$@"; do
  products='corvane.dll corvane.exe'
  [ "$preset" = mingw ] || products='corvane corvane-modem-sim'
  for product in $products; do
    one=$folder/one/build/$preset/bin/$product
    if cmp "$one" "$folder/another/place/build/$preset/bin/$product"; then
      echo "$product: the same $(wc -c <"$one") bytes, SHA-256 $(sha256sum "$one" | cut -c 1-64)"
    else
      different="$different $product"
    fi
  done
done
if [ -n "$different" ]; then
  echo "DIFFERENT:$different"
  exit 1
fi
