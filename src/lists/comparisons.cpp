// Comparison names and the collators of the locale-aware comparisons.
#include "lists/comparisons.hpp"

#include <unicode/locid.h>
#include <unicode/ustring.h>

#include "tessaro/errors.hpp"

namespace tessaro::lists {

Comparison comparisonNamed(const Value& name) {
  if (!name.isString()) return Comparison::natural;
  const std::u16string_view n = name.asString();
  if (n == u"caseInsensitiveCompare:") return Comparison::caseInsensitive;
  if (n == u"localizedCompare:") return Comparison::localized;
  if (n == u"localizedCaseInsensitiveCompare:") return Comparison::localizedCaseInsensitive;
  if (n == u"localizedStandardCompare:") return Comparison::localizedStandard;
  return Comparison::natural;
}

std::string_view comparisonName(Comparison c) noexcept {
  switch (c) {
    case Comparison::natural: return "compare:";
    case Comparison::caseInsensitive: return "caseInsensitiveCompare:";
    case Comparison::localized: return "localizedCompare:";
    case Comparison::localizedCaseInsensitive: return "localizedCaseInsensitiveCompare:";
    case Comparison::localizedStandard: return "localizedStandardCompare:";
  }
  return "compare:";
}

Collator openCollator(Comparison c) {
  // The C locale's collation (ICU's "en_US_POSIX") orders by code point and
  // gives every letter its own primary weight, so case would count even in
  // the comparisons that ignore it; a process in that locale collates by the
  // root rules instead, as a user locale does.
  const char* locale = icu::Locale::getDefault().getName();
  if (std::string_view(locale) == "en_US_POSIX") locale = "";
  UErrorCode status = U_ZERO_ERROR;
  Collator collator(ucol_open(locale, &status));
  if (U_FAILURE(status)) throwFailure(FailureKind::invalidArgument, "no collator for the current locale");
  switch (c) {
    case Comparison::localizedCaseInsensitive:
      ucol_setAttribute(collator.get(), UCOL_STRENGTH, UCOL_SECONDARY, &status);
      break;
    case Comparison::localizedStandard:
      // Tertiary strength compares as the secondary strength does (case and
      // width ignored) and only then lets case decide among strings that
      // are otherwise equal: the fixed final ordering.
      ucol_setAttribute(collator.get(), UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
      ucol_setAttribute(collator.get(), UCOL_STRENGTH, UCOL_TERTIARY, &status);
      break;
    default:
      break;
  }
  if (U_FAILURE(status)) throwFailure(FailureKind::invalidArgument, "the collator refused its settings");
  return collator;
}

void appendCaseFolded(std::u16string_view text, std::u16string& out) {
  const std::size_t at = out.size();
  // Full case folding grows a string by at most three times.
  out.resize(at + text.size() * 3 + 1);
  UErrorCode status = U_ZERO_ERROR;
  int32_t n = u_strFoldCase(out.data() + at, int32_t(out.size() - at), text.data(), int32_t(text.size()),
                            U_FOLD_CASE_DEFAULT, &status);
  if (U_FAILURE(status)) n = 0;
  out.resize(at + std::size_t(n));
}

}  // namespace tessaro::lists
