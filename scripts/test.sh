#!/usr/bin/env bash
# Builds the library and its tests under AddressSanitizer and
# UndefinedBehaviorSanitizer (warnings are errors) and runs every test,
# including a time-bounded fuzzing run of the notation reader.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

build=${TESSARO_TEST_BUILD:-build/test}
cmake -S . -B "$build" -G Ninja \
  -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" \
  -DCMAKE_CXX_COMPILER=clang++ \
  -DTESSARO_SANITIZE=ON -DTESSARO_FUZZ=ON -DTESSARO_WERROR=ON >/dev/null
cmake --build "$build"
cd "$build"
ctest --output-on-failure -j2
