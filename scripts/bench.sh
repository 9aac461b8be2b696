#!/bin/sh
# Measures how fast everything is, each thing beside what limits it: scripts/bench.sh [NAME]...
# Prints tables of ratios beside the goals, and writes them into docs/performance.md. NAME is one of the
# measurements, scripts/bench/NAME.py; without any, all of them run, which takes some minutes.
set -eu
cd "$(dirname -- "$0")/.."
. scripts/steps.sh

patient_step scripts/packages.sh cmake ninja-build g++ g++-mingw-w64-x86-64-posix wine wine64 \
  googletest libcli11-dev libfmt-dev nlohmann-json3-dev libbenchmark-dev python3 time
step scripts/build.sh bench:benchmarks native:corvane \
  mingw:corvane_dll,capture_host,registry_agent,port_reader
step scripts/wine.sh

if [ "$#" -eq 0 ]; then
  set -- scripts/bench/*.py
else
  for name in "$@"; do
    set -- "$@" "scripts/bench/$name.py"
    shift
  done
fi
step python3 scripts/bench_table.py --write docs/performance.md "$@"
