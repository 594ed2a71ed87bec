#!/usr/bin/env bash
# Installs what the named sections of packages.txt name and this machine lacks: as root, else with sudo; else it
# says the one command and stops. Never removes a package. What an interrupted installation left half done is
# finished first; while another program installs, it waits for up to ten minutes.
# usage: install.sh SECTION...
set -eu
here=$(cd "$(dirname "$0")" && pwd)
. "$here/calm.sh"
wait_seconds=600

for section; do
    grep -q "^\[$section\]" "$here/packages.txt" || { printf 'packages.txt has no section [%s]\n' "$section" >&2; exit 2; }
done
mapfile -t wanted < <(awk -v sections=" $* " '
    { sub(/#.*/, ""); gsub(/[ \t]/, "") }
    /^\[/ { inside = index(sections, " " substr($0, 2, length($0) - 2) " "); next }
    inside && NF' "$here/packages.txt")
missing=()
for package in "${wanted[@]}"; do
    status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

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
trap 'calm_end; exit 130' INT

# apt's own count, "pmstatus:NAME:12.5:..." and "dlstatus:3:40.0:...", beside what it prints. Where packages are
# installed, fetching and unpacking are a quarter and three of the way.
show_progress() {
    trap 'calm_what="Stopping as soon as the packages are whole"' INT  # apt does not leave them half done
    local line status='^(dl|pm)status:.*:([0-9]+)\.[0-9]+:'
    while IFS= read -r line; do
        if [[ ! $line =~ $status ]]; then
            printf '%s\n' "$line" >>"$log"
        elif [ "$1" = update ]; then
            calm_at "${BASH_REMATCH[2]}" 100
        elif [ "${BASH_REMATCH[1]}" = dl ]; then
            calm_at $((BASH_REMATCH[2] / 4)) 100
        else
            calm_at $((25 + BASH_REMATCH[2] * 3 / 4)) 100
        fi
    done
}

# Writes to $log; its status is apt's.
apt() {
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive LC_ALL=C apt-get -q -o APT::Status-Fd=1 "$@" 2>&1 | show_progress "$1"
    return "${PIPESTATUS[0]}"
}

# Again while another program holds the lock or something was left half done, as long as that helps.
patient_apt() {
    local deadline=$((SECONDS + wait_seconds)) told= mended=
    while :; do
        : >"$log"
        if apt "$@"; then return 0; fi
        if grep -qE 'dpkg was interrupted' "$log" && [ ! $mended ]; then
            mended=yes
            calm_says 'Finishing an installation that was interrupted'
            "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive dpkg --configure -a --force-confdef --force-confold >>"$log" 2>&1 || true
        elif grep -qE 'Could not get lock|Unable to (acquire|lock)' "$log" && ((SECONDS < deadline)); then
            if [ ! $told ]; then
                told=yes
                calm_says "Waiting while another program installs: $(grep -oE 'process [0-9]+ \([^)]*\)' "$log" | head -n 1)"
            fi
            sleep 2
        else
            return 1
        fi
    done
}

calm_begin "Looking for ${#missing[@]} Debian packages"
updated=yes
patient_apt update || updated=
calm_begin "Installing ${#missing[@]} Debian packages"
if ! patient_apt install -y --no-install-recommends --no-remove "${missing[@]}"; then
    calm_end
    tail -n 20 "$log" >&2
    [ $updated ] || printf 'The lists of packages could not be renewed either.\n' >&2
    printf 'The packages could not be installed.\n' >&2
    exit 1
fi
calm_end "Installed ${#missing[@]} Debian packages in $(calm_time $((SECONDS)))"
