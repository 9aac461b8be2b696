#!/bin/sh
# Captures about ten seconds from a simulated modem with corvane.dll under Wine, and shows the capture
# file. Installs and builds what is missing first.
set -eu
cd "$(dirname -- "$0")/.."

scripts/packages.sh cmake ninja-build g++ g++-mingw-w64-x86-64-posix wine wine64 googletest \
  libcli11-dev libfmt-dev nlohmann-json3-dev
scripts/build.sh native:corvane_cli,corvane-modem-sim mingw:corvane_dll,corvane_cli

demo=$PWD/build/demo
CORVANE_WINEPREFIX=$demo/wine
export CORVANE_WINEPREFIX
mkdir -p "$demo"
simulator=
finish() {
  [ -z "$simulator" ] || kill "$simulator" 2>/dev/null || true
  WINEPREFIX=$CORVANE_WINEPREFIX wineserver -k >>"$CORVANE_WINEPREFIX.log" 2>&1 || true
}
trap finish EXIT

echo "Preparing Wine"
scripts/wine.sh

# COM7 is a pseudo-terminal with the simulated modem behind it, and a COM-port interface in the
# registry by which the library finds it.
build/native/bin/corvane-modem-sim --link "$CORVANE_WINEPREFIX/dosdevices/com7" --rate 200 --seed 7 \
  --report "$demo/modem.jsonl" >"$demo/modem.log" 2>&1 </dev/null &
simulator=$!
cp scripts/modem-port.reg "$CORVANE_WINEPREFIX/drive_c/modem-port.reg"
scripts/wine.sh regedit /S 'C:\modem-port.reg'

echo
echo "corvane capture --device COM7 --config data-call.cfg --output demo.isf --duration 10s"
scripts/wine.sh build/mingw/bin/corvane.exe capture --device COM7 --config profiles/data-call.cfg \
  --output build/demo/demo.isf --duration 10s

echo
echo "corvane info demo.isf"
build/native/bin/corvane info build/demo/demo.isf
