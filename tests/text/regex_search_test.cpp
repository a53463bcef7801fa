// Matches over a large text (whose long matches are carved from a pool)
// must come out whole and in order, and outlive the text and each other.
#include <gtest/gtest.h>

#include <string>

#include "tessaro/krv_forder.hpp"
#include "text/regex_search.hpp"

namespace tessaro {
namespace {

TEST(RegexSearch, LargeTextsGiveEveryMatch) {
  std::u16string text;
  for (int i = 0; i < 5000; ++i) text += u"word" + std::u16string(std::size_t(i % 20), u'x') + u" é\U0001F600, ";
  Value subject = Value::string(text);
  Value words = KRVForder::findMatches_inString_options_(Value::string(u"\\w+"), subject, Value::string(u""));
  ASSERT_EQ(words.asList().size(), 10000u);
  Value last = words.asList()[9998];
  subject = Value();
  words = Value();
  EXPECT_EQ(last.asString(), u"word" + std::u16string(19, u'x'));
}

TEST(RegexSearch, GroupsThatTookNoPartHaveNoLocation) {
  auto search = text::RegexSearch::compile(u"(a)|(b)", 0);
  ASSERT_TRUE(search);
  std::u16string text = u"\U0001F600b";
  search->reset(text);
  ASSERT_TRUE(search->findNext());
  EXPECT_EQ(search->groupCount(), 2);
  EXPECT_EQ(search->group(0), (Range{2, 1}));
  EXPECT_EQ(search->group(1), (Range{text::kNotFound, 0}));
  EXPECT_EQ(search->group(2), (Range{2, 1}));
  EXPECT_FALSE(search->findNext());
  EXPECT_FALSE(text::RegexSearch::compile(u"a{2,1}", 0));
}

TEST(RegexSearch, LiteralAndUnixLineBitsReachTheEngine) {
  // No option letter sets them, but the bits map to ICU's flags.
  auto literal = text::RegexSearch::compile(u"a.", 4);
  std::u16string text = u"ab a.";
  literal->reset(text);
  ASSERT_TRUE(literal->findNext());
  EXPECT_EQ(literal->group(0), (Range{3, 2}));
}

}  // namespace
}  // namespace tessaro
