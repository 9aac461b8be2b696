#!/bin/sh
# Runs one Windows program: scripts/wine.sh PROGRAM.exe [ARGUMENT...]
# With no argument it only makes the Wine prefix ready.
#
# The prefix lies in the build tree (build/wine, or $CORVANE_WINEPREFIX), is made at the first use,
# and serves every Windows program of this checkout. The program's exit code is this script's.
set -eu

root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd)
WINEPREFIX=${CORVANE_WINEPREFIX:-$root/build/wine}
export WINEPREFIX WINEDEBUG=-all WINEDLLOVERRIDES='mscoree=;mshtml='
log=$WINEPREFIX.log

mkdir -p "$(dirname "$WINEPREFIX")"
(
  # One at a time: test programs start side by side.
  flock 9
  if [ ! -e "$WINEPREFIX/ready" ]; then
    wine wineboot -i >>"$log" 2>&1 9>&-
    # The server that made a prefix looks slowly for classes that are not registered: start anew.
    wineserver -k >>"$log" 2>&1 || true
    wineserver -w
    : >"$WINEPREFIX/ready"
  fi
  # Wine's server and services live on after the program that started them. Starting them here, with
  # their output in the log, keeps them from holding the caller's pipes open. A server that runs
  # already may be just about to end, with its services: so a program is run here in any case, after
  # which they stay for a while. (At its end the server lists its objects, many thousands of lines.)
  wineserver -p60 >>"$log" 2>/dev/null </dev/null 9>&- || true
  wine cmd /c exit >>"$log" 2>&1 </dev/null 9>&-
) 9>"$WINEPREFIX.lock"

[ "$#" -gt 0 ] || exit 0
exec wine "$@"
