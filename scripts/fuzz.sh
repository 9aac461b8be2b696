#!/bin/sh
# Fuzzes one target for some minutes: scripts/fuzz.sh TARGET MINUTES [OPTION]...
# Adds what it finds to fuzz/corpus/TARGET where that reaches code that the corpus does not reach and is
# small. OPTION is one of libFuzzer's. docs/fuzzing.md says more.
set -eu
cd "$(dirname -- "$0")/.."
. scripts/steps.sh

if [ "$#" -lt 2 ] || [ ! -f "fuzz/$1_fuzzer.cpp" ] || ! [ "$2" -gt 0 ] 2>/dev/null; then
  echo "Usage: scripts/fuzz.sh TARGET MINUTES [OPTION]..." >&2
  exit 2
fi
target=$1
minutes=$2
shift 2
fuzzer=build/fuzz/bin/${target}_fuzzer
found=build/fuzz/found/$target
small=build/fuzz/small/$target
log=build/fuzz/$target.log

patient_step scripts/packages.sh cmake ninja-build clang libclang-rt-dev llvm libcli11-dev \
  libfmt-dev nlohmann-json3-dev
step scripts/build.sh "fuzz:${target}_fuzzer"
mkdir -p "$found" "fuzz/corpus/$target"

# Where each block came from is not recorded, and few freed ones are kept: half of the time would go
# there. An input that stops the target is repeated without any of this.
fast=malloc_context_size=0:quarantine_size_mb=1:max_malloc_fill_size=0
echo "Fuzzing $target for $minutes min"
if ! step env "ASAN_OPTIONS=$fast" "$fuzzer" "-max_total_time=$((minutes * 60))" -entropic=0 \
  -print_final_stats=1 -artifact_prefix="$found-" "$@" "$found" "fuzz/corpus/$target" >"$log" 2>&1; then
  show_log "$log"
  echo "$target has stopped; the log names the input that $fuzzer repeats it with" >&2
  exit 1
fi
sed -n 's/^stat::number_of_executed_units: *\([0-9]*\)$/\1 executions/p' "$log"

rm -rf "$small"
mkdir -p "$small"
find "$found" -type f -size -1025c -exec cp -t "$small" {} +
before=$(find "fuzz/corpus/$target" -type f | wc -l)
# As few as reach all of it. Without -use_counters=0 every new number of repetitions would be kept.
step "$fuzzer" -set_cover_merge=1 -use_counters=0 "fuzz/corpus/$target" "$small" >>"$log" 2>&1 || {
  show_log "$log"
  exit 1
}
after=$(find "fuzz/corpus/$target" -type f | wc -l)
echo "$((after - before)) inputs added to fuzz/corpus/$target"
