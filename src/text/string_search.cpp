// String search with the host's comparison options on ICU.
//
// ICU's collator-based string search compares collation elements at one
// strength, and collation ranks case and width at the same level, so "ignore
// case but not width" or "ignore accents but not case" cannot be asked of it
// directly. It is run at the coarsest strength the options need to find
// candidates; each candidate is then checked by folding it and the search
// string as the options say (case, accents, width; nothing else) and
// comparing the two folded forms: code unit by code unit for a literal
// search, else with a collator at identical strength, which keeps the
// comparison exact up to canonical equivalence (digits by value when asked).
#include "text/string_search.hpp"

#include <memory>

#include <unicode/coll.h>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/regex.h>
#include <unicode/stsearch.h>
#include <unicode/tblcoll.h>

#include "bridge/unicode.hpp"

namespace tessaro::text {

namespace opt = search_options;

struct StringSearch::Engine {
  Engine(std::u16string_view search, std::u16string_view text, std::uint64_t options)
      : search(search), text(text), options(options) {}
  virtual ~Engine() = default;
  virtual std::optional<Match> find(std::size_t from) = 0;

  bool has(std::uint64_t bit) const noexcept { return (options & bit) != 0; }

  std::u16string_view search, text;
  std::uint64_t options;
};

namespace {

using Engine = StringSearch::Engine;

// Literal search with no insensitive options: code units compared as they are.
struct ExactEngine final : Engine {
  using Engine::Engine;

  std::optional<Match> find(std::size_t from) override {
    const std::size_t n = text.size(), m = search.size();
    if (m == 0 || from > n || n - from < m) return std::nullopt;
    std::size_t at = std::u16string_view::npos;
    if (has(opt::backwards)) {
      if (has(opt::anchored))
        at = text.substr(n - m) == search ? n - m : at;
      else if (std::size_t found = text.rfind(search); found != std::u16string_view::npos && found >= from)
        at = found;
    } else if (has(opt::anchored)) {
      at = text.substr(from, m) == search ? from : at;
    } else {
      at = text.find(search, from);
    }
    if (at == std::u16string_view::npos) return std::nullopt;
    return Match{at, m};
  }
};

// Everything else but patterns: ICU's string search over collation elements.
struct CollatedEngine final : Engine {
  CollatedEngine(std::u16string_view search, std::u16string_view text, std::uint64_t options,
                 const icu::Locale* locale)
      : Engine(search, text, options), icuSearch_(icuView(search)), icuText_(icuView(text)) {
    if (search.empty() || text.empty()) return;
    const icu::Locale& where = locale ? *locale : icu::Locale::getRoot();
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::Collator> checker(icu::Collator::createInstance(where, status));
    std::unique_ptr<icu::Collator> searching(icu::Collator::createInstance(where, status));
    if (U_FAILURE(status)) return;

    const bool caseless = has(opt::caseInsensitive), accentless = has(opt::diacriticInsensitive),
               widthless = has(opt::widthInsensitive);
    // Case and width are tertiary differences, accents secondary ones.
    UColAttributeValue strength = accentless ? UCOL_PRIMARY : caseless || widthless ? UCOL_SECONDARY : UCOL_IDENTICAL;
    checker->setStrength(icu::Collator::IDENTICAL);
    // Numeric collation turns a run of digits into one collation element,
    // which string search cannot cut: the digits are searched as they are
    // and compared by value only in the check.
    if (has(opt::numeric)) checker->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
    // Turkish and Azerbaijani fold I to dotless i and dotted I to i.
    const std::string_view language = where.getLanguage();
    turkicCase_ = language == "tr" || language == "az";
    decompose_ = icu::Normalizer2::getNFDInstance(status);
    compatibility_ = icu::Normalizer2::getNFKDInstance(status);
    if (U_FAILURE(status)) return;
    foldedSearch_ = folded(icuSearch_);
    searching->setStrength(strength == UCOL_IDENTICAL ? icu::Collator::TERTIARY
                                                      : icu::Collator::ECollationStrength(strength));
    auto* rules = dynamic_cast<icu::RuleBasedCollator*>(searching.get());
    if (U_FAILURE(status) || !rules) return;
    auto iterator = std::make_unique<icu::StringSearch>(icuSearch_, icuText_, rules, nullptr, status);
    // Every start is tried: a candidate the checker refuses may overlap the
    // match that follows it.
    iterator->setAttribute(USEARCH_OVERLAP, USEARCH_ON, status);
    if (U_FAILURE(status)) return;
    searching_ = std::move(searching);
    checker_ = std::move(checker);
    iterator_ = std::move(iterator);
  }

  std::optional<Match> find(std::size_t from) override {
    if (!iterator_ || from >= text.size()) return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    const bool backwards = has(opt::backwards), anchored = has(opt::anchored);
    std::int32_t at;
    if (backwards) {
      at = iterator_->last(status);
    } else {
      iterator_->setOffset(std::int32_t(from), status);
      at = iterator_->next(status);
    }
    for (; U_SUCCESS(status) && at != USEARCH_DONE;
         at = backwards ? iterator_->previous(status) : iterator_->next(status)) {
      const std::size_t location = std::size_t(at), length = std::size_t(iterator_->getMatchedLength());
      if (location < from) break;  // backwards, past the start of the range
      if (anchored && !backwards && location > from) break;
      if (anchored && backwards && location + length != text.size()) continue;
      if (length > 0 && accepts(location, length)) return Match{location, length};
    }
    return std::nullopt;
  }

 private:
  bool accepts(std::size_t location, std::size_t length) const {
    icu::UnicodeString candidate = folded(icuView(text.substr(location, length)));
    // Literal: the folded forms' code units as they are, with no canonical
    // equivalence (digits by value still need the collator).
    if (has(opt::literal) && !has(opt::numeric)) return candidate == foldedSearch_;
    UErrorCode status = U_ZERO_ERROR;
    return checker_->compare(candidate, foldedSearch_, status) == UCOL_EQUAL && U_SUCCESS(status);
  }

  // `s` with the differences the options ignore taken out: case folded,
  // nonspacing marks dropped after canonical decomposition, and wide and
  // narrow forms replaced by their plain characters.
  icu::UnicodeString folded(const icu::UnicodeString& s) const {
    const bool caseless = has(opt::caseInsensitive), accentless = has(opt::diacriticInsensitive),
               widthless = has(opt::widthInsensitive);
    if (!caseless && !accentless && !widthless) return s;
    icu::UnicodeString out(s);
    UErrorCode status = U_ZERO_ERROR;
    if (widthless) {
      icu::UnicodeString plain;
      for (std::int32_t i = 0; i < out.length();) {
        UChar32 c = out.char32At(i);
        const auto type = UDecompositionType(u_getIntPropertyValue(c, UCHAR_DECOMPOSITION_TYPE));
        icu::UnicodeString mapping;
        if ((type == U_DT_WIDE || type == U_DT_NARROW) && compatibility_->getRawDecomposition(c, mapping))
          plain.append(mapping);
        else
          plain.append(c);
        i += U16_LENGTH(c);
      }
      out = plain;
    }
    if (caseless) out.foldCase(turkicCase_ ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : U_FOLD_CASE_DEFAULT);
    if (accentless) {
      icu::UnicodeString decomposed = decompose_->normalize(out, status);
      if (U_FAILURE(status)) return out;
      out.remove();
      for (std::int32_t i = 0; i < decomposed.length();) {
        UChar32 c = decomposed.char32At(i);
        if (u_charType(c) != U_NON_SPACING_MARK) out.append(c);
        i += U16_LENGTH(c);
      }
    }
    return out;
  }

  bool turkicCase_ = false;
  const icu::Normalizer2 *decompose_ = nullptr, *compatibility_ = nullptr;
  icu::UnicodeString foldedSearch_;
  icu::UnicodeString icuSearch_, icuText_;
  std::unique_ptr<icu::Collator> searching_, checker_;
  std::unique_ptr<icu::StringSearch> iterator_;
};

// The search string is a regular expression; only the case-insensitive bit
// changes how it matches.
struct PatternEngine final : Engine {
  PatternEngine(std::u16string_view search, std::u16string_view text, std::uint64_t options)
      : Engine(search, text, options), icuSearch_(icuView(search)), icuText_(icuView(text)) {
    if (search.empty()) return;
    UErrorCode status = U_ZERO_ERROR;
    auto matcher = std::make_unique<icu::RegexMatcher>(
        icuSearch_, icuText_, has(opt::caseInsensitive) ? std::uint32_t(UREGEX_CASE_INSENSITIVE) : 0u, status);
    if (U_SUCCESS(status)) matcher_ = std::move(matcher);
  }

  std::optional<Match> find(std::size_t from) override {
    if (!matcher_ || from > text.size()) return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    const std::int64_t n = std::int64_t(text.size());
    std::optional<Match> found;
    if (has(opt::anchored) && !has(opt::backwards)) {
      matcher_->region(std::int64_t(from), n, status);
      if (matcher_->lookingAt(status) && U_SUCCESS(status)) found = current();
      matcher_->reset();
    } else if (has(opt::backwards)) {
      // The last of the matches found left to right; anchored, it must end
      // at the end of the text.
      for (bool more = matcher_->find(std::int64_t(from), status); more && U_SUCCESS(status);
           more = matcher_->find(status)) {
        Match m = current();
        if (m.length > 0 && (!has(opt::anchored) || m.location + m.length == text.size())) found = m;
      }
    } else if (matcher_->find(std::int64_t(from), status) && U_SUCCESS(status)) {
      found = current();
    }
    // An empty match would never move the search on.
    if (U_FAILURE(status) || (found && found->length == 0)) return std::nullopt;
    return found;
  }

 private:
  Match current() const {
    UErrorCode status = U_ZERO_ERROR;
    std::int64_t start = matcher_->start64(status), end = matcher_->end64(status);
    return Match{std::size_t(start), std::size_t(end - start)};
  }

  icu::UnicodeString icuSearch_, icuText_;
  std::unique_ptr<icu::RegexMatcher> matcher_;
};

}  // namespace

StringSearch::StringSearch(std::u16string_view search, std::u16string_view text, std::uint64_t options,
                           const icu::Locale* locale) {
  constexpr std::uint64_t insensitive = opt::caseInsensitive | opt::diacriticInsensitive | opt::widthInsensitive |
                                        opt::numeric;
  if (options & opt::regularExpression)
    engine_ = std::make_unique<PatternEngine>(search, text, options);
  else if ((options & opt::literal) && !(options & insensitive))
    engine_ = std::make_unique<ExactEngine>(search, text, options);
  else
    engine_ = std::make_unique<CollatedEngine>(search, text, options, locale);
}

StringSearch::~StringSearch() = default;

std::optional<Match> StringSearch::find(std::size_t from) { return engine_->find(from); }

}  // namespace tessaro::text
