#!/bin/sh
# Looks for mistakes with clang-tidy: scripts/lint.sh [FILE.cpp...]
# Without files in all of src and tools. Installs what is missing first. .clang-tidy says what is looked
# for; the exit code is 0 only when nothing was found.
#
# A file is read as it is compiled: as this machine's build does or, when Windows alone has it, as the
# cross build does, with the headers of mingw-w64. A header is read with each file that includes it.
set -eu
for file in "$@"; do
  shift
  set -- "$@" "$(realpath "$file")"
done
cd "$(dirname -- "$0")/.."
. scripts/steps.sh

patient_step scripts/packages.sh cmake ninja-build clang clang-tidy g++ g++-mingw-w64-x86-64-posix \
  libcli11-dev libfmt-dev nlohmann-json3-dev

mkdir -p build
for preset in lint lint-windows; do
  step cmake --preset "$preset" >"build/$preset.configure.log" 2>&1 || {
    show_log "build/$preset.configure.log"
    exit 1
  }
done

# The C++ files that a preset compiles, one a line.
files_of() {
  sed -n 's/^ *"file": "\(.*\.cpp\)",*$/\1/p' "build/$1/compile_commands.json" | sort -u
}
files_of lint >build/lint/all.list
files_of lint-windows | comm -13 build/lint/all.list - >build/lint-windows/all.list

if [ $# -eq 0 ]; then
  for preset in lint lint-windows; do
    cp "build/$preset/all.list" "build/$preset/files.list"
  done
else
  : >build/lint/files.list
  : >build/lint-windows/files.list
  for file in "$@"; do
    if grep -qxF "$file" build/lint/all.list; then
      echo "$file" >>build/lint/files.list
    elif grep -qxF "$file" build/lint-windows/all.list; then
      echo "$file" >>build/lint-windows/files.list
    else
      echo "$file is none of the C++ files that src and tools are compiled of" >&2
      exit 2
    fi
  done
fi

# look_at PRESET [OPTION...]: clang-tidy over the preset's list of files, as many at a time as there are
# processors. What it says of a file is printed at once, and only when it has found something.
look_at() {
  preset=$1
  shift
  # shellcheck disable=SC2016  # the inner shell's parameters
  step xargs -a "build/$preset/files.list" -r -d '\n' -P "$(nproc)" -I FILE sh -c '
    found=$(clang-tidy --quiet "$@" 2>&1) || {
      echo "$found" | grep -v "warnings.* generated\.$"
      exit 1
    }' sh -p "build/$preset" "$@" FILE
}

failed=
look_at lint || failed=yes
# Clang knows where the C headers of mingw-w64 are, but not those of Debian's C++ library for it.
library=$(x86_64-w64-mingw32-g++-posix -print-file-name=include/c++)
look_at lint-windows --extra-arg-before=--target=x86_64-w64-mingw32 \
  --extra-arg-before=-isystem --extra-arg-before="$library" \
  --extra-arg-before=-isystem --extra-arg-before="$library/x86_64-w64-mingw32" || failed=yes
if [ -n "$failed" ]; then
  echo "FAILED"
  exit 1
fi
echo "Nothing found in $(cat build/lint/files.list build/lint-windows/files.list | wc -l) files"
