#!/bin/sh
# Captures about ten seconds with corvane.dll under Wine, and shows the capture file. Installs and
# builds what is missing first.
#
#   scripts/demo.sh         from a simulated modem on a COM port; also makes a Wireshark file of it,
#                           and shows its first lines where tshark is installed
#   scripts/demo.sh --mbn   through the Windows Mobile Broadband API, whose service is a stand-in
set -eu
cd "$(dirname -- "$0")/.."
. scripts/steps.sh

transport=serial
case "${1-}" in
  '') ;;
  --mbn) transport=mbn ;;
  *)
    echo "usage: scripts/demo.sh [--mbn]" >&2
    exit 2
    ;;
esac

patient_step scripts/packages.sh cmake ninja-build g++ g++-mingw-w64-x86-64-posix wine wine64 \
  googletest libcli11-dev libfmt-dev nlohmann-json3-dev python3
if [ $transport = mbn ]; then
  step scripts/build.sh native:corvane_cli mingw:corvane_dll,corvane_cli,mbn_stand_in
else
  step scripts/build.sh native:corvane_cli,corvane-modem-sim mingw:corvane_dll,corvane_cli
fi

demo=$PWD/build/demo
CORVANE_WINEPREFIX=$demo/wine-$transport
export CORVANE_WINEPREFIX
mkdir -p "$demo"
shut_wine_down() {
  WINEPREFIX=$CORVANE_WINEPREFIX wineserver -k >>"$CORVANE_WINEPREFIX.log" 2>&1 || true
}
on_end shut_wine_down

echo "Preparing Wine"
step scripts/wine.sh

# COM7 is a pseudo-terminal with the simulated modem behind it, and a COM-port interface in the
# registry by which the library finds it.
plug_in_simulated_modem() {
  start build/native/bin/corvane-modem-sim --link "$CORVANE_WINEPREFIX/dosdevices/com7" --rate 200 \
    --seed 7 --scenario signalling --start-at now --report "$demo/modem.jsonl" >"$demo/modem.log" 2>&1
  simulator=$started
  until grep -q '"plugged"' "$demo/modem.log"; do
    expect_simulated_modem
    sleep 0.05
  done
  cp scripts/modem-port.reg "$CORVANE_WINEPREFIX/drive_c/modem-port.reg"
  step scripts/wine.sh regedit /S 'C:\modem-port.reg'
}

expect_simulated_modem() {
  kill -0 "$simulator" 2>/dev/null || {
    show_log "$demo/modem.log"
    exit 1
  }
}

# The path by which a Windows program reaches a file of this machine.
windows_path() {
  echo "Z:$1" | sed 's|/|\\|g'
}

# The stand-in registers itself for the two classes of the Mobile Broadband API.
start_mobile_broadband_service() {
  CORVANE_MBN_SCENARIO=$(windows_path "$PWD/scripts/mobile-broadband.scenario")
  CORVANE_MBN_LOG=$(windows_path "$demo/mobile-broadband.log")
  export CORVANE_MBN_SCENARIO CORVANE_MBN_LOG
  step scripts/wine.sh regsvr32 /s "$(windows_path "$PWD/build/mingw/bin/mbn_stand_in.dll")"
}

if [ $transport = mbn ]; then
  start_mobile_broadband_service
  device='QMBE:{5A1B9A3C-61F0-4E0B-9D3E-0000000000AB}'
  profile=data-call.cfg
else
  plug_in_simulated_modem
  device=COM7
  profile=signalling.cfg
fi

# What an older demo exported is not of the capture that comes.
rm -f "$demo/demo.pcapng"

echo
echo "corvane devices"
step scripts/wine.sh build/mingw/bin/corvane.exe devices

echo
echo "corvane capture --device $device --config $profile --output demo.isf --overwrite --duration 10s"
step scripts/wine.sh build/mingw/bin/corvane.exe capture --device "$device" \
  --config "profiles/$profile" --output build/demo/demo.isf --overwrite --duration 10s
[ $transport = mbn ] || expect_simulated_modem

echo
echo "corvane info demo.isf"
step build/native/bin/corvane info build/demo/demo.isf

if [ $transport = serial ]; then
  echo
  echo "corvane export demo.isf -o demo.pcapng"
  step build/native/bin/corvane export build/demo/demo.isf -o build/demo/demo.pcapng --overwrite
  if command -v tshark >/dev/null; then
    echo
    echo "tshark -r demo.pcapng -c 10"
    step tshark -r build/demo/demo.pcapng -c 10 2>"$demo/tshark.log" || {
      show_log "$demo/tshark.log"
      exit 1
    }
  fi
fi
