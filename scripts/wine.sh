#!/bin/sh
# Runs one Windows program: scripts/wine.sh PROGRAM.exe [ARGUMENT...]
# With no argument it only makes the Wine prefix ready. A PROGRAM without folder and extension is one of
# Windows itself, such as regedit.
#
# The prefix lies in the build tree (build/wine, or $CORVANE_WINEPREFIX), is made at the first use,
# and serves every Windows program of this checkout. The program's exit code is this script's.
set -eu

# Debian's loader of Wine lies at a fixed address, and Linux gives it a heap at random in the gigabyte
# behind. One time in some thousand that is where Wine needs the page of Windows' shared data: the
# program ends before it has begun, or breaks later. So nothing is placed at random here, where the
# system lets a program ask for that (a container may not).
if ! grep -q '[4-7c-f]....$' /proc/self/personality && setarch -R true 2>/dev/null; then
  exec setarch -R "$0" "$@"
fi

root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd)
WINEPREFIX=${CORVANE_WINEPREFIX:-$root/build/wine}
# Without winemenubuilder.exe Wine puts nothing into the user's menus.
export WINEPREFIX WINEDEBUG=-all WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe='
# Wine reads file names in the locale's encoding, and fails at once in a folder whose name has letters
# that the encoding has not.
export LC_ALL=C.UTF-8
log=$WINEPREFIX.log

# Runs a command of the preparation; when it fails, its exit code is this script's.
prepare() {
  "$@" >>"$log" 2>&1 </dev/null 9>&- || {
    code=$?
    echo "Wine: $* failed ($code). The end of $log:" >&2
    tail -n 30 "$log" >&2
    exit "$code"
  }
}

# The path of one of Windows' programs. By its bare name Wine would start it through a program of its
# own, start.exe, which takes five times as long.
path_of() {
  folder='C:\windows\system32'
  if [ -e "$WINEPREFIX/drive_c/windows/$1.exe" ]; then
    folder='C:\windows'
  fi
  printf '%s\%s.exe\n' "$folder" "$1"
}

# Wine copies its own libraries into a new prefix, 680 MB of them, and loads them from its own folder
# even so: links do as well. An update of the prefix would write through them, so it never gets one.
link_libraries() {
  builtin=$(echo /usr/lib/*/wine/x86_64-windows)
  if [ -d "$builtin" ]; then
    echo disable >"$WINEPREFIX/.update-timestamp"
    libraries=$(find "$builtin" -maxdepth 1 -type f -printf '%f %s\n')
    for folder in "$WINEPREFIX"/drive_c/windows/system32 "$WINEPREFIX"/drive_c/windows/winsxs/*/; do
      { echo "$libraries"; find "$folder" -maxdepth 1 -type f -printf '%f %s\n'; } | sort | uniq -d |
        sed "s|^\(.*\) .*|$builtin/\1|" | xargs -r -d '\n' ln -sf -t "$folder"
    done
  fi
}

mkdir -p "$(dirname "$WINEPREFIX")"
(
  # One at a time: test programs start side by side.
  flock 9
  # A prefix whose making was broken off is made anew.
  if [ -e "$WINEPREFIX/unfinished" ]; then
    wineserver -k >>"$log" 2>&1 || true
    rm -rf "$WINEPREFIX"
  fi
  if [ ! -e "$WINEPREFIX" ]; then
    mkdir "$WINEPREFIX"
    : >"$WINEPREFIX/unfinished"
  fi
  if [ ! -e "$WINEPREFIX/ready" ]; then
    prepare wine wineboot -i
    # The server that made a prefix looks slowly for classes that are not registered: start anew.
    wineserver -k >>"$log" 2>&1 || true
    prepare wineserver -w
    [ ! -e "$WINEPREFIX/unfinished" ] || link_libraries
    : >"$WINEPREFIX/ready"
    rm -f "$WINEPREFIX/unfinished"
  fi
  # Wine's server and services live on after the program that started them. Starting them here, with
  # their output in the log, keeps them from holding the caller's pipes open. A server that runs
  # already may be just about to end, with its services: so a program is run here in any case, after
  # which they stay for a while. (At its end the server lists its objects, many thousands of lines.)
  wineserver -p60 >>"$log" 2>/dev/null </dev/null 9>&- || true
  prepare wine "$(path_of cmd)" /c exit
) 9>"$WINEPREFIX.lock"

[ "$#" -gt 0 ] || exit 0
program=$1
shift
case $program in
  *[./\\]*) ;;
  *) program=$(path_of "$program") ;;
esac
exec wine "$program" "$@"
