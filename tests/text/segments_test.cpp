// The segmentation walk and the string search underneath the text commands.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tessaro/krv_forder.hpp"
#include "text/pieces.hpp"
#include "text/segments.hpp"
#include "text/string_search.hpp"

namespace tessaro::text {
namespace {

using Pieces = std::vector<std::pair<std::size_t, std::size_t>>;

// Text that mixes scripts, emoji sequences, marks and every separator.
std::u16string mixedText(int repeats) {
  const std::u16string part =
      u"Hello, world! It's 3.5 km.\r\nCaf\u00e9 cafe\u0301 \U0001F468\u200D\U0001F469\u200D\U0001F467 "
      u"\U0001F1EB\U0001F1F7 \U0001F44D\U0001F3FD.\u2028\u0E20\u0E32\u0E29\u0E32\u0E44\u0E17\u0E22 "
      u"\u65E5\u672C\u8A9E\u3067\u3059\u3002\u2029Next line\u0085end?\n\n";
  std::u16string text;
  for (int i = 0; i < repeats; ++i) text += part;
  return text;
}

Pieces piecesOfUnit(std::u16string_view text, TextUnit unit, bool localized = false) {
  Pieces pieces;
  forEachPiece(text, unit, localized, [&](std::size_t location, std::size_t length) {
    pieces.emplace_back(location, length);
    return true;
  });
  return pieces;
}

constexpr TextUnit kUnits[] = {TextUnit::lines, TextUnit::paragraphs, TextUnit::composedCharacters, TextUnit::words,
                               TextUnit::sentences};

TEST(Segments, PiecesAreOrderedDisjointAndInsideTheText) {
  const std::u16string text = mixedText(3);
  for (TextUnit unit : kUnits) {
    SCOPED_TRACE(int(unit));
    std::size_t previousEnd = 0;
    Pieces pieces = piecesOfUnit(text, unit);
    ASSERT_FALSE(pieces.empty());
    for (auto [location, length] : pieces) {
      EXPECT_GE(location, previousEnd);
      EXPECT_LE(location + length, text.size());
      previousEnd = location + length;
    }
  }
}

TEST(Segments, ComposedCharactersTileTheText) {
  const std::u16string text = mixedText(2);
  std::size_t next = 0;
  for (auto [location, length] : piecesOfUnit(text, TextUnit::composedCharacters)) {
    ASSERT_EQ(location, next);
    ASSERT_GT(length, 0u);
    next = location + length;
  }
  EXPECT_EQ(next, text.size());
}

TEST(Segments, WalkStopsWhenAsked) {
  const std::u16string text = mixedText(2);
  for (TextUnit unit : kUnits) {
    int calls = 0;
    forEachPiece(text, unit, false, [&](std::size_t, std::size_t) { return ++calls < 2; });
    EXPECT_EQ(calls, 2) << int(unit);
  }
}

TEST(Segments, SentencesLeaveOutTrailingWhiteSpaceAfterSupplementaryCharacters) {
  std::u16string text = u"Wow \U0001F600 \u3000\u2028\r\nNext.";
  Pieces pieces = piecesOfUnit(text, TextUnit::sentences);
  ASSERT_EQ(pieces.size(), 2u);
  EXPECT_EQ(text.substr(pieces[0].first, pieces[0].second), u"Wow \U0001F600");
  EXPECT_EQ(text.substr(pieces[1].first, pieces[1].second), u"Next.");
}

// The four result shapes are one walk: the strings are the ranges' text, the
// pairs the ranges' numbers, the count the number of pieces. The text is long
// enough that lists grow many times and pieces lie at its very end.
TEST(Pieces, ShapesAgreeOnLongText) {
  const Value text = Value::string(mixedText(400) + u"tail");
  for (TextUnit unit : kUnits) {
    for (bool localized : {false, true}) {
      SCOPED_TRACE(testing::Message() << int(unit) << (localized ? " localized" : ""));
      Value strings = piecesOf(text, unit, localized, PieceShape::strings);
      Value ranges = piecesOf(text, unit, localized, PieceShape::boxedRanges);
      Value pairs = piecesOf(text, unit, localized, PieceShape::rangePairs);
      Value count = piecesOf(text, unit, localized, PieceShape::count);
      ASSERT_EQ(strings.asList().size(), ranges.asList().size());
      ASSERT_EQ(pairs.asList().size(), ranges.asList().size());
      ASSERT_EQ(count.asInteger(), std::int64_t(ranges.asList().size()));
      for (std::size_t i = 0; i < ranges.asList().size(); ++i) {
        Range r = ranges.asList()[i].asRange();
        ASSERT_EQ(strings.asList()[i].asString(), text.asString().substr(r.location, r.length));
        ASSERT_EQ(pairs.asList()[i], Value::list({Value::integer(std::int64_t(r.location)),
                                                  Value::integer(std::int64_t(r.length))}));
      }
      EXPECT_EQ(strings.asList().back().asString(), unit == TextUnit::composedCharacters ? u"l" : u"tail");
    }
  }
}

std::vector<Match> allMatches(std::u16string_view search, std::u16string_view text, std::uint64_t options) {
  StringSearch s(search, text, options, nullptr);
  std::vector<Match> found;
  for (std::size_t p = 0; auto m = s.find(p);) {
    found.push_back(*m);
    p = m->location + m->length;
  }
  return found;
}

// Diacritic-insensitive but case-sensitive: string search sees "Ab" first;
// the check refuses it and the search goes on inside it.
TEST(StringSearch, RefusedCandidatesDoNotHideOverlappingMatches) {
  EXPECT_EQ(allMatches(u"ab", u"Abab", search_options::diacriticInsensitive), (std::vector<Match>{{2, 2}}));
  EXPECT_EQ(allMatches(u"aa", u"Aaa", search_options::diacriticInsensitive), (std::vector<Match>{{1, 2}}));
  EXPECT_EQ(allMatches(u"\u00e9", u"\u00c9e\u0301", search_options::widthInsensitive), (std::vector<Match>{{1, 2}}));
}

TEST(StringSearch, FindStartsAtTheGivenPosition) {
  for (std::uint64_t options : {0ull, 1ull, 2ull, 1024ull}) {
    StringSearch s(u"ab", u"ab ab", options, nullptr);
    EXPECT_EQ(s.find(1), (Match{3, 2})) << options;
    EXPECT_EQ(s.find(4), std::nullopt) << options;
    EXPECT_EQ(s.find(9), std::nullopt) << options;
  }
}

}  // namespace
}  // namespace tessaro::text
