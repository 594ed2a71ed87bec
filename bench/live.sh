#!/usr/bin/env bash
# How old live pictures are behind a network that is narrow and loses packets, by UDP beside TLS; prints Markdown.
#   bench/live.sh [LOSS%] [BITS/S] [DELAY-MS] [SECONDS]    as root: it makes two network namespaces, and takes them away
set -eu
cd "$(dirname "$0")/.."
loss=${1:-5} rate=${2:-2000000} delay=${3:-20} seconds=${4:-30}
bench=build/release/bin/bench_live
here=live$$a there=live$$b road_PID='' film_PID=''
clean_up() {
  for one in $film_PID $road_PID; do kill "$one" 2>/dev/null || true; done
  ip netns del $here || true
  ip netns del $there || true
}
trap clean_up EXIT
ip netns add $here
ip netns add $there
coproc road { exec build/release/bin/bad_road $here $there "$loss" "$rate" "$delay"; }
read -r -u "${road[0]}"
for side in "$here lv0 10.77.0.1 10.77.0.2" "$there lv1 10.77.0.2 10.77.0.1"; do
  read -r space link own other <<<"$side"
  ip -n "$space" link set lo up
  ip -n "$space" addr add "$own" peer "$other" dev "$link"
  ip -n "$space" link set "$link" mtu 1500 up
done
echo "| $loss % lost, $((rate / 1000)) kbit/s, $delay ms each way | p50, ms | p95, ms | shown |"
echo "| --- | --- | --- | --- |"
for way in udp tls; do
  exec 3< <(exec ip netns exec $here $bench film 10.77.0.1 $((seconds + 20)))
  film_PID=$!
  read -r -u 3 port
  ip netns exec $there $bench watch 10.77.0.1 "$port" $way "$seconds"
  kill "$film_PID" 2>/dev/null || true
  exec 3<&-
done
