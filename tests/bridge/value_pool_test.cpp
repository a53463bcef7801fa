// Values read from a large text have their bodies carved from pool chunks;
// they must live, share and die like any others, in any order, on any thread.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "bridge/value_pool.hpp"
#include "tessaro/notation.hpp"

namespace tessaro {
namespace {

// Records with long strings, nested lists and numbers, about 110 bytes each.
std::string largeDocument(int rows = 3000) {
  std::string json = "[";
  for (int i = 0; i < rows; ++i) {
    if (i) json += ", ";
    const std::string n = std::to_string(i);
    json += R"({"id": )";
    json += n;
    json += R"(, "name": "a name longer than eleven units )";
    json += n;
    json += R"(", "tags": ["x", "a tag of some length"], "price": 2.5})";
  }
  return json + "]";
}

TEST(ValuePool, PartsOutliveTheWholeAndEachOther) {
  std::string json = largeDocument();
  Value whole = readNotation(json);
  ASSERT_EQ(whole.asList().size(), 3000u);
  Value first = whole.asList()[0];
  Value tags = whole.asList()[2999].asRecord().find(u"tags")[0];
  Value name = whole.asList()[1500].asRecord().find(u"name")[0];
  EXPECT_EQ(printNotation(whole), json);
  whole = Value();  // the parts keep their chunks alive
  EXPECT_EQ(printNotation(first),
            R"({"id": 0, "name": "a name longer than eleven units 0", "tags": ["x", "a tag of some length"], "price": 2.5})");
  EXPECT_EQ(printNotation(tags), R"(["x", "a tag of some length"])");
  EXPECT_EQ(name.toUtf8(), "a name longer than eleven units 1500");

  // Records from a pool copy, grow and move like any others.
  Record copy = first.asRecord();
  copy.set(u"extra", Value::integer(1));
  for (int i = 0; i < 20; ++i) copy.set(Value::fromUtf8("k" + std::to_string(i)), Value::integer(i));
  EXPECT_EQ(copy.size(), 25u);
  EXPECT_EQ(*copy.find(u"k19"), Value::integer(19));
  EXPECT_EQ(*copy.find(u"name"), first.asRecord().find(u"name")[0]);
  Record moved = std::move(copy);
  EXPECT_EQ(moved.size(), 25u);
  first = Value();
  EXPECT_EQ(*moved.find(u"id"), Value::integer(0));
}

TEST(ValuePool, ValuesFreedOnOtherThreads) {
  std::string json = largeDocument(12000);  // large enough for chunks mapped on their own
  std::vector<Value> rows;
  {
    Value whole = readNotation(json);
    rows.assign(whole.asList().begin(), whole.asList().end());
  }
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&rows, t] {
      for (std::size_t i = std::size_t(t); i < rows.size(); i += 4) {
        EXPECT_EQ(rows[i].asRecord().find(u"id")[0], Value::integer(std::int64_t(i)));
        rows[i] = Value();
      }
    });
  for (auto& thread : threads) thread.join();
}

TEST(ValuePool, ChunksAreGivenBackWhenTheirLastBlockIs) {
  std::vector<std::pair<void*, std::uint32_t>> blocks;
  {
    detail::Pool pool(64 << 10);
    for (int i = 0; i < 5000; ++i) {  // several chunks
      std::uint32_t offset = 0;
      void* block = pool.allocate(40, offset);
      ASSERT_NE(block, nullptr);
      EXPECT_GT(offset, 0u);
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 8, 0u);
      blocks.emplace_back(block, offset);
    }
    std::uint32_t offset = 0;
    EXPECT_EQ(pool.allocate(60 << 10, offset), nullptr);  // too large to pool
    // Half the blocks go while the pool still fills its last chunk.
    for (std::size_t i = 0; i < blocks.size(); i += 2)
      detail::Pool::release(static_cast<char*>(blocks[i].first) - blocks[i].second);
  }
  // The rest after the pool is gone; the sanitizers see any chunk lost or
  // freed twice.
  for (std::size_t i = 1; i < blocks.size(); i += 2)
    detail::Pool::release(static_cast<char*>(blocks[i].first) - blocks[i].second);
}

}  // namespace
}  // namespace tessaro
