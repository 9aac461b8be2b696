#!/bin/sh
# Says whether the tests would notice: scripts/mutate.sh [--seed N] [--count N] [ROOM]...
# Changes one token of the sources at a time, at least 400 times over all rooms. Builds what that needs
# first, in a tree of its own, and installs what is missing. scripts/mutate.py says what is counted.
set -eu
cd "$(dirname -- "$0")/.."
. scripts/steps.sh

patient_step scripts/packages.sh cmake ninja-build g++ g++-mingw-w64-x86-64-posix lld wine wine64 \
  googletest libgtest-dev libgmock-dev libcli11-dev libfmt-dev nlohmann-json3-dev python3 tshark
step nice -n 5 python3 -B scripts/mutate.py "$@"
