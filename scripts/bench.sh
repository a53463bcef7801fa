#!/usr/bin/env bash
# Builds the benchmarks in Release and runs them; each prints its ratio to
# the peer it is measured against.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
# fd (Debian's fd-find) is a peer of the folder listing benchmark only.
if ! dpkg-query -W -f='${Status}' fd-find 2>/dev/null | grep -q 'install ok installed'; then
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq fd-find >/dev/null
fi

# The table sort is measured against pandas, which only the benchmarks need.
if ! dpkg-query -W -f='${Status}' python3-pandas 2>/dev/null | grep -q 'install ok installed'; then
  echo "bench: installing python3-pandas"
  sudo_cmd=()
  [ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
  "${sudo_cmd[@]}" apt-get update -qq
  DEBIAN_FRONTEND=noninteractive "${sudo_cmd[@]}" apt-get install -y -qq python3-pandas >/dev/null
fi

build=${TESSARO_BENCH_BUILD:-build/bench}
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTESSARO_TESTS=OFF -DTESSARO_BENCH=ON >/dev/null
cmake --build "$build"
for b in "$build"/bench/*_bench; do
  echo "== $(basename "$b")"
  "$b" "$@"
done
