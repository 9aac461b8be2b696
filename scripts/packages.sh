#!/bin/sh
# Installs the Debian packages that are missing: scripts/packages.sh PACKAGE...
# Works as root, and as any user who may use sudo. Does nothing when all are there.
set -eu
# shellcheck source=scripts/steps.sh
. "$(dirname -- "$0")/steps.sh"

missing=
for package in "$@"; do
  case $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) in
    installed) ;;
    *) missing="$missing $package" ;;
  esac
done
[ -n "$missing" ] || exit 0

# Another user's processes cannot be ended, and sudo asks for a password: with it, Ctrl-C reaches apt-get
# from the terminal, and other signals wait for it.
if [ "$(id -u)" -eq 0 ]; then
  as_root=
  root_step=step
elif command -v sudo >/dev/null; then
  as_root=sudo
  root_step=sudo
else
  echo "Missing packages:$missing" >&2
  echo "Install them as root, or install sudo and run this again." >&2
  exit 1
fi

echo "Installing:$missing"
$root_step apt-get update -qq
# shellcheck disable=SC2086  # the list is meant to fall into words
$root_step apt-get install --download-only -y -qq --no-install-recommends $missing >/dev/null
# Not a step, and not a member of the terminal's process group: packages that are half installed would
# be worse than the wait.
# shellcheck disable=SC2086  # the list is meant to fall into words
$as_root setsid -w env DEBIAN_FRONTEND=noninteractive \
  apt-get install -y -qq --no-install-recommends -o Dpkg::Use-Pty=0 $missing >/dev/null </dev/null
