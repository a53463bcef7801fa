// The segmentation commands: each is the one walk of text/segments.hpp
// with its unit, locale flag and result shape, and the occurrence commands,
// a repeated search from the end of the previous match.
#include <memory>
#include <optional>
#include <vector>

#include <unicode/locid.h>

#include "registry/subsystems.hpp"
#include "tessaro/host_objects.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"
#include "text/pieces.hpp"
#include "text/string_search.hpp"

namespace tessaro {

using text::PieceShape;
using text::TextUnit;

Value KRVForder::linesOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::lines, false, PieceShape::strings);
}
Value KRVForder::paragraphsOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::paragraphs, false, PieceShape::strings);
}
Value KRVForder::charactersOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::composedCharacters, false, PieceShape::strings);
}
Value KRVForder::sentencesOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::sentences, false, PieceShape::strings);
}
Value KRVForder::localizedSentencesOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::sentences, true, PieceShape::strings);
}
Value KRVForder::wordsOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::words, false, PieceShape::strings);
}
Value KRVForder::localizedWordsOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::words, true, PieceShape::strings);
}
Value KRVForder::rangesOfCharactersOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::composedCharacters, false, PieceShape::boxedRanges);
}
Value KRVForder::rangesOfWordsOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::words, false, PieceShape::boxedRanges);
}
Value KRVForder::rangesOfLocalizedWordsOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::words, true, PieceShape::boxedRanges);
}
Value KRVForder::rangesOfSentencesOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::sentences, false, PieceShape::boxedRanges);
}
Value KRVForder::rangesOfLocalizedSentencesOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::sentences, true, PieceShape::boxedRanges);
}
Value KRVForder::rangesOfParagraphsOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::paragraphs, false, PieceShape::boxedRanges);
}
Value KRVForder::rangesOfLinesOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::lines, false, PieceShape::boxedRanges);
}
Value KRVForder::lineRangesOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::lines, false, PieceShape::rangePairs);
}
Value KRVForder::paragraphRangesOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::paragraphs, false, PieceShape::rangePairs);
}
Value KRVForder::characterRangesOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::composedCharacters, false, PieceShape::rangePairs);
}
Value KRVForder::sentenceRangesOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::sentences, false, PieceShape::rangePairs);
}
Value KRVForder::localizedSentenceRangesOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::sentences, true, PieceShape::rangePairs);
}
Value KRVForder::wordRangesOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::words, false, PieceShape::rangePairs);
}
Value KRVForder::localizedWordRangesOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::words, true, PieceShape::rangePairs);
}
Value KRVForder::characterCountOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::composedCharacters, false, PieceShape::count);
}
Value KRVForder::sentenceCountOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::sentences, false, PieceShape::count);
}
Value KRVForder::localizedSentenceCountOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::sentences, true, PieceShape::count);
}
Value KRVForder::wordCountOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::words, false, PieceShape::count);
}
Value KRVForder::localizedWordCountOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::words, true, PieceShape::count);
}
Value KRVForder::paragraphCountOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::paragraphs, false, PieceShape::count);
}
Value KRVForder::lineCountOfString_(const Value& s) {
  return text::piecesOf(s, TextUnit::lines, false, PieceShape::count);
}

namespace {

enum class Occurrence : std::uint8_t { strings, ranges };

// The locale argument: a "$locale" object, or no value (or null) for no
// particular locale.
std::optional<icu::Locale> searchLocale(const Value& locale) {
  if (locale.isNothing() || locale.isNull()) return std::nullopt;
  if (const auto* object = locale.objectAs<LocaleObject>()) return icu::Locale(object->identifier.c_str());
  doesNotAnswer(locale, "localeIdentifier");
}

Value occurrences(const Value& searchValue, const Value& textValue, const Value& optionsValue,
                  const Value& localeValue, Occurrence shape) {
  std::u16string_view text = text::textArgument(textValue);
  if (text.empty()) return Value::list(std::vector<Value>());
  if (searchValue.isNothing()) throwFailure(FailureKind::invalidArgument, "nil argument");
  if (!searchValue.isString()) doesNotAnswer(searchValue, "length");
  // The options are the host's unsigned bits, passed through as they are.
  const auto options = std::uint64_t(optionsValue.integerValue());
  std::optional<icu::Locale> locale = searchLocale(localeValue);
  text::StringSearch search(searchValue.asString(), text, options, locale ? &*locale : nullptr);

  std::vector<Value> found;
  for (std::size_t p = 0; p < text.size();) {
    std::optional<text::Match> match = search.find(p);
    if (!match) break;
    p = match->location + match->length;
    found.push_back(shape == Occurrence::strings ? Value::string(text.substr(match->location, match->length))
                                                 : Value::range(match->location, match->length));
  }
  return Value::list(std::move(found));
}

}  // namespace

Value KRVForder::stringsOfString_inString_options_(const Value& search, const Value& text, const Value& options) {
  return occurrences(search, text, options, Value(), Occurrence::strings);
}
Value KRVForder::stringsOfString_inString_options_locale_(const Value& search, const Value& text,
                                                          const Value& options, const Value& locale) {
  return occurrences(search, text, options, locale, Occurrence::strings);
}
Value KRVForder::rangesOfString_inString_options_(const Value& search, const Value& text, const Value& options) {
  return occurrences(search, text, options, Value(), Occurrence::ranges);
}
Value KRVForder::rangesOfString_inString_options_locale_(const Value& search, const Value& text,
                                                         const Value& options, const Value& locale) {
  return occurrences(search, text, options, locale, Occurrence::ranges);
}

void registerSegmentationCommands(Registry& r) {
  r.add<&KRVForder::linesOfString_>("linesOfString:");
  r.add<&KRVForder::paragraphsOfString_>("paragraphsOfString:");
  r.add<&KRVForder::charactersOfString_>("charactersOfString:");
  r.add<&KRVForder::sentencesOfString_>("sentencesOfString:");
  r.add<&KRVForder::localizedSentencesOfString_>("localizedSentencesOfString:");
  r.add<&KRVForder::wordsOfString_>("wordsOfString:");
  r.add<&KRVForder::localizedWordsOfString_>("localizedWordsOfString:");
  r.add<&KRVForder::rangesOfCharactersOfString_>("rangesOfCharactersOfString:");
  r.add<&KRVForder::rangesOfWordsOfString_>("rangesOfWordsOfString:");
  r.add<&KRVForder::rangesOfLocalizedWordsOfString_>("rangesOfLocalizedWordsOfString:");
  r.add<&KRVForder::rangesOfSentencesOfString_>("rangesOfSentencesOfString:");
  r.add<&KRVForder::rangesOfLocalizedSentencesOfString_>("rangesOfLocalizedSentencesOfString:");
  r.add<&KRVForder::rangesOfParagraphsOfString_>("rangesOfParagraphsOfString:");
  r.add<&KRVForder::rangesOfLinesOfString_>("rangesOfLinesOfString:");
  r.add<&KRVForder::lineRangesOfString_>("lineRangesOfString:");
  r.add<&KRVForder::paragraphRangesOfString_>("paragraphRangesOfString:");
  r.add<&KRVForder::characterRangesOfString_>("characterRangesOfString:");
  r.add<&KRVForder::sentenceRangesOfString_>("sentenceRangesOfString:");
  r.add<&KRVForder::localizedSentenceRangesOfString_>("localizedSentenceRangesOfString:");
  r.add<&KRVForder::wordRangesOfString_>("wordRangesOfString:");
  r.add<&KRVForder::localizedWordRangesOfString_>("localizedWordRangesOfString:");
  r.add<&KRVForder::characterCountOfString_>("characterCountOfString:");
  r.add<&KRVForder::sentenceCountOfString_>("sentenceCountOfString:");
  r.add<&KRVForder::localizedSentenceCountOfString_>("localizedSentenceCountOfString:");
  r.add<&KRVForder::wordCountOfString_>("wordCountOfString:");
  r.add<&KRVForder::localizedWordCountOfString_>("localizedWordCountOfString:");
  r.add<&KRVForder::paragraphCountOfString_>("paragraphCountOfString:");
  r.add<&KRVForder::lineCountOfString_>("lineCountOfString:");
  r.add<&KRVForder::stringsOfString_inString_options_>("stringsOfString:inString:options:");
  r.add<&KRVForder::stringsOfString_inString_options_locale_>("stringsOfString:inString:options:locale:");
  r.add<&KRVForder::rangesOfString_inString_options_>("rangesOfString:inString:options:");
  r.add<&KRVForder::rangesOfString_inString_options_locale_>("rangesOfString:inString:options:locale:");
}

}  // namespace tessaro
