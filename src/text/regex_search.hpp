// Regular-expression search over a string's UTF-16 code units in place, on
// ICU's engine. Option bits are those of the host's regular-expression
// options: 1 case-insensitive, 2 comments, 4 literal, 8 dot matches all,
// 16 multi-line anchors, 32 Unix lines only, 64 Unicode word boundaries.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include <unicode/regex.h>
#include <unicode/utext.h>

#include "tessaro/value.hpp"

namespace tessaro::text {

// The option bits of an options string: "i" 1, "x" 2, "s" 8, "m" 16, "w" 64,
// each counted once wherever it stands; every other character is ignored.
std::uint64_t regexOptionBits(std::u16string_view letters) noexcept;
// All five letters' bits, which no value as the options stands for.
inline constexpr std::uint64_t kAllRegexOptionLetters = 1 | 2 | 8 | 16 | 64;

// The location meaning "no such position".
inline constexpr std::uint64_t kNotFound = 9223372036854775807u;

class RegexSearch {
 public:
  // Null when the pattern does not compile.
  static std::unique_ptr<RegexSearch> compile(std::u16string_view pattern, std::uint64_t optionBits);
  ~RegexSearch();
  RegexSearch(const RegexSearch&) = delete;
  RegexSearch& operator=(const RegexSearch&) = delete;

  // Starts a search of the whole of `text`, which must outlive it.
  void reset(std::u16string_view text);
  // The next match, in order of start and never overlapping; false when
  // there are no more.
  bool findNext();
  // The whole match (group 0) or a group of the current match; a group that
  // took no part in it has location kNotFound and length 0.
  Range group(std::int32_t number) const;
  std::int32_t groupCount() const noexcept { return groupCount_; }

 private:
  RegexSearch() = default;
  std::unique_ptr<icu::RegexPattern> pattern_;
  std::unique_ptr<icu::RegexMatcher> matcher_;
  UText text_ = UTEXT_INITIALIZER;
  std::int32_t groupCount_ = 0;
};

}  // namespace tessaro::text
