// A pool for the bodies of the values of one large read: bodies are carved
// one after another out of large chunks instead of each being allocated on
// its own, which spares the general allocator millions of small blocks (and
// the work of sorting them out again when they are freed in another order).
//
// A chunk is given back when the pool has moved on from it and the last of
// its bodies has been freed; values from a pool live and are shared like any
// others, on any thread. Some freed chunks are kept for the next large read
// until trimCache().
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace tessaro::detail {

class Pool {
 public:
  // `expectedBytes` sizes the chunks: about the size of what will be read.
  explicit Pool(std::size_t expectedBytes);
  ~Pool();
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;

  // Room for `bytes` (8-byte aligned), and its offset from its chunk's
  // start; null when the block is too large to be pooled.
  void* allocate(std::size_t bytes, std::uint32_t& offset);
  // Gives back a pooled block, given the start of its chunk.
  static void release(void* chunk) noexcept;
  // Gives the chunks kept for later reads back to the system.
  static void trimCache() noexcept;

  struct Chunk;

 private:
  void retire() noexcept;
  std::size_t chunkBytes_;
  Chunk* chunk_ = nullptr;
  std::size_t used_ = 0, carved_ = 0;
};

}  // namespace tessaro::detail
