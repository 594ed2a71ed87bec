#!/usr/bin/env bash
# Holds sources against .clang-tidy; what it finds is an error. Configures a build of its own, without precompiled
# headers, which clang-tidy cannot read.
# usage: clang_tidy.sh [--includes] [FILE...]   no FILE: all of src; --includes: only whether each file includes
#                                               uses what it includes, and nothing else
set -eu
cd "$(dirname "$0")/.."
tidy=$(command -v clang-tidy-19) || { printf 'This wants clang-tidy-19: packaging/install.sh tidy\n' >&2; exit 2; }
checks=()
if [ "${1:-}" = --includes ]; then
    checks=("--checks=-*,misc-include-cleaner" --header-filter='^$')
    shift
fi
build=build/tidy
if [ ! -e $build/build.ninja ]; then
    cmake --preset release -B $build -DCMAKE_CXX_COMPILER_LAUNCHER= -DQUORVIA_TESTS=OFF -DQUORVIA_PRECOMPILED=OFF >/dev/null
fi
mapfile -t generated < <(ninja -C $build -t targets all | sed -nE 's/^(src[^:]*\.pb\.h): .*/\1/p')
ninja -C $build "${generated[@]}" >/dev/null
[ $# -gt 0 ] || mapfile -t all < <(find src -name '*.cpp' | sort)
look() {
    printf '%s\0' "${@:-${all[@]}}" |
        xargs -0 -n 1 -P "$(nproc)" nice "$tidy" -p $build --quiet "${checks[@]}" 2> >(grep -vE '^[0-9]+ warnings' >&2)
}
if [ ${#checks[@]} -eq 0 ]; then
    look "$@"
elif look "$@" | grep -A 3 'is not used directly'; then # what is missing it cannot tell: Qt's headers only lead on to others
    exit 1
fi
