#!/bin/sh
# Builds everything and runs every test; installs what is missing first.
# Ends with the totals, and behind them with what failed; the exit code is 0 only when nothing did.
set -eu
cd "$(dirname -- "$0")/.."
. scripts/steps.sh

# llvm has the symbolizer, without which the leak checker's suppressions name nothing. What is
# installed is packed with dpkg-dev and file, and found with pkgconf. nodejs runs an example. tshark reads
# what is made for Wireshark, and chromium shows the page of a report.
patient_step scripts/packages.sh cmake ninja-build g++ clang libclang-rt-dev llvm \
  g++-mingw-w64-x86-64-posix wine wine64 googletest libcli11-dev libfmt-dev nlohmann-json3-dev \
  python3 procps dpkg-dev file pkgconf nodejs libbenchmark-dev valgrind tshark \
  chromium gcovr

presets='native asan tsan mingw'
step scripts/build.sh native:all,counted_tests asan tsan mingw bench

# Windows programs of one test run share a Wine prefix; it is ready before the first of them starts.
shut_wine_down() {
  for prefix in "${CORVANE_WINEPREFIX:-$PWD/build/wine}" build/mingw/wine-*/; do
    [ ! -d "$prefix" ] || WINEPREFIX=$(realpath "$prefix") wineserver -k >>build/wine.log 2>&1 || true
  done
}
on_end shut_wine_down
step scripts/wine.sh

rm -rf build/*/test-results build/*/ctest.xml
failed=
for preset in $presets; do
  echo "Testing $preset"
  mkdir -p "build/$preset/test-results"
  step ctest --preset "$preset" --output-junit ctest.xml --parallel "$(nproc)" \
    >"build/$preset.test.log" 2>&1 || {
    show_log "build/$preset.test.log"
    failed="$failed $preset"
  }
done

echo "Counting what of src the tests run"
step python3 -B scripts/coverage.py || failed="$failed coverage"

for fuzzer in build/asan/bin/*_fuzzer; do
  name=$(basename "$fuzzer" _fuzzer)
  echo "Fuzzing $name for five seconds"
  # New inputs go to a scratch folder; the committed ones are only read.
  mkdir -p "build/fuzz-found/$name"
  step "$fuzzer" -max_total_time=5 -print_final_stats=0 -artifact_prefix="build/fuzz-found/" \
    "build/fuzz-found/$name" "fuzz/corpus/$name" >"build/$name.fuzz.log" 2>&1 || {
    show_log "build/$name.fuzz.log"
    failed="$failed $name-fuzzer"
  }
done

echo "Running the benchmarks for a moment"
# A benchmark that could not be run says so, and the exit code is 0 even so.
for benchmark in build/bench/bin/*_bench; do
  name=$(basename "$benchmark")
  if ! step "$benchmark" --benchmark_min_time=0.001 >"build/$name.log" 2>&1 ||
    grep -q 'ERROR OCCURRED' "build/$name.log"; then
    show_log "build/$name.log"
    failed="$failed $name"
  fi
done

echo "Counting the instructions of the library's work"
step python3 scripts/instruction_counts.py build/bench/bin/counted_work >build/counts.log 2>&1 || {
  show_log build/counts.log
  failed="$failed instruction-counts"
}

# shellcheck disable=SC2086  # the list is meant to fall into words
python3 scripts/totals.py $presets || failed="$failed totals"
if [ -n "$failed" ]; then
  echo "FAILED:$failed"
  exit 1
fi
