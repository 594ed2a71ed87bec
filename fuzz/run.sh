#!/usr/bin/env bash
# Builds the fuzzers, or runs one of them: ten seconds, an hour with QUORVIA_LONG set, or so many. What it finds
# stays in build/fuzz/found.  usage: run.sh [NAME [SECONDS]]
set -eu
cd "$(dirname "$0")/.."
if [ $# = 0 ]; then
    export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$PWD}
    cmake --preset fuzz >/dev/null
    # Code that a fuzzer does not see it only stumbles about in.
    if grep '"command":' build/fuzz/compile_commands.json | grep -v fuzzer-no-link; then
        echo 'these are compiled without what guides a fuzzer' >&2
        exit 1
    fi
    exec cmake --build --preset fuzz
fi
name=$1
seconds=10
[ -z "${QUORVIA_LONG:-}" ] || seconds=3600
seconds=${2:-$seconds}
mkdir -p "build/fuzz/found" "build/fuzz/corpus/$name"
options=()
[ ! -e "fuzz/$name.dict" ] || options=(-dict="fuzz/$name.dict")
# So much is there to see of a whole service that weighing it takes ten times as long as the service itself.
case $name in dialogue | exchanges) options=(-entropic=0) ;; esac
export ASAN_OPTIONS=quarantine_size_mb=16 UBSAN_OPTIONS=halt_on_error=1
export LSAN_OPTIONS=suppressions=$PWD/fuzz/leaks.supp:print_suppressions=0
exec "build/fuzz/bin/fuzz_$name" -max_total_time=$seconds -timeout=1 -rss_limit_mb=256 -max_len=4096 \
    -print_final_stats=1 -artifact_prefix="build/fuzz/found/$name-" "${options[@]}" \
    "build/fuzz/corpus/$name" "fuzz/corpus/$name"
