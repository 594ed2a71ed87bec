#!/usr/bin/env bash
# Configures and builds the release preset; says how far it is, and little else unless something fails. Stopped in
# the middle, it goes on from there the next time.
# usage: build.sh [--tests] [TARGET...]      --tests: the tests too are configured; no target: everything
set -eu
cd "$(dirname "$0")/.."
. packaging/calm.sh
mkdir -p build
log=build/build.log cache=build/release/CMakeCache.txt
export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$PWD}
trap 'calm_end "Stopped; the next start goes on from here"; exit 130' INT
tests=
[ "${1:-}" != --tests ] || { tests=ON; shift; }

# One compiler takes up to 0.8 GB: as many at once as there are processors, and memory for.
parallel() {
    local free most
    free=$(awk '/^MemAvailable/ { print int($2 / 1024) }' /proc/meminfo)
    most=$(cat /sys/fs/cgroup/memory.max 2>/dev/null || echo max)
    [ "$most" = max ] || ((most / 1048576 >= free)) || free=$((most / 1048576))
    local count=$((free / 800)) processors
    processors=$(nproc)
    ((count < processors)) || count=$processors
    echo $((count > 0 ? count : 1))
}

failed() {
    calm_end
    grep -nE 'error|FAILED|CMake Error' -A 8 "$log" | head -n 60 >&2
    printf 'The build failed; all of it stands in %s\n' "$log" >&2
    exit 1
}

# "[12/345] ..." for each step that is done. Prints the way to the log, and keeps calm.
show_progress() {
    trap '' INT
    local line step='^\[([0-9]+)/([0-9]+)\]'
    while IFS= read -r line; do
        printf '%s\n' "$line" >>"$log"
        if [[ $line =~ $step ]]; then calm_at "${BASH_REMATCH[1]}" "${BASH_REMATCH[2]}"; fi
    done
}

start=$SECONDS
calm_begin 'Configuring'
# Who only runs the programs has no need of what the tests need; who once had the tests keeps them.
: "${tests:=$(sed -n 's/^QUORVIA_TESTS:BOOL=//p' "$cache" 2>/dev/null)}"
# From nothing a build takes half the time in batches; a tree that was configured file by file stays so.
batches=$(sed -n 's/^QUORVIA_BATCHES:BOOL=//p' "$cache" 2>/dev/null || :)
cmake --preset release -DQUORVIA_TESTS="${tests:-OFF}" -DQUORVIA_BATCHES="${batches:-ON}" >"$log" 2>&1 || failed
calm_begin 'Building'
NINJA_STATUS='[%f/%t] ' cmake --build --preset release -j "$(parallel)" ${1:+--target "$@"} 2>&1 | show_progress
[ "${PIPESTATUS[0]}" = 0 ] || failed
calm_end "Built in $(calm_time $((SECONDS - start)))"
