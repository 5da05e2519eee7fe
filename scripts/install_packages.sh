#!/usr/bin/env bash
# Installs the named Debian packages that are not installed yet (apt-get,
# through sudo when not run as root). Quiet when everything is there.
#   scripts/install_packages.sh PACKAGE...
set -euo pipefail
missing=()
for p in "$@"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "setup: installing ${missing[*]}"
sudo=""
if [ "$(id -u)" != 0 ]; then
  command -v sudo >/dev/null || { echo "setup: need root or sudo to install: ${missing[*]}" >&2; exit 1; }
  sudo="sudo"
fi
$sudo apt-get update -qq
DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
