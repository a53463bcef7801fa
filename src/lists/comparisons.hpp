// The five ways the list sorts compare two values, by the names scripts give
// them, and the ICU collators behind the locale-aware ones.
//
//   "compare:"                          the values' natural ordering (Value::compare)
//   "caseInsensitiveCompare:"           strings, case folded, then by code units; no locale
//   "localizedCompare:"                 strings, the current locale's collation at its
//                                       default strength
//   "localizedCaseInsensitiveCompare:"  the same at secondary strength: case (and the
//                                       other tertiary differences, such as width) ignored,
//                                       accents still count
//   "localizedStandardCompare:"         as file names are listed: runs of digits by their
//                                       numeric value, case ignored at first; strings the
//                                       collator finds equal but for case are then ordered
//                                       by case, and strings it cannot tell apart at all by
//                                       their code units, so the order never depends on
//                                       the input order
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include <unicode/ucol.h>

#include "tessaro/value.hpp"

namespace tessaro::lists {

enum class Comparison : std::uint8_t {
  natural,
  caseInsensitive,
  localized,
  localizedCaseInsensitive,
  localizedStandard,
};

// Any name but the four string comparisons, and anything that is not a
// string, means the natural ordering.
Comparison comparisonNamed(const Value& name);
std::string_view comparisonName(Comparison c) noexcept;
inline bool comparesStrings(Comparison c) noexcept { return c != Comparison::natural; }
inline bool isLocalized(Comparison c) noexcept {
  return c == Comparison::localized || c == Comparison::localizedCaseInsensitive ||
         c == Comparison::localizedStandard;
}

struct CollatorCloser {
  void operator()(UCollator* c) const noexcept { ucol_close(c); }
};
using Collator = std::unique_ptr<UCollator, CollatorCloser>;

// A collator of the process's current default locale set up for one of the
// localized comparisons. Opened per call: the locale is read when the sort
// runs, and nothing is cached between commands.
Collator openCollator(Comparison c);

// Folds `text` for the case-insensitive comparison, appending to `out`.
void appendCaseFolded(std::u16string_view text, std::u16string& out);

}  // namespace tessaro::lists
