// Lists made item by item: items survive every enlargement and the final
// shrink, an empty builder makes an empty list, and an unfinished builder
// gives its items back (the sanitizer build reports any leak).
#include <gtest/gtest.h>

#include <string>

#include "tessaro/value.hpp"

namespace tessaro {
namespace {

Value longString(int i) { return Value::fromUtf8("a string past the inline size " + std::to_string(i)); }

TEST(ListBuilder, KeepsEveryItemThroughGrowthAndShrink) {
  for (int count : {0, 1, 16, 17, 1000, 100000}) {
    ListBuilder builder;
    for (int i = 0; i < count; ++i) builder.push(i % 2 ? Value::integer(i) : longString(i));
    EXPECT_EQ(builder.size(), std::size_t(count));
    Value list = builder.finish();
    EXPECT_EQ(builder.size(), 0u);
    ASSERT_EQ(list.asList().size(), std::size_t(count));
    for (int i = 0; i < count; ++i) ASSERT_EQ(list.asList()[std::size_t(i)], i % 2 ? Value::integer(i) : longString(i));
    // The builder starts over empty.
    builder.push(Value::integer(7));
    EXPECT_EQ(builder.finish(), Value::list({Value::integer(7)}));
  }
}

TEST(ListBuilder, UnfinishedBuilderReleasesItsItems) {
  Value shared = longString(1);
  {
    ListBuilder builder;
    for (int i = 0; i < 40; ++i) builder.push(Value(shared));
  }
  Value alone = shared;
  EXPECT_EQ(alone.asString(), shared.asString());
}

}  // namespace
}  // namespace tessaro
