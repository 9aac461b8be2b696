#!/bin/sh
# Records a simulated modem near the limit for some minutes, with random disconnections:
# scripts/soak.sh MINUTES [--rate PACKETS] [--seed N]
# Builds what that needs first. scripts/soak.py says what is looked at.
set -eu
cd "$(dirname -- "$0")/.."
. scripts/steps.sh

if [ "$#" -lt 1 ]; then
  echo "Usage: scripts/soak.sh MINUTES [--rate PACKETS] [--seed N]" >&2
  exit 2
fi
patient_step scripts/packages.sh cmake ninja-build g++ g++-mingw-w64-x86-64-posix wine wine64 \
  googletest libcli11-dev libfmt-dev nlohmann-json3-dev python3 procps
step scripts/build.sh native:corvane-modem-sim mingw:corvane_dll,capture_host,registry_agent
exec python3 -B scripts/soak.py "$@"
