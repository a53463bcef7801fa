#include "text/regex_search.hpp"

#include <unicode/uregex.h>

#include "bridge/unicode.hpp"

namespace tessaro::text {

namespace {
// The host's option bits and ICU's flags for them.
struct OptionFlag {
  char16_t letter;  // 0 for bits that no letter sets
  std::uint64_t bit;
  std::uint32_t icuFlag;
};
constexpr OptionFlag kOptionFlags[] = {
    {u'i', 1, UREGEX_CASE_INSENSITIVE}, {u'x', 2, UREGEX_COMMENTS},  {0, 4, UREGEX_LITERAL},
    {u's', 8, UREGEX_DOTALL},           {u'm', 16, UREGEX_MULTILINE}, {0, 32, UREGEX_UNIX_LINES},
    {u'w', 64, UREGEX_UWORD},
};
}  // namespace

std::uint64_t regexOptionBits(std::u16string_view letters) noexcept {
  std::uint64_t bits = 0;
  for (const OptionFlag& flag : kOptionFlags)
    if (flag.letter && letters.find(flag.letter) != std::u16string_view::npos) bits |= flag.bit;
  return bits;
}

std::unique_ptr<RegexSearch> RegexSearch::compile(std::u16string_view pattern, std::uint64_t optionBits) {
  std::uint32_t flags = 0;
  for (const OptionFlag& flag : kOptionFlags)
    if (optionBits & flag.bit) flags |= flag.icuFlag;
  UErrorCode status = U_ZERO_ERROR;
  UParseError parseError;
  std::unique_ptr<icu::RegexPattern> compiled(
      icu::RegexPattern::compile(icuView(pattern), flags, parseError, status));
  if (U_FAILURE(status) || !compiled) return nullptr;
  std::unique_ptr<icu::RegexMatcher> matcher(compiled->matcher(status));
  if (U_FAILURE(status) || !matcher) return nullptr;
  std::unique_ptr<RegexSearch> search(new RegexSearch);
  search->groupCount_ = matcher->groupCount();
  search->pattern_ = std::move(compiled);
  search->matcher_ = std::move(matcher);
  return search;
}

RegexSearch::~RegexSearch() {
  matcher_.reset();
  utext_close(&text_);
}

void RegexSearch::reset(std::u16string_view text) {
  // The matcher reads the code units where they are: a UText over them
  // holds the whole text in one chunk, ICU's fast path.
  UErrorCode status = U_ZERO_ERROR;
  utext_openUChars(&text_, text.data(), std::int64_t(text.size()), &status);
  matcher_->reset(&text_);
}

bool RegexSearch::findNext() {
  UErrorCode status = U_ZERO_ERROR;
  return matcher_->find(status) && U_SUCCESS(status);
}

Range RegexSearch::group(std::int32_t number) const {
  UErrorCode status = U_ZERO_ERROR;
  std::int64_t start = matcher_->start64(number, status);
  std::int64_t end = matcher_->end64(number, status);
  if (U_FAILURE(status) || start < 0) return Range{kNotFound, 0};
  return Range{std::uint64_t(start), std::uint64_t(end - start)};
}

}  // namespace tessaro::text
