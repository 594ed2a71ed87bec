# What `up` and `down` share: programs that run in the background, each with a file that says which process it is.

fault() { printf '%s: %s\n' "$(basename "$0")" "$*" >&2; exit 1; }

# A number is used again by the system; together with the time of its start it names one process. Nothing: it has ended.
born() { sed 's/.*) //' "/proc/$1/stat" 2>/dev/null | awk '$1 !~ /[ZX]/ { print $20 }'; }
alive() {
    local pid since
    read -r pid since 2>/dev/null <"$1/pid" && [ -n "$since" ] && [ "$(born "$pid")" = "$since" ]
}

# begin FOLDER OUTPUT COMMAND...: in a session of its own, so that Ctrl+C here is not heard there.
begin() {
    local folder=$1 output=$2
    shift 2
    setsid "$@" </dev/null >"$output" 2>>"$folder/log" 9>&- &
    local pid=$!
    printf '%s %s\n' "$pid" "$(born "$pid")" >"$folder/pid"
    disown
}

# end FOLDER SIGNAL: asks it to end, and is harder after 20 seconds.
end() {
    local folder=$1 pid tries=0
    [ -e "$folder/pid" ] || return 0
    if alive "$folder"; then
        read -r pid _ <"$folder/pid"
        kill "-$2" "$pid" 2>/dev/null || true
        while alive "$folder"; do
            tries=$((tries + 1))
            [ $tries != 200 ] || kill -KILL "$pid" 2>/dev/null || true
            [ $tries -lt 250 ] || fault "process $pid ($folder) does not end"
            sleep 0.1
        done
    fi
    rm -f "$folder/pid"
}

# What uses others ends before them.
end_all() {
    local each
    for each in "$1"/relay-*; do [ ! -e "$each/pid" ] || kill -TERM "$(cut -d' ' -f1 <"$each/pid")" 2>/dev/null || true; done
    for each in "$1"/relay-*; do end "$each" TERM; done
    for each in "$1"/nats-*; do end "$each" TERM; done
    end "$1/postgres" INT
}
