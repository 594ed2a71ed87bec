#!/usr/bin/env bash
# Whether the tests see what they should: each entry of the table beside this file is one line changed for the
# worse, which the test that it names must catch. Without QUORVIA_LONG set only the table is held against the
# sources: every text must still be there, exactly once.
#
# The work is done in copies of the tree, build/mutation/0, 1, ..., one for each core; the tree itself is not
# touched.  usage: check.sh [ENTRY...]   (with names: only these, as in the long form)
set -u
cd "$(dirname "$0")/../.." || exit 2
table=tests/mutation/table
least_caught=57
work=$PWD/build/mutation

names=() files=() targets=() filters=() froms=() tos=()
while IFS= read -r line || [ -n "$line" ]; do
    case $line in
        '' | '#'*) ;;
        -*) froms+=("${line#-}") ;;
        +*) tos+=("${line#+}") ;;
        *)
            read -r name file target filter <<<"$line"
            names+=("$name") files+=("$file") targets+=("$target") filters+=("$filter")
            ;;
    esac
done <"$table"
count=${#names[@]}
[ "$count" = "${#froms[@]}" ] && [ "$count" = "${#tos[@]}" ] || { echo "the table is not whole"; exit 2; }

# Every entry must still mean one place.
stale=0
for ((i = 0; i < count; i++)); do
    found=$(grep -oF -- "${froms[i]}" "${files[i]}" 2>/dev/null | wc -l)
    [ "$found" = 1 ] && continue
    echo "${names[i]}: its text is found $found times in ${files[i]}"
    stale=$((stale + 1))
done
if [ $# = 0 ] && [ -z "${QUORVIA_LONG:-}" ]; then
    echo "$((count - stale)) of $count entries apply"
    [ $stale = 0 ]
    exit
fi

# build COPY TARGET: quietly.
build() {
    (cd "$1" && CCACHE_BASEDIR=$PWD cmake --build --preset release --target "$2") >"$1/build.log" 2>&1
}

# run COPY TARGET FILTER: its exit status; what it printed stands in COPY/test.log.
run() {
    (cd "$1" && timeout 120 "build/release/bin/$2" --gtest_brief=1 --gtest_filter="$3") >"$1/test.log" 2>&1
}

# try COPY ENTRY: one line on standard output.
try() {
    local copy=$1 i=$2 text by
    local file=$copy/${files[i]}
    text=$(<"$file")
    printf '%s\n' "${text/"${froms[i]}"/"${tos[i]}"}" >"$file"
    if ! build "$copy" "${targets[i]}"; then
        echo "${names[i]}: DOES NOT BUILD"
    elif grep -q 'no work to do' "$copy/build.log"; then
        echo "${names[i]}: WAS NOT BUILT"
    elif run "$copy" "${targets[i]}" "${filters[i]}"; then
        echo "${names[i]}: SURVIVED ${targets[i]} ${filters[i]}"
    else
        by=$(grep -m1 -oP '^\[  FAILED  \] \K[\w/.]+' "$copy/test.log")
        echo "${names[i]}: caught by ${targets[i]} ${by:-(it ended or hung)}"
    fi
    printf '%s\n' "$text" >"$file"
}

# One worker: its copy, what it needs built, a look at the tests as they are, then its share of the entries.
# Entries of one target stay with one worker.
worker() {
    local copy=$work/$1 i test green=
    rm -rf "$copy" && mkdir -p "$copy" || return
    tar -c --exclude=./build --exclude=./.git . | tar -x -C "$copy"
    (cd "$copy" && CCACHE_BASEDIR=$PWD cmake --preset release) >"$copy.configure.log" 2>&1
    for i in "${@:2}"; do
        test="${targets[i]} ${filters[i]}"
        if [[ "$green" != *"|$test|"* ]]; then
            build "$copy" "${targets[i]}" || { echo "${targets[i]} does not build as it is"; continue; }
            run "$copy" "${targets[i]}" "${filters[i]}" || { echo "$test fails as it is"; continue; }
            green+="|$test|"
        fi
        try "$copy" "$i"
    done
}

wanted=()
for ((i = 0; i < count; i++)); do
    [ $# = 0 ] || [[ " $* " = *" ${names[i]} "* ]] || continue
    wanted+=("${targets[i]} $i")
done
workers=$(nproc)
mkdir -p "$work"
each=$(((${#wanted[@]} + workers - 1) / workers))
mapfile -t order < <(printf '%s\n' "${wanted[@]}" | sort -s -k1,1 | cut -d' ' -f2)
for ((w = 0; w < workers; w++)); do
    share=("${order[@]:w*each:each}")
    [ ${#share[@]} = 0 ] || worker "$w" "${share[@]}" &
done | tee "$work/result.log"
rm -rf "$work"/[0-9]*
caught=$(grep -c ': caught by ' "$work/result.log")
echo "$caught of ${#wanted[@]} caught"
[ $stale = 0 ] || exit 1
[ $# = 0 ] && [ "$caught" -ge $least_caught ] && [ "$count" -ge 60 ] || [ "$caught" = ${#wanted[@]} ]
