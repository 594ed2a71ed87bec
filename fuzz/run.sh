#!/usr/bin/env bash
# Builds the fuzzers, or runs one of them: ten seconds, an hour with QUORVIA_LONG set. What it finds stays in
# build/fuzz/found.  usage: run.sh [NAME]
set -eu
cd "$(dirname "$0")/.."
if [ $# = 0 ]; then
    cmake --preset fuzz >/dev/null
    exec cmake --build --preset fuzz
fi
name=$1
seconds=10
[ -z "${QUORVIA_LONG:-}" ] || seconds=3600
mkdir -p "build/fuzz/found" "build/fuzz/corpus/$name"
dictionary=()
[ ! -e "fuzz/$name.dict" ] || dictionary=(-dict="fuzz/$name.dict")
export ASAN_OPTIONS=quarantine_size_mb=16 LSAN_OPTIONS=suppressions=$PWD/fuzz/leaks.supp:print_suppressions=0
exec "build/fuzz/bin/fuzz_$name" -max_total_time=$seconds -timeout=1 -rss_limit_mb=256 -max_len=4096 \
    -print_final_stats=1 -artifact_prefix="build/fuzz/found/$name-" "${dictionary[@]}" \
    "build/fuzz/corpus/$name" "fuzz/corpus/$name"
