// The CSV parser against a character-at-a-time reading of the same rules, on
// random texts drawn from the characters that matter: this reaches the
// eight-units-at-a-time scanner at every alignment, fields made in place and
// gathered, and (for long texts) rows carved from a pool.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "text/delimited_text.hpp"

namespace tessaro::text {
namespace {

using Table = std::vector<std::vector<std::u16string>>;

bool isNewline(char16_t c) { return CsvScanner::isNewline(c); }

// The rules one character at a time, without runs.
Table referenceCsv(std::u16string_view t, char16_t sep) {
  Table rows;
  std::size_t i = 0;
  while (i < t.size()) {
    std::vector<std::u16string> row;
    std::u16string field;
    bool inside = false;
    for (;;) {
      if (i == t.size()) {
        if (!field.empty()) row.push_back(field);
        break;
      }
      char16_t c = t[i];
      if (isNewline(c)) {
        std::size_t start = i;
        while (i < t.size() && isNewline(t[i])) ++i;
        if (!inside) {
          if (!field.empty()) row.push_back(field);
          break;
        }
        field.append(t.substr(start, i - start));
      } else if (c == u'"') {
        ++i;
        if (!inside) {
          inside = true;
        } else if (i < t.size() && t[i] == u'"') {
          field += u'"';
          ++i;
        } else {
          inside = false;
        }
      } else if (c == sep) {
        ++i;
        if (inside) {
          field += sep;
        } else {
          row.push_back(field);
          field.clear();
          while (i < t.size() && isCsvWhitespace(t[i])) ++i;
        }
      } else {
        field += c;
        ++i;
      }
    }
    if (!row.empty()) rows.push_back(row);
  }
  return rows;
}

Table tableOf(const Value& v) {
  Table rows;
  for (const Value& row : v.asList()) {
    std::vector<std::u16string> fields;
    for (const Value& field : row.asList()) fields.emplace_back(field.asString());
    rows.push_back(fields);
  }
  return rows;
}

std::u16string randomText(std::mt19937& rng, std::size_t length, std::u16string_view alphabet) {
  std::uniform_int_distribution<std::size_t> pick(0, alphabet.size() - 1);
  std::u16string text;
  for (std::size_t i = 0; i < length; ++i) text += alphabet[pick(rng)];
  return text;
}

TEST(CsvParser, AgreesWithTheRulesOnRandomTexts) {
  std::mt19937 rng(8);
  // Ordinary letters weighted heavily so that runs span several 8-unit blocks.
  const std::u16string alphabet = u"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPé\u2003 \t,;\"\"\n\r\u2028\u0085\u2029\u000b";
  for (char16_t sep : {u',', u';', u'\t', u' ', u'\n', u'"', u'\u2003'}) {
    for (int round = 0; round < 300; ++round) {
      std::u16string text = randomText(rng, std::size_t(round % 60), alphabet);
      ASSERT_EQ(tableOf(parseCsv(text, sep)), referenceCsv(text, sep))
          << "separator " << int(sep) << " round " << round;
    }
  }
}

TEST(CsvParser, LongTextsFromThePoolAgreeToo) {
  std::mt19937 rng(16);
  const std::u16string alphabet = u"abcdefghijklmnopqrstuvwxyz0123456789 abcdefghijklmnopqrstuvwxyzé,,\"\n";
  std::u16string text = randomText(rng, 200000, alphabet);
  Value table = parseCsv(text, u',');
  Table expected = referenceCsv(text, u',');
  ASSERT_GT(expected.size(), 1000u);
  Value firstRow = table.asList()[0];
  EXPECT_EQ(tableOf(table), expected);
  table = Value();  // a row outlives the table it came from
  EXPECT_EQ(tableOf(Value::list({firstRow})), Table{expected[0]});
}

TEST(CsvScanner, FindsEachSpecialUnitAtEveryOffset) {
  const CsvScanner scanner(u';');
  for (char16_t special : {u'"', u';', u'\n', u'\u000b', u'\u000c', u'\r', u'\u0085', u'\u2028', u'\u2029'}) {
    for (std::size_t at = 0; at < 20; ++at) {
      // Neighbours of the special units in value, which must not match.
      std::u16string text(20, u'\u0009');
      for (std::size_t i = 0; i < text.size(); i += 2) text[i] = u'\u2027';
      text[at] = special;
      const char16_t* end = text.data() + text.size();
      EXPECT_EQ(scanner.ordinaryRunEnd(text.data(), end) - text.data(), std::ptrdiff_t(at)) << int(special);
    }
  }
  std::u16string plain(37, u'\u000e');
  EXPECT_EQ(scanner.ordinaryRunEnd(plain.data(), plain.data() + plain.size()), plain.data() + plain.size());
}

TEST(TsvParser, LongTextsKeepEveryField) {
  std::u16string text;
  for (int i = 0; i < 20000; ++i) text += u"field one\tfield number two, long\t\r\n";
  Value table = parseTsv(text);
  ASSERT_EQ(table.asList().size(), 20000u);
  for (const Value& row : table.asList()) {
    ASSERT_EQ(row.asList().size(), 3u);
    EXPECT_EQ(row.asList()[1].asString(), u"field number two, long");
    EXPECT_EQ(row.asList()[2].asString(), u"");
  }
}

}  // namespace
}  // namespace tessaro::text
