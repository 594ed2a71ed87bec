#!/usr/bin/env bash
# Installs what packages.txt (or the list named) names and this machine lacks: as root, else with sudo; else
# it says the one command and stops. Never removes a package.
# usage: install.sh [LIST]
set -eu
here=$(cd "$(dirname "$0")" && pwd)
mapfile -t wanted < <(sed 's/#.*//' "$here/${1:-packages.txt}" | tr -d ' \t' | grep -v '^$')

missing=()
for package in "${wanted[@]}"; do
    status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

printf 'Installing %d Debian packages\n' "${#missing[@]}"
as_root=()
if [ "$(id -u)" != 0 ]; then
    if command -v sudo >/dev/null && sudo -n true 2>/dev/null || { [ -t 0 ] && command -v sudo >/dev/null; }; then
        as_root=(sudo)
    else
        printf 'This needs an administrator once:\n  apt-get install --no-install-recommends --no-remove %s\n' "${missing[*]}" >&2
        exit 1
    fi
fi
log=$(mktemp)
trap 'rm -f "$log"' EXIT
export DEBIAN_FRONTEND=noninteractive
if ! { "${as_root[@]}" apt-get update -q &&
       "${as_root[@]}" apt-get install -q -y --no-install-recommends --no-remove "${missing[@]}"; } >"$log" 2>&1; then
    tail -n 20 "$log" >&2
    printf 'The packages could not be installed.\n' >&2
    exit 1
fi
