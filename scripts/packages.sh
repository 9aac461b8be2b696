#!/bin/sh
# Installs the Debian packages that are missing: scripts/packages.sh PACKAGE...
# Works as root, and as any user who may use sudo. Does nothing when all are there.
set -eu

missing=
for package in "$@"; do
  case $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) in
    installed) ;;
    *) missing="$missing $package" ;;
  esac
done
[ -n "$missing" ] || exit 0

if [ "$(id -u)" -eq 0 ]; then
  as_root=
elif command -v sudo >/dev/null; then
  as_root=sudo
else
  echo "Missing packages:$missing" >&2
  echo "Install them as root, or install sudo and run this again." >&2
  exit 1
fi

echo "Installing:$missing"
$as_root apt-get update -qq
# shellcheck disable=SC2086  # the list is meant to fall into words
$as_root env DEBIAN_FRONTEND=noninteractive \
  apt-get install -y -qq --no-install-recommends -o Dpkg::Use-Pty=0 $missing >/dev/null
