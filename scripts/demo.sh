#!/usr/bin/env bash
# Builds the release library and command, then runs a short demonstration on
# the bundled sample data through the `tessaro` command.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

build=${TESSARO_RELEASE_BUILD:-build/release}
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTESSARO_TESTS=OFF >/dev/null
cmake --build "$build" --target tessaro tessaro_shared
tessaro="$build/tessaro"

run() {
  printf '\n$ tessaro call'
  printf " '%s'" "$@"
  printf '\n'
  "$tessaro" call "$@" || true
}

echo "== tessaro $("$tessaro" call --plain frameworkVersion), built $("$tessaro" call --plain frameworkDate)"
echo "== $("$tessaro" list | wc -l) commands"
echo "== The text sample that the text calls below read (samples/mixed_text.txt):"
cat samples/mixed_text.txt
while IFS= read -r line; do
  [ -z "$line" ] || [ "${line:0:1}" == "#" ] && continue
  eval "run $line"
done <samples/demo_calls.txt

echo
echo "== More calls, through one 'tessaro serve' process:"
"$tessaro" serve <samples/demo_requests.jsonl
