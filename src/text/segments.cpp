// ICU break iterators over text read in place.
#include "text/segments.hpp"

#include <unicode/locid.h>

namespace tessaro::text {

Breaks::Breaks(std::u16string_view text, TextUnit unit, bool localized) {
  UErrorCode status = U_ZERO_ERROR;
  utext_openUChars(&text_, text.data(), std::int64_t(text.size()), &status);
  if (U_FAILURE(status)) return;
  // The process's locale was made ICU's default when it started.
  const icu::Locale& locale = localized ? icu::Locale::getDefault() : icu::Locale::getRoot();
  std::unique_ptr<icu::BreakIterator> it;
  switch (unit) {
    case TextUnit::composedCharacters:
      it.reset(icu::BreakIterator::createCharacterInstance(locale, status));
      break;
    case TextUnit::words:
      it.reset(icu::BreakIterator::createWordInstance(locale, status));
      break;
    case TextUnit::sentences:
      it.reset(icu::BreakIterator::createSentenceInstance(locale, status));
      break;
    default:
      return;
  }
  if (U_FAILURE(status) || !it) return;
  // The iterator keeps a shallow clone of the UText, which reads `text`.
  it->setText(&text_, status);
  if (U_SUCCESS(status)) iterator_ = std::move(it);
}

Breaks::~Breaks() {
  iterator_.reset();
  utext_close(&text_);
}

}  // namespace tessaro::text
