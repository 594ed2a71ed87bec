#!/usr/bin/env bash
# Measures the relay beside bare loops and beside mosquitto, nats-server and mumble-server; prints Markdown.
#   bench/relay.sh [who|deliveries|latency|memory|stopped|durability] [BYTES]
# All of it takes a quarter of an hour; BYTES leaves the cells of messages of that size.
# Installs what it needs; the servers run on loopback, on free ports, and only those it started are ended.
set -eu
cd "$(dirname "$0")/.."
packaging/install.sh build bench >&2
mkdir -p build
cmake --preset release -DQUORVIA_BENCH=ON >build/bench.log
cmake --build build/release --target relay_bench >>build/bench.log || { tail -n 20 build/bench.log >&2; exit 1; }
exec build/release/bin/relay_bench "$@"
