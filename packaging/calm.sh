# One calm line that moves: what is done, how far, how long about. Sourced by ./run, ./test and what they call.
# On a terminal the line is written over itself; elsewhere a phase gets a line of its own, and another one each
# half minute.
#
#   calm_begin WHAT              a phase begins
#   calm_at DONE TOTAL           how far it is; "about ..." is what this phase's own past says
#   calm_says TEXT               a line in between that stays, as "another program installs packages"
#   calm_end [TEXT]              the phase is over; TEXT stays

calm_terminal=
[ -t 1 ] && [ "${TERM:-dumb}" != dumb ] && calm_terminal=yes

# "40 s", "2 min 10 s", "1 h 5 min"
calm_time() {
    if (($1 < 60)); then printf '%d s' "$1"
    elif (($1 < 3600)); then printf '%d min %d s' $(($1 / 60)) $(($1 % 60 / 10 * 10))
    else printf '%d h %d min' $(($1 / 3600)) $(($1 % 3600 / 60)); fi
}

calm_draw() {
    [ "$1" != "${calm_drawn:-}" ] || return 0
    calm_drawn=$1
    local width=${COLUMNS:-0}
    ((width > 0)) || width=$(stty size 2>/dev/null <&1 | cut -d' ' -f2)
    printf '\r\033[K%.*s' $((${width:-80} - 1)) "$1"
}

calm_begin() {
    calm_what=$1 calm_start=$SECONDS calm_last=$SECONDS
    if [ $calm_terminal ]; then calm_draw "$1 ..."; else printf '%s\n' "$1"; fi
}

calm_at() {
    local done=$1 total=$2 past=$((SECONDS - calm_start)) text
    ((total > 0)) || return 0
    if [ ! $calm_terminal ]; then
        ((SECONDS - calm_last >= 30)) || return 0
        calm_last=$SECONDS
    fi
    text="$calm_what: $done of $total"
    [ "$total" = 100 ] && text="$calm_what: $done %"
    # Not before there is a past to judge by.
    if ((past >= 5 && done * 20 >= total && done < total)); then
        text+=", about $(calm_time $(((past * (total - done) / done + 5) / 5 * 5))) more"
    fi
    if [ $calm_terminal ]; then calm_draw "$text"; else printf '%s\n' "$text"; fi
}

calm_says() {
    calm_drawn=
    [ ! $calm_terminal ] || printf '\r\033[K'
    printf '%s\n' "$1"
}

calm_end() {
    calm_drawn=
    [ ! $calm_terminal ] || printf '\r\033[K'
    [ $# = 0 ] || printf '%s\n' "$1"
}
