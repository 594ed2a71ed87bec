#!/usr/bin/env bash
# Configures and builds the release preset; says little unless something fails.
# usage: build.sh [TARGET...]
set -eu
cd "$(dirname "$0")/.."
mkdir -p build
log=build/build.log
export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$PWD}
start=$(date +%s)
if ! { cmake --preset release && cmake --build --preset release ${1:+--target "$@"}; } >"$log" 2>&1; then
    grep -nE 'error|FAILED|CMake Error' -A 8 "$log" | head -n 60 >&2
    printf 'The build failed; all of it stands in %s\n' "$log" >&2
    exit 1
fi
printf 'Built in %d s\n' $(($(date +%s) - start))
