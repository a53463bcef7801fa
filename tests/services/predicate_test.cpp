// The predicate language on fixed attribute sets: every operator and
// modifier, precedence, constants, substitutions, list and missing
// attributes, and text that must make no predicate.
#include <gtest/gtest.h>

#include <map>
#include <string>

#include "services/predicate.hpp"

namespace tessaro::services {
namespace {

using Attrs = std::map<std::u16string, Value>;

Attrs sampleItem() {
  return {
      {u"kMDItemFSName", Value::string(u"Café Report.PDF")},
      {u"kMDItemFSSize", Value::integer(12000)},
      {u"kMDItemPixelWidth", Value::real(4000.5)},
      {u"kMDItemFSContentChangeDate", Value::date(700000000)},
      {u"kMDItemContentTypeTree", Value::list({Value::string(u"com.adobe.pdf"), Value::string(u"public.data")})},
      {u"kMDItemUserTags", Value::list({Value::string(u"Red"), Value::string(u"Work")})},
  };
}

// Parses and evaluates; -1 when the text makes no predicate.
int eval(std::u16string_view format, std::vector<Value> values = {}, const Attrs& attrs = sampleItem()) {
  std::optional<PredicateNode> p = parsePredicate(format, values);
  if (!p) return -1;
  return evaluatePredicate(*p, [&](std::u16string_view n) {
    auto it = attrs.find(std::u16string(n));
    return it == attrs.end() ? Value() : it->second;
  }) ? 1 : 0;
}

TEST(PredicateOperators, StringComparisons) {
  EXPECT_EQ(eval(u"kMDItemFSName BEGINSWITH 'Café'"), 1);
  EXPECT_EQ(eval(u"kMDItemFSName BEGINSWITH 'cafe'"), 0);
  EXPECT_EQ(eval(u"kMDItemFSName BEGINSWITH[cd] 'cafe'"), 1);
  EXPECT_EQ(eval(u"kMDItemFSName BEGINSWITH[c] 'cafe'"), 0);  // the accent still counts
  EXPECT_EQ(eval(u"kMDItemFSName BEGINSWITH[d] 'Cafe'"), 1);
  EXPECT_EQ(eval(u"kMDItemFSName ENDSWITH '.pdf'"), 0);
  EXPECT_EQ(eval(u"kMDItemFSName ENDSWITH[c] '.pdf'"), 1);
  EXPECT_EQ(eval(u"kMDItemFSName CONTAINS ' Rep'"), 1);
  EXPECT_EQ(eval(u"kMDItemFSName CONTAINS 'rep'"), 0);
  EXPECT_EQ(eval(u"kMDItemFSName LIKE '*.PDF'"), 1);
  EXPECT_EQ(eval(u"kMDItemFSName LIKE 'Caf? *'"), 1);
  EXPECT_EQ(eval(u"kMDItemFSName LIKE 'Caf?'"), 0);
  EXPECT_EQ(eval(u"kMDItemFSName LIKE[c] '*report*'"), 1);
  EXPECT_EQ(eval(u"kMDItemFSName MATCHES 'Caf. R.*'"), 1);
  EXPECT_EQ(eval(u"kMDItemFSName MATCHES 'Caf'"), 0);  // the whole string must match
  EXPECT_EQ(eval(u"kMDItemFSName MATCHES[c] 'café report\\\\.pdf'"), 1);
  EXPECT_EQ(eval(u"kMDItemFSName MATCHES '(unclosed'"), 0);
  EXPECT_EQ(eval(u"kMDItemFSName < 'D'"), 1);
  EXPECT_EQ(eval(u"kMDItemFSName > 'D'"), 0);
  EXPECT_EQ(eval(u"kMDItemFSName IN 'My Café Report.PDF files'"), 1);
  EXPECT_EQ(eval(u"kMDItemFSName IN {'a', 'Café Report.PDF'}"), 1);
  EXPECT_EQ(eval(u"kMDItemFSName IN {'a', 'b'}"), 0);
}

TEST(PredicateOperators, EqualityOnStringsTakesWildcards) {
  EXPECT_EQ(eval(u"kMDItemFSName == '*.PDF'"), 1);
  EXPECT_EQ(eval(u"kMDItemFSName = 'Café Report.PDF'"), 1);
  EXPECT_EQ(eval(u"kMDItemFSName == 'café report.pdf'"), 0);
  EXPECT_EQ(eval(u"kMDItemFSName ==[cd] 'cafe report.pdf'"), 1);
  EXPECT_EQ(eval(u"kMDItemFSName != '*.txt'"), 1);
  EXPECT_EQ(eval(u"kMDItemFSName <> '*.PDF'"), 0);
}

TEST(PredicateOperators, NumbersAndDates) {
  EXPECT_EQ(eval(u"kMDItemFSSize == 12000"), 1);
  EXPECT_EQ(eval(u"kMDItemFSSize == 12000.0"), 1);
  EXPECT_EQ(eval(u"kMDItemFSSize > 11999 AND kMDItemFSSize >= 12000 AND kMDItemFSSize <= 12000"), 1);
  EXPECT_EQ(eval(u"kMDItemFSSize < 12000"), 0);
  EXPECT_EQ(eval(u"kMDItemFSSize =< 12000 && kMDItemFSSize => 12000"), 1);
  EXPECT_EQ(eval(u"kMDItemPixelWidth > 4000"), 1);
  EXPECT_EQ(eval(u"kMDItemPixelWidth > 4.0004e3"), 1);
  EXPECT_EQ(eval(u"kMDItemFSSize > -1"), 1);
  EXPECT_EQ(eval(u"kMDItemFSSize BETWEEN {12000, 13000}"), 1);  // both bounds included
  EXPECT_EQ(eval(u"kMDItemFSSize BETWEEN {11000, 12000}"), 1);
  EXPECT_EQ(eval(u"kMDItemFSSize BETWEEN {12001, 13000}"), 0);
  EXPECT_EQ(eval(u"kMDItemFSSize IN {1, 12000}"), 1);
  EXPECT_EQ(eval(u"kMDItemFSSize == '12000'"), 0);  // a string is not a number
  EXPECT_EQ(eval(u"kMDItemFSContentChangeDate > %@", {Value::date(699999999)}), 1);
  EXPECT_EQ(eval(u"kMDItemFSContentChangeDate > %@", {Value::date(700000000)}), 0);
  EXPECT_EQ(eval(u"kMDItemFSContentChangeDate BETWEEN %@", {Value::list({Value::date(1), Value::date(7e8)})}), 1);
}

TEST(PredicateOperators, ListAttributesHoldForAnyElement) {
  EXPECT_EQ(eval(u"kMDItemContentTypeTree == 'public.data'"), 1);
  EXPECT_EQ(eval(u"kMDItemContentTypeTree == 'public.image'"), 0);
  EXPECT_EQ(eval(u"kMDItemContentTypeTree != 'public.image'"), 1);
  EXPECT_EQ(eval(u"kMDItemContentTypeTree != 'public.data'"), 0);  // one element equals
  EXPECT_EQ(eval(u"kMDItemUserTags ==[c] 'work'"), 1);
  EXPECT_EQ(eval(u"kMDItemUserTags BEGINSWITH 'R'"), 1);
  EXPECT_EQ(eval(u"'Red' IN kMDItemUserTags"), 1);
  EXPECT_EQ(eval(u"'Blue' IN kMDItemUserTags"), 0);
}

TEST(PredicateOperators, MissingAttributesFailEveryComparisonButNotEqual) {
  Attrs empty;
  for (std::u16string_view q : {u"kMDItemPixelHeight > 0", u"kMDItemPixelHeight < 0", u"kMDItemPixelHeight == 0",
                                u"kMDItemPixelHeight == '*'", u"kMDItemPixelHeight LIKE '*'",
                                u"kMDItemPixelHeight BETWEEN {0, 1}", u"kMDItemPixelHeight IN {1}"})
    EXPECT_EQ(eval(q, {}, empty), 0) << std::string(q.begin(), q.end());
  EXPECT_EQ(eval(u"kMDItemPixelHeight != 0", {}, empty), 1);
  EXPECT_EQ(eval(u"NOT kMDItemPixelHeight > 0", {}, empty), 1);
  EXPECT_EQ(eval(u"kMDItemPixelHeight == nil", {}, empty), 1);
  EXPECT_EQ(eval(u"kMDItemPixelHeight != nil", {}, empty), 0);
  EXPECT_EQ(eval(u"kMDItemFSSize != nil"), 1);
}

TEST(PredicateLogic, PrecedenceAndKeywords) {
  // NOT binds tightest, then AND, then OR.
  EXPECT_EQ(eval(u"TRUEPREDICATE OR FALSEPREDICATE AND FALSEPREDICATE"), 1);
  EXPECT_EQ(eval(u"(TRUEPREDICATE OR FALSEPREDICATE) AND FALSEPREDICATE"), 0);
  EXPECT_EQ(eval(u"NOT FALSEPREDICATE AND FALSEPREDICATE"), 0);
  EXPECT_EQ(eval(u"!TRUEPREDICATE || TRUEPREDICATE"), 1);
  EXPECT_EQ(eval(u"truepredicate and not falsepredicate"), 1);  // keywords in any case
  EXPECT_EQ(eval(u"kMDItemFSSize > 5 and kMDItemFSName like[c] '*.pdf'"), 1);
  EXPECT_EQ(eval(u"NOT NOT TRUEPREDICATE"), 1);
}

TEST(PredicateConstants, BooleansNullsAndEscapes) {
  Attrs item{{u"flag", Value::boolean(true)}, {u"text", Value::string(u"a\"b'c\n")}};
  EXPECT_EQ(eval(u"flag == TRUE", {}, item), 1);
  EXPECT_EQ(eval(u"flag == yes", {}, item), 1);
  EXPECT_EQ(eval(u"flag == NO", {}, item), 0);
  EXPECT_EQ(eval(u"flag == FALSE", {}, item), 0);
  EXPECT_EQ(eval(u"text == \"a\\\"b'c\\n\"", {}, item), 1);
  EXPECT_EQ(eval(u"text == 'a\"b\\'c\\n'", {}, item), 1);
  EXPECT_EQ(eval(u"text == NULL", {}, item), 0);
}

TEST(PredicateSubstitution, ValuesAndAttributeNames) {
  EXPECT_EQ(eval(u"%K == %@", {Value::string(u"kMDItemFSSize"), Value::integer(12000)}), 1);
  EXPECT_EQ(eval(u"kMDItemFSName LIKE[c] %@", {Value::string(u"*.pdf")}), 1);
  EXPECT_EQ(eval(u"kMDItemFSSize IN %@", {Value::list({Value::integer(12000)})}), 1);
  // A substituted string is a value, never parsed as predicate text.
  EXPECT_EQ(eval(u"kMDItemFSName == %@", {Value::string(u"x' OR TRUEPREDICATE OR 'y")}), 0);
  // Too few values.
  EXPECT_EQ(eval(u"kMDItemFSName == %@"), -1);
  EXPECT_EQ(eval(u"%K == %@", {Value::string(u"kMDItemFSName")}), -1);
  EXPECT_EQ(eval(u"%K == 1", {Value::integer(3)}), -1);  // %K takes a name
}

TEST(PredicateSyntax, TextThatMakesNoPredicate) {
  for (std::u16string_view q :
       {u"", u"   ", u"kMDItemFSName", u"kMDItemFSName ==", u"kMDItemFSName === 'a'", u"kMDItemFSName FOO 'a'",
        u"kMDItemFSName == 'a", u"kMDItemFSName == \"a", u"(kMDItemFSName == 'a'", u"kMDItemFSName == 'a')",
        u"kMDItemFSName == 'a' AND", u"AND kMDItemFSName == 'a'", u"kMDItemFSSize BETWEEN {1}",
        u"kMDItemFSSize BETWEEN 3", u"kMDItemFSName ==[x] 'a'", u"kMDItemFSName ==[] 'a'", u"{1, 2",
        u"kMDItemFSName == %%", u"kMDItemFSName == %d", u"kMDItemFSSize > 12abc", u"kMDItemFSName == 'a\\"})
    EXPECT_EQ(eval(q), -1) << std::string(q.begin(), q.end());
}

TEST(PredicateSyntax, DeepNestingIsRefusedNotOverflowed) {
  std::u16string deep(100000, u'(');
  EXPECT_EQ(eval(deep), -1);
  std::u16string nots;
  for (int i = 0; i < 50000; ++i) nots += u"NOT ";
  EXPECT_EQ(eval(nots + u"TRUEPREDICATE"), -1);
  std::u16string chain = u"TRUEPREDICATE";
  for (int i = 0; i < 50000; ++i) chain += u" AND TRUEPREDICATE";
  EXPECT_EQ(eval(chain), -1);
  std::u16string modest = u"TRUEPREDICATE";
  for (int i = 0; i < 100; ++i) modest = u"(" + modest + u" AND TRUEPREDICATE)";
  EXPECT_EQ(eval(modest), 1);
}

}  // namespace
}  // namespace tessaro::services
