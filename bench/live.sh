#!/usr/bin/env bash
# How old live pictures are behind a network that is narrow and loses packets, by UDP beside TLS; prints Markdown.
#   bench/live.sh [LOSS%] [RATE] [DELAY] [SECONDS]    as root: it makes two network namespaces, and takes them away
set -eu
cd "$(dirname "$0")/.."
loss=${1:-5%} rate=${2:-2mbit} delay=${3:-20ms} seconds=${4:-30}
bench=build/release/bin/bench_live
here=live$$a there=live$$b
trap 'ip netns del $here; ip netns del $there' EXIT
ip netns add $here
ip netns add $there
ip link add lv0 netns $here type veth peer name lv1 netns $there
for side in "$here lv0 10.77.0.1" "$there lv1 10.77.0.2"; do
  read -r space link address <<<"$side"
  ip -n "$space" link set lo up
  ip -n "$space" addr add "$address/24" dev "$link"
  ip -n "$space" link set "$link" gso_max_segs 1 up  # each packet is lost by itself
  ip netns exec "$space" tc qdisc add dev "$link" root netem loss "$loss" rate "$rate" delay "$delay" limit 100
done
echo "| $loss lost, $rate, $delay each way | p50, ms | p95, ms | shown |"
echo "| --- | --- | --- | --- |"
for way in udp tls; do
  coproc film { ip netns exec $here $bench film 10.77.0.1 $((seconds + 20)); }
  read -r port <&"${film[0]}"
  ip netns exec $there $bench watch 10.77.0.1 "$port" $way "$seconds"
  kill "$film_PID" 2>/dev/null || true
  wait "$film_PID" 2>/dev/null || true
done
