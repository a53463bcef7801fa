// A fixed pseudo-random sequence (a linear congruential generator), so that
// every run of a benchmark makes and reads the same data.
#pragma once

#include <cstdint>

namespace tessaro::bench {

struct Sequence {
  std::uint64_t state = 0x2545F4914F6CDD1DULL;  // a seed of the caller's choice otherwise
  std::uint32_t next() {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return std::uint32_t(state >> 33);
  }
};

}  // namespace tessaro::bench
