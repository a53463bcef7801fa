#include "bridge/value_pool.hpp"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <new>
#include <vector>

namespace tessaro::detail {

// The count starts at a bias that stands for the bodies the pool may still
// carve: bodies freed meanwhile (on any thread) count it down, and when the
// pool leaves the chunk it takes off the bias less the bodies it carved.
// The chunk is freed when the count reaches zero.
struct Pool::Chunk {
  std::atomic<std::uint64_t> live{kBias};
  std::size_t mappedBytes = 0;  // a chunk of its own mapping (0: from malloc)
  static constexpr std::uint64_t kBias = std::uint64_t(1) << 62;
};

namespace {
constexpr std::size_t kHeader = (sizeof(Pool::Chunk) + 15) / 16 * 16;
constexpr std::size_t kMinChunk = std::size_t(64) << 10;
// The largest chunks are mappings of their own, aligned so that the system
// can back each with one huge page: a large read then takes one page fault
// per chunk rather than hundreds, and a freed chunk goes straight back to
// the system.
constexpr std::size_t kMappedChunk = std::size_t(2) << 20;

// Freed mapped chunks are kept, up to a bound, for the next large read:
// fresh pages must be cleared by the system, which costs a large read as much
// as a third of its time. Pool::trimCache() gives them back.
constexpr std::size_t kCachedChunks = 512;
std::mutex cacheMutex;
std::vector<void*>& cachedChunks() {
  static std::vector<void*>* chunks = new std::vector<void*>;  // never destroyed: chunks may die at exit
  return *chunks;
}

void* mapChunk() {
  {
    std::lock_guard<std::mutex> lock(cacheMutex);
    if (!cachedChunks().empty()) {
      void* chunk = cachedChunks().back();
      cachedChunks().pop_back();
      return chunk;
    }
  }
  std::size_t span = 2 * kMappedChunk;
  void* mapped = ::mmap(nullptr, span, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapped == MAP_FAILED) return nullptr;
  auto start = reinterpret_cast<std::uintptr_t>(mapped);
  std::uintptr_t aligned = (start + kMappedChunk - 1) & ~(std::uintptr_t(kMappedChunk) - 1);
  if (aligned > start) ::munmap(mapped, aligned - start);
  if (std::uintptr_t end = start + span; end > aligned + kMappedChunk)
    ::munmap(reinterpret_cast<void*>(aligned + kMappedChunk), end - aligned - kMappedChunk);
#if defined(MADV_HUGEPAGE)
  ::madvise(reinterpret_cast<void*>(aligned), kMappedChunk, MADV_HUGEPAGE);
#endif
  return reinterpret_cast<void*>(aligned);
}

void freeChunk(Pool::Chunk* chunk) noexcept {
  std::size_t mapped = chunk->mappedBytes;
  chunk->~Chunk();
  if (!mapped) {
    std::free(chunk);
    return;
  }
  {
    std::lock_guard<std::mutex> lock(cacheMutex);
    if (cachedChunks().size() < kCachedChunks) {
      cachedChunks().push_back(chunk);
      return;
    }
  }
  ::munmap(chunk, mapped);
}
}  // namespace

Pool::Pool(std::size_t expectedBytes) : chunkBytes_(std::clamp(expectedBytes, kMinChunk, kMappedChunk)) {}

Pool::~Pool() { retire(); }

void* Pool::allocate(std::size_t bytes, std::uint32_t& offset) {
  bytes = (bytes + 7) & ~std::size_t(7);
  if (bytes > chunkBytes_ / 4) return nullptr;
  if (!chunk_ || used_ + bytes > chunkBytes_) {
    retire();
    bool mapped = chunkBytes_ == kMappedChunk;
    void* memory = mapped ? mapChunk() : std::malloc(chunkBytes_);
    if (!memory) throw std::bad_alloc();
    chunk_ = ::new (memory) Chunk;
    if (mapped) chunk_->mappedBytes = kMappedChunk;
    used_ = kHeader;
    carved_ = 0;
  }
  offset = std::uint32_t(used_);
  void* block = reinterpret_cast<char*>(chunk_) + used_;
  used_ += bytes;
  ++carved_;
  return block;
}

void Pool::retire() noexcept {
  if (!chunk_) return;
  if (chunk_->live.fetch_sub(Chunk::kBias - carved_, std::memory_order_acq_rel) == Chunk::kBias - carved_)
    freeChunk(chunk_);
  chunk_ = nullptr;
}

void Pool::trimCache() noexcept {
  std::vector<void*> chunks;
  {
    std::lock_guard<std::mutex> lock(cacheMutex);
    chunks.swap(cachedChunks());
  }
  for (void* chunk : chunks) ::munmap(chunk, kMappedChunk);
}

void Pool::release(void* chunk) noexcept {
  auto* c = static_cast<Chunk*>(chunk);
  if (c->live.fetch_sub(1, std::memory_order_acq_rel) == 1) freeChunk(c);
}

}  // namespace tessaro::detail
