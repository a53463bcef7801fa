// The regular-expression commands: the first match, all matches, or chosen
// capture groups of every match, as strings or as match records
// {captureGroup, foundString, foundRange}. Each call compiles its pattern
// anew; positions count UTF-16 code units.
#include <memory>

#include "registry/subsystems.hpp"
#include "tessaro/errors.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"
#include "text/large_text_pool.hpp"
#include "text/regex_search.hpp"
#include "text/text_arguments.hpp"
#include "text/value_buffer.hpp"

namespace tessaro {

namespace {

using text::RegexSearch;

std::uint64_t optionBits(const Value& options) {
  // No options at all: every letter's search counts as found.
  if (options.isNothing()) return text::kAllRegexOptionLetters;
  if (!options.isString()) doesNotAnswer(options, "rangeOfString:");
  return text::regexOptionBits(options.asString());
}

// The pattern compiled with the options' flags, searching `text`; null when
// the pattern does not compile (the text is looked at only after that).
std::unique_ptr<RegexSearch> startSearch(const Value& pattern, const Value& text, const Value& options,
                                         std::u16string_view& subject) {
  std::uint64_t bits = optionBits(options);
  if (pattern.isNothing()) return nullptr;
  std::unique_ptr<RegexSearch> search =
      RegexSearch::compile(text::stringArgument(pattern, "length"), bits);
  if (!search) return nullptr;
  if (text.isNothing()) throwFailure(FailureKind::invalidArgument, "nil string argument");
  subject = text::stringArgument(text, "length");
  search->reset(subject);
  return search;
}

// Makes the match records of one call; the keys are made once.
class MatchRecords {
 public:
  MatchRecords() : captureGroup_(Value::string(u"captureGroup")), foundString_(Value::string(u"foundString")),
                   foundRange_(Value::string(u"foundRange")) {}
  Value make(Value group, Value found, Range range) const {
    Record record;
    record.reserve(3);
    record.appendNew(captureGroup_, std::move(group));
    record.appendNew(foundString_, std::move(found));
    record.appendNew(foundRange_, Value::range(range.location, range.length));
    return Value::record(std::move(record));
  }
  Value missing(Value group) const { return make(std::move(group), Value::null(), Range{text::kNotFound, 0}); }

 private:
  Value captureGroup_, foundString_, foundRange_;
};

Value substring(std::u16string_view subject, Range range, detail::Pool* pool) {
  return text::pieceOf(subject, std::size_t(range.location), std::size_t(range.length), pool);
}

// Every match's whole text, or its record.
template <bool records>
Value allMatches(const Value& pattern, const Value& text, const Value& options) {
  std::u16string_view subject;
  std::unique_ptr<RegexSearch> search = startSearch(pattern, text, options, subject);
  if (!search) return Value();
  text::LargeTextPool pool(subject);
  MatchRecords maker;
  ListBuilder found;
  while (search->findNext()) {
    Range whole = search->group(0);
    if constexpr (records)
      found.push(maker.make(Value::integer(0), substring(subject, whole, pool.get()), whole));
    else
      found.push(substring(subject, whole, pool.get()));
  }
  return found.finish();
}

// One list per match, one entry per requested group; no value without a match.
template <bool records>
Value groupsOfMatches(const Value& pattern, const Value& text, const Value& options, const Value& groups) {
  std::u16string_view subject;
  std::unique_ptr<RegexSearch> search = startSearch(pattern, text, options, subject);
  if (!search) return Value();
  std::vector<std::vector<Range>> matches;
  const std::int32_t lastGroup = search->groupCount();
  while (search->findNext()) {
    std::vector<Range> ranges(std::size_t(lastGroup) + 1);
    for (std::int32_t g = 0; g <= lastGroup; ++g) ranges[std::size_t(g)] = search->group(g);
    matches.push_back(std::move(ranges));
  }
  if (matches.empty()) return Value();

  if (!groups.isNothing() && !groups.isList()) doesNotAnswer(groups, "countByEnumeratingWithState:objects:count:");
  std::span<const Value> requested = groups.isList() ? groups.asList() : std::span<const Value>();
  MatchRecords maker;
  ListBuilder result;
  text::ValueBuffer entries;
  for (const std::vector<Range>& ranges : matches) {
    for (const Value& item : requested) {
      std::int64_t number = item.integerValue();
      Range range{text::kNotFound, 0};
      if (number >= 0 && number <= lastGroup) range = ranges[std::size_t(number)];
      if (range.location == text::kNotFound) {
        if constexpr (records)
          entries.push(maker.missing(item));
        else
          entries.push(Value::null());
      } else if constexpr (records) {
        entries.push(maker.make(item, substring(subject, range, nullptr), range));
      } else {
        entries.push(substring(subject, range, nullptr));
      }
    }
    result.push(entries.takeList(nullptr));
  }
  return result.finish();
}

}  // namespace

Value KRVForder::KRV_parseRegexOptionsString_(const Value& options) {
  return Value::integer(std::int64_t(optionBits(options)));
}

Value KRVForder::findFirstMatch_inString_options_(const Value& pattern, const Value& text, const Value& options) {
  std::u16string_view subject;
  std::unique_ptr<RegexSearch> search = startSearch(pattern, text, options, subject);
  if (!search || !search->findNext()) return Value();
  return substring(subject, search->group(0), nullptr);
}

Value KRVForder::findFirstMatchRecord_inString_options_(const Value& pattern, const Value& text,
                                                        const Value& options) {
  std::u16string_view subject;
  std::unique_ptr<RegexSearch> search = startSearch(pattern, text, options, subject);
  if (!search || !search->findNext()) return Value();
  Range whole = search->group(0);
  return MatchRecords().make(Value::integer(0), substring(subject, whole, nullptr), whole);
}

Value KRVForder::findMatches_inString_options_(const Value& pattern, const Value& text, const Value& options) {
  return allMatches<false>(pattern, text, options);
}

Value KRVForder::findMatchRecords_inString_options_(const Value& pattern, const Value& text, const Value& options) {
  return allMatches<true>(pattern, text, options);
}

Value KRVForder::findMatches_inString_options_captureGroups_(const Value& pattern, const Value& text,
                                                             const Value& options, const Value& groups) {
  return groupsOfMatches<false>(pattern, text, options, groups);
}

Value KRVForder::findMatchRecords_inString_options_captureGroups_(const Value& pattern, const Value& text,
                                                                  const Value& options, const Value& groups) {
  return groupsOfMatches<true>(pattern, text, options, groups);
}

void registerRegexCommands(Registry& r) {
  r.add<&KRVForder::findFirstMatch_inString_options_>("findFirstMatch:inString:options:");
  r.add<&KRVForder::findFirstMatchRecord_inString_options_>("findFirstMatchRecord:inString:options:");
  r.add<&KRVForder::findMatches_inString_options_>("findMatches:inString:options:");
  r.add<&KRVForder::findMatchRecords_inString_options_>("findMatchRecords:inString:options:");
  r.add<&KRVForder::findMatches_inString_options_captureGroups_>("findMatches:inString:options:captureGroups:");
  r.add<&KRVForder::findMatchRecords_inString_options_captureGroups_>(
      "findMatchRecords:inString:options:captureGroups:");
  r.add<&KRVForder::KRV_parseRegexOptionsString_>("KRV_parseRegexOptionsString:", Visibility::privateOperation);
}

}  // namespace tessaro
