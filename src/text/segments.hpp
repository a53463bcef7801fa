// The one walk that cuts text into pieces: lines, paragraphs, composed
// characters (grapheme clusters), words and sentences. Every segmentation
// and character-offset command is this walk with a different unit, locale
// choice and use of the pieces it reports.
//
// Positions are UTF-16 code units from 0. A piece is the unit's own range:
// line and paragraph separators, the spaces and punctuation between words,
// and the white space after a sentence belong to no piece.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>
#include <unicode/utf16.h>

namespace tessaro::text {

// The host's enumeration codes.
enum class TextUnit : std::uint8_t { lines = 0, paragraphs = 1, composedCharacters = 2, words = 3, sentences = 4 };

// An ICU break iterator for one unit over text read in place; `text` must
// outlive it. Composed characters, words and sentences only. Iterators are
// made per walk: the library keeps no caches.
class Breaks {
 public:
  Breaks(std::u16string_view text, TextUnit unit, bool localized);
  ~Breaks();
  Breaks(const Breaks&) = delete;
  Breaks& operator=(const Breaks&) = delete;
  // Null when ICU could not make the iterator (its data missing): the text
  // then has no pieces of this unit.
  icu::BreakIterator* get() const noexcept { return iterator_.get(); }

 private:
  UText text_ = UTEXT_INITIALIZER;
  std::unique_ptr<icu::BreakIterator> iterator_;
};

namespace detail {

inline bool isLineSeparator(char16_t c, bool paragraphsOnly) noexcept {
  if (c > u'\r' && c != 0x85 && c != 0x2028 && c != 0x2029) return false;
  switch (c) {
    case u'\n':
    case u'\r':
    case 0x2029:
      return true;
    case 0x85:  // next line: a line separator, as U+2028 is
    case 0x2028:
      return !paragraphsOnly;
    default:
      return false;
  }
}

// Lines end at LF, CR, CR LF, U+0085, U+2028 and U+2029; paragraphs at LF,
// CR, CR LF and U+2029. Text before each separator is a piece (possibly
// empty); a separator at the very end opens no further piece.
template <class Visit>
void forEachLine(std::u16string_view text, bool paragraphs, Visit& visit) {
  const std::size_t n = text.size();
  std::size_t start = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const char16_t c = text[i];
    if (!isLineSeparator(c, paragraphs)) continue;
    if (!visit(start, i - start)) return;
    if (c == u'\r' && i + 1 < n && text[i + 1] == u'\n') ++i;
    start = i + 1;
  }
  if (start < n) visit(start, n - start);
}

// The end of a sentence segment once the white space (separators included)
// after its last character is left out.
inline std::size_t sentenceEnd(std::u16string_view text, std::size_t start, std::size_t end) noexcept {
  while (end > start) {
    std::size_t before = end;
    UChar32 c;
    U16_PREV(text.data(), start, before, c);
    if (!u_isUWhiteSpace(c)) break;
    end = before;
  }
  return end;
}

}  // namespace detail

// Calls visit(location, length) for each piece of `text` in order; the walk
// stops early when visit returns false. Localized words and sentences follow
// the process's default locale, the others the root locale; the flag makes
// no difference to the other units.
template <class Visit>
void forEachPiece(std::u16string_view text, TextUnit unit, bool localized, Visit&& visit) {
  if (text.empty()) return;
  if (unit == TextUnit::lines || unit == TextUnit::paragraphs) {
    detail::forEachLine(text, unit == TextUnit::paragraphs, visit);
    return;
  }
  Breaks breaks(text, unit, localized);
  icu::BreakIterator* it = breaks.get();
  if (!it) return;
  std::int32_t start = it->first();
  switch (unit) {
    case TextUnit::composedCharacters:
      for (std::int32_t end = it->next(); end != icu::BreakIterator::DONE; start = end, end = it->next())
        if (!visit(std::size_t(start), std::size_t(end - start))) return;
      return;
    case TextUnit::words:
      // Segments of spaces and punctuation carry the "none" rule status.
      for (std::int32_t end = it->next(); end != icu::BreakIterator::DONE; start = end, end = it->next())
        if (it->getRuleStatus() >= UBRK_WORD_NONE_LIMIT && !visit(std::size_t(start), std::size_t(end - start)))
          return;
      return;
    case TextUnit::sentences:
      // A segment of nothing but white space (text that opens with blank
      // lines) leaves an empty piece, which is no sentence.
      for (std::int32_t end = it->next(); end != icu::BreakIterator::DONE; start = end, end = it->next()) {
        std::size_t last = detail::sentenceEnd(text, std::size_t(start), std::size_t(end));
        if (last > std::size_t(start) && !visit(std::size_t(start), last - std::size_t(start))) return;
      }
      return;
    default:
      return;
  }
}

}  // namespace tessaro::text
