#!/usr/bin/env bash
# Tests under sanitizers. What a sanitizer finds fails the test that met it.
#   sanitized.sh build asan|tsan       the service's and the link's tests; asan: in the fuzzers' build, by the same compiler
#   sanitized.sh asan|tsan TEST        one of them
#   sanitized.sh all [CTEST-OPTION]    everything, by the presets asan and tsan (./test --sanitize): an hour or more.
#                                      tsan: but what paints, see below
set -eu
cd "$(dirname "$0")/.."
export CCACHE_BASEDIR=${CCACHE_BASEDIR:-$PWD}
# strndup: the check wants a text to end, and libxkbcommon copies parts of one.
export ASAN_OPTIONS=detect_stack_use_after_return=1:strict_string_checks=1:intercept_strndup=0 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
export LSAN_OPTIONS=suppressions=$PWD/fuzz/leaks.supp:print_suppressions=0
export TSAN_OPTIONS=halt_on_error=0:second_deadlock_stack=1:suppressions=$PWD/tests/races.supp:print_suppressions=0

case ${1:-} in
build)
    [ "$2" != asan ] || exec fuzz/run.sh
    cmake --preset "$2" >/dev/null
    exec cmake --build --preset "$2-service"
    ;;
asan) exec "build/fuzz/bin/$2" --gtest_brief=1 ;;
tsan) exec "build/tsan/bin/$2" --gtest_brief=1 ;;
all)
    shift
    code=0
    # Debian's Qt is built without the thread sanitizer, which takes what Qt's own threads do while it paints for races.
    paints='^(demo|scenario|reliability\.(C[12347]|companion)|test_(camera|chat_pane|frm_login|language|portal|replay|ui_|whiteboard))'
    for preset in asan tsan; do
        cmake --preset "$preset" >/dev/null
        cmake --build --preset "$preset"
        without=()
        [ $preset = asan ] || without=(-E "$paints")
        ctest --preset "$preset" --no-tests=error -j "$(nproc)" "${without[@]}" "$@" || code=$?
    done
    exit "$code"
    ;;
*)
    sed -n '2,6s/^# *//p' "$0" >&2
    exit 2
    ;;
esac
