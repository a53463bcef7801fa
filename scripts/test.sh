#!/usr/bin/env bash
# Builds the library and its tests under AddressSanitizer and
# UndefinedBehaviorSanitizer with clang (warnings are errors) and runs every
# test, including a time-bounded fuzzing run of the notation reader. Then
# builds everything again, benchmarks included, with GCC in Release, and runs
# the tests there too: the memory checks of the server need the plain
# allocator, and neither compiler nor the benchmarks may rot unseen.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh

build=${TESSARO_TEST_BUILD:-build/test}
cmake -S . -B "$build" -G Ninja \
  -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-g -O1" \
  -DCMAKE_CXX_COMPILER=clang++ \
  -DTESSARO_SANITIZE=ON -DTESSARO_FUZZ=ON -DTESSARO_WERROR=ON >/dev/null
cmake --build "$build"
(cd "$build" && ctest --output-on-failure -j2)

release=${TESSARO_GCC_BUILD:-build/gcc-release}
cmake -S . -B "$release" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER=g++ \
  -DTESSARO_BENCH=ON >/dev/null
cmake --build "$release"
(cd "$release" && ctest --output-on-failure -j2)
