#!/usr/bin/env bash
# Builds the benchmarks in Release and runs them; each prints its ratio to
# the peer it is measured against.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

build=${TESSARO_BENCH_BUILD:-build/bench}
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTESSARO_TESTS=OFF -DTESSARO_BENCH=ON >/dev/null
cmake --build "$build"
for b in "$build"/bench/*_bench; do
  echo "== $(basename "$b")"
  "$b" "$@"
done
