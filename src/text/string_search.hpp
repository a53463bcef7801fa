// Finding a search string in text with the host's comparison options, on
// ICU: exact code-unit search for literal searches with no insensitivity, a
// collator-based string search otherwise, and the regular-expression engine
// when the search string is a pattern.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include <unicode/locid.h>

namespace tessaro::text {

// The host's string-comparison option bits.
namespace search_options {
inline constexpr std::uint64_t caseInsensitive = 1;
inline constexpr std::uint64_t literal = 2;  // no canonical equivalence
inline constexpr std::uint64_t backwards = 4;
inline constexpr std::uint64_t anchored = 8;
inline constexpr std::uint64_t numeric = 64;
inline constexpr std::uint64_t diacriticInsensitive = 128;
inline constexpr std::uint64_t widthInsensitive = 256;
inline constexpr std::uint64_t regularExpression = 1024;
}  // namespace search_options

struct Match {
  std::size_t location = 0, length = 0;
  friend bool operator==(const Match&, const Match&) = default;
};

// One search string over one text, asked repeatedly for the match within
// the text from a position to its end. Both strings must outlive it.
class StringSearch {
 public:
  // `locale` null: no particular locale (the root collation).
  StringSearch(std::u16string_view search, std::u16string_view text, std::uint64_t options,
               const icu::Locale* locale);
  ~StringSearch();
  StringSearch(const StringSearch&) = delete;
  StringSearch& operator=(const StringSearch&) = delete;

  // The match in text[from, end) the options ask for: the first one, or
  // with `backwards` the last; with `anchored` only one that starts at
  // `from` (ends at the end of the text, when backwards). An empty search
  // string, an invalid pattern and an empty match never match.
  std::optional<Match> find(std::size_t from);

  struct Engine;

 private:
  std::unique_ptr<Engine> engine_;
};

}  // namespace tessaro::text
