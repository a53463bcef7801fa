#include "lists/sort_levels.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "tessaro/environment.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/notation.hpp"

namespace tessaro::lists {
namespace {

SortLevels::ValueOf from(const std::vector<Value>& values) {
  return [&values](std::size_t i, std::deque<Value>&) { return &values[i]; };
}

std::vector<Value> inOrder(const std::vector<Value>& values, const SortLevels& levels) {
  std::vector<Value> out;
  for (std::uint32_t at : levels.order()) out.push_back(values[at]);
  return out;
}

std::vector<Value> strings(std::initializer_list<std::u16string_view> texts) {
  std::vector<Value> out;
  for (auto t : texts) out.push_back(Value::string(t));
  return out;
}

class SortLevelsTest : public testing::Test {
 protected:
  void SetUp() override {
    setenv("LANG", "en_US.UTF-8", 1);
    unsetenv("LC_ALL");
    reloadEnvironmentDefaults();
  }
};

// Against the standard library's stable sort on the same pairs: ties on the
// first level broken by the second, equal pairs in input order.
TEST_F(SortLevelsTest, TwoLevelsMatchAStableReferenceSort) {
  std::mt19937 random(7);
  const std::size_t n = 3000;
  std::vector<Value> numbers, words;
  for (std::size_t i = 0; i < n; ++i) {
    numbers.push_back(Value::integer(std::int64_t(random() % 20) - 10));
    std::u16string w(1 + random() % 14, u'a');  // long enough to leave inline storage now and then
    for (auto& c : w) c = char16_t(u'a' + random() % 3);
    words.push_back(Value::string(w));
  }
  SortLevels levels(n);
  levels.add(Comparison::natural, true, from(numbers));
  levels.add(Comparison::natural, false, from(words));
  std::vector<std::uint32_t> expected(n);
  for (std::uint32_t i = 0; i < n; ++i) expected[i] = i;
  std::stable_sort(expected.begin(), expected.end(), [&](std::uint32_t a, std::uint32_t b) {
    if (numbers[a].asInteger() != numbers[b].asInteger()) return numbers[a].asInteger() < numbers[b].asInteger();
    return words[a].asString() > words[b].asString();
  });
  EXPECT_EQ(levels.order(), expected);
}

TEST_F(SortLevelsTest, NumbersOfEveryKindCompareByValue) {
  std::vector<Value> values = {Value::real(2.5), Value::integer(2), Value::boolean(true), Value::real(-0.5),
                               Value::integer(3)};
  SortLevels levels(values.size());
  levels.add(Comparison::natural, true, from(values));
  EXPECT_EQ(printNotation(Value::list(inOrder(values, levels))), "[-0.5, true, 2, 2.5, 3]");
}

// Whatever order equal-but-for-case strings come in, they leave in one order.
TEST_F(SortLevelsTest, StandardComparisonGivesOneOrderForEveryInputOrder) {
  // Among them strings the collator finds equal: leading zeros, ignorable
  // characters, canonically equivalent spellings.
  std::vector<Value> values = strings({u"file10", u"File2", u"file2", u"FILE2", u"file1", u"ﬁle2", u"file02",
                                       u"ab", u"a\u0001b", u"a\u00ADb", u"\u00E9", u"e\u0301", u"ab\u0001"});
  std::vector<Value> first;
  std::mt19937 random(1);
  for (int round = 0; round < 20; ++round) {
    std::shuffle(values.begin(), values.end(), random);
    SortLevels levels(values.size());
    levels.add(Comparison::localizedStandard, true, from(values));
    std::vector<Value> sorted = inOrder(values, levels);
    if (first.empty()) first = sorted;
    ASSERT_EQ(printNotation(Value::list(sorted)), printNotation(Value::list(first)));
  }
  // Digits by numeric value; file2 and file02 are told apart, and neither comes after file10.
  auto at = [&](std::u16string_view s) {
    return std::find(first.begin(), first.end(), Value::string(s)) - first.begin();
  };
  EXPECT_LT(at(u"file1"), at(u"file02"));
  EXPECT_LT(at(u"file2"), at(u"file10"));
  EXPECT_EQ(first.back(), Value::string(u"file10"));
  // Plain text comes first among strings the collator finds equal.
  EXPECT_EQ(at(u"ab") + 1, std::min({at(u"a\u0001b"), at(u"a\u00ADb"), at(u"ab\u0001")}));
  EXPECT_EQ(at(u"\u00E9") + 1, at(u"e\u0301"));
}

TEST_F(SortLevelsTest, StandardComparisonIsFixedWhereTheLocaleIgnoresPunctuation) {
  setenv("LANG", "th_TH.UTF-8", 1);
  reloadEnvironmentDefaults();
  std::vector<Value> values = strings({u"a b", u"ab", u"a-b", u"a.b"});
  std::string first;
  std::mt19937 random(5);
  for (int round = 0; round < 10; ++round) {
    std::shuffle(values.begin(), values.end(), random);
    SortLevels levels(values.size());
    levels.add(Comparison::localizedStandard, true, from(values));
    std::string sorted = printNotation(Value::list(inOrder(values, levels)));
    if (first.empty()) first = sorted;
    ASSERT_EQ(sorted, first);
  }
}

TEST_F(SortLevelsTest, LocaleIsReadWhenTheSortRuns) {
  std::vector<Value> values = strings({u"z", u"ä", u"a"});
  auto sorted = [&] {
    SortLevels levels(values.size());
    levels.add(Comparison::localized, true, from(values));
    return printNotation(Value::list(inOrder(values, levels)));
  };
  EXPECT_EQ(sorted(), R"(["a", "ä", "z"])");
  setenv("LANG", "sv_SE.UTF-8", 1);
  reloadEnvironmentDefaults();
  EXPECT_EQ(sorted(), R"(["a", "z", "ä"])");
}

// Long texts whose sort keys outgrow the first guess at their length.
TEST_F(SortLevelsTest, LongTextsInEveryScriptSortLikeTheCollatorCompares) {
  std::vector<Value> values;
  std::mt19937 random(3);
  const char16_t starts[] = {u'a', u'\u4e00', u'\uac00', u'\u0410', u'\u0900'};
  for (int i = 0; i < 200; ++i) {
    std::u16string text(std::size_t(1 + random() % 300), u' ');
    for (auto& c : text) c = char16_t(starts[random() % 5] + random() % 40);
    values.push_back(Value::string(text));
  }
  for (Comparison c : {Comparison::localized, Comparison::localizedCaseInsensitive, Comparison::localizedStandard}) {
    SortLevels levels(values.size());
    levels.add(c, true, from(values));
    std::vector<std::uint32_t> order = levels.order();
    Collator collator = openCollator(c);
    for (std::size_t i = 1; i < order.size(); ++i) {
      auto a = values[order[i - 1]].asString(), b = values[order[i]].asString();
      EXPECT_NE(ucol_strcoll(collator.get(), a.data(), int32_t(a.size()), b.data(), int32_t(b.size())), UCOL_GREATER)
          << "at " << i << " by " << comparisonName(c);
    }
  }
}

// Collation keys are sorted in pieces; a stable sort by the collator's own
// comparison must agree, for small, middling and large lists, either way
// round, with keys that share long starts and keys that are equal, and with
// a second level that orders what the first leaves tied.
TEST_F(SortLevelsTest, CollationSortsAgreeWithTheCollatorsComparison) {
  const std::u16string starts[] = {u"", u"file ", std::u16string(300, u'e') + u"x"};
  const char16_t letters[] = {u'a', u'b', u'A', u'\u00e9', u'0', u'1', u' '};
  std::mt19937 random(11);
  for (std::size_t n : {25u, 700u, 5000u}) {
    std::vector<Value> texts, numbers;
    for (std::size_t i = 0; i < n; ++i) {
      std::u16string text = starts[random() % 3];
      for (std::size_t k = random() % 7; k > 0; --k) text += letters[random() % 7];
      texts.push_back(Value::string(text));
      numbers.push_back(Value::integer(std::int64_t(random() % 5)));
    }
    for (Comparison c : {Comparison::localized, Comparison::localizedCaseInsensitive, Comparison::localizedStandard}) {
      Collator collator = openCollator(c);
      for (bool ascending : {true, false}) {
        SortLevels levels(n);
        levels.add(c, ascending, from(texts));
        levels.add(Comparison::natural, true, from(numbers));
        std::vector<std::uint32_t> expected(n);
        for (std::uint32_t i = 0; i < n; ++i) expected[i] = i;
        std::stable_sort(expected.begin(), expected.end(), [&](std::uint32_t a, std::uint32_t b) {
          auto ta = texts[a].asString(), tb = texts[b].asString();
          int order = ucol_strcoll(collator.get(), ta.data(), int32_t(ta.size()), tb.data(), int32_t(tb.size()));
          if (order == 0 && c == Comparison::localizedStandard) order = ta.compare(tb);
          if (order != 0) return ascending ? order < 0 : order > 0;
          return numbers[a].asInteger() < numbers[b].asInteger();
        });
        EXPECT_EQ(levels.order(), expected) << n << " items by " << comparisonName(c) << (ascending ? " up" : " down");
      }
    }
  }
}

TEST_F(SortLevelsTest, CaseInsensitiveComparisonFoldsAndIgnoresTheLocale) {
  std::vector<Value> values = strings({u"b", u"_", u"B", u"A", u"ǅ", u"ǆ"});
  for (const char* lang : {"en_US.UTF-8", "tr_TR.UTF-8"}) {
    setenv("LANG", lang, 1);
    reloadEnvironmentDefaults();
    SortLevels levels(values.size());
    levels.add(Comparison::caseInsensitive, true, from(values));
    // Folded to lower case: "_" (U+005F) sorts before the letters.
    EXPECT_EQ(printNotation(Value::list(inOrder(values, levels))), R"(["_", "A", "b", "B", "ǅ", "ǆ"])") << lang;
  }
}

// A value that cannot be read fails only when the sort compares it.
TEST_F(SortLevelsTest, ReadingFailuresWaitUntilCompared) {
  std::vector<Value> firsts = {Value::integer(2), Value::integer(1)};
  auto failing = [](std::size_t, std::deque<Value>&) -> const Value* {
    throwFailure(FailureKind::range, "never read");
  };
  SortLevels decided(2);
  decided.add(Comparison::natural, true, from(firsts));
  decided.add(Comparison::natural, true, failing);
  EXPECT_EQ(decided.order(), (std::vector<std::uint32_t>{1, 0}));

  SortLevels reached(2);
  reached.add(Comparison::natural, true, failing);
  try {
    reached.order();
    FAIL() << "the comparison did not fail";
  } catch (const HostFailure& f) {
    EXPECT_EQ(f.kind(), FailureKind::range);
  }
}

TEST_F(SortLevelsTest, NoValueSortsFirstOnlyWhereAsked) {
  std::vector<Value> values = {Value::integer(1), Value(), Value::integer(0), Value()};
  SortLevels keySort(values.size());
  keySort.add(Comparison::natural, true, from(values), true);
  EXPECT_EQ(keySort.order(), (std::vector<std::uint32_t>{1, 3, 2, 0}));
  SortLevels descending(values.size());
  descending.add(Comparison::natural, false, from(values), true);
  EXPECT_EQ(descending.order(), (std::vector<std::uint32_t>{0, 2, 1, 3}));
  SortLevels tableSort(values.size());
  tableSort.add(Comparison::natural, true, from(values));
  EXPECT_THROW(tableSort.order(), HostFailure);
}

TEST_F(SortLevelsTest, TheShortTableSortIsTheLongOneWithTheKeySelf) {
  std::mt19937 random(11);
  std::vector<Value> rows;
  for (int i = 0; i < 300; ++i)
    rows.push_back(Value::list({Value::integer(random() % 5), Value::string(std::u16string(1, char16_t(u'a' + random() % 26))),
                                Value::string(std::u16string(1, char16_t(u'A' + random() % 26)))}));
  Value table = Value::list(rows);
  Value indexes = readNotation("[2, 0, 1]"), ascending = readNotation("[false, true]");
  Value types = readNotation(R"(["localizedCaseInsensitiveCompare:", "compare:", "localizedStandardCompare:"])");
  Value shortForm = KRVForder::subarraysIn_sortedByIndexes_ascending_sortTypes_error_(table, indexes, ascending, types,
                                                                                     nullptr);
  Value longForm = KRVForder::subarraysIn_sortedByIndexes_ascending_sortTypes_sortKeys_error_(
      table, indexes, ascending, types, readNotation(R"(["self"])"), nullptr);
  ASSERT_TRUE(shortForm.isList());
  EXPECT_EQ(printNotation(shortForm), printNotation(longForm));
  // The rows are the argument's own rows, in a new order.
  for (const Value& row : shortForm.asList())
    EXPECT_TRUE(std::any_of(rows.begin(), rows.end(), [&](const Value& r) { return r.isSameObject(row); }));
}

}  // namespace
}  // namespace tessaro::lists
