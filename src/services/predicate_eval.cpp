// Evaluation of a predicate tree against one item's attributes. Strings
// compare by UTF-16 code units after the [c] and [d] foldings (ICU case
// folding; canonical decomposition with the combining marks removed);
// numbers and dates compare numerically. An attribute the item lacks makes
// a comparison false, "!=" true; a list attribute satisfies a comparison
// when any element does, and "!=" when no element equals.
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>

#include <unicode/normalizer2.h>
#include <unicode/regex.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include "services/predicate.hpp"

namespace tessaro::services {

namespace {

struct Folding {
  bool caseless = false;
  bool diacriticless = false;
};

std::u16string fold(std::u16string_view s, Folding f) {
  if (!f.caseless && !f.diacriticless) return std::u16string(s);
  icu::UnicodeString text(false, s.data(), int32_t(s.size()));
  if (f.diacriticless) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfd = icu::Normalizer2::getNFDInstance(status);
    icu::UnicodeString decomposed;
    if (U_SUCCESS(status)) nfd->normalize(text, decomposed, status);
    if (U_SUCCESS(status)) {
      icu::UnicodeString stripped;
      for (int32_t i = 0; i < decomposed.length();) {
        UChar32 c = decomposed.char32At(i);
        if (u_charType(c) != U_NON_SPACING_MARK) stripped.append(c);
        i += U16_LENGTH(c);
      }
      text = stripped;
    } else {
      text = icu::UnicodeString(s.data(), int32_t(s.size()));
    }
  } else {
    text = icu::UnicodeString(s.data(), int32_t(s.size()));
  }
  if (f.caseless) text.foldCase();
  return std::u16string(reinterpret_cast<const char16_t*>(text.getBuffer()), std::size_t(text.length()));
}

// "*" matches any run of code units, "?" any one; linear backtracking to the
// last star, so no pattern can take more than quadratic time.
bool wildcardMatch(std::u16string_view text, std::u16string_view pattern) {
  std::size_t t = 0, p = 0, starP = std::u16string_view::npos, starT = 0;
  while (t < text.size()) {
    if (p < pattern.size() && (pattern[p] == u'?' || pattern[p] == text[t])) {
      ++t;
      ++p;
    } else if (p < pattern.size() && pattern[p] == u'*') {
      starP = p++;
      starT = t;
    } else if (starP != std::u16string_view::npos) {
      p = starP + 1;
      t = ++starT;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == u'*') ++p;
  return p == pattern.size();
}

bool regexMatch(std::u16string_view text, std::u16string_view pattern, Folding f) {
  // Compiled patterns are kept for the whole search: the same one runs on every item.
  thread_local std::unordered_map<std::u16string, std::unique_ptr<icu::RegexPattern>> cache;
  std::u16string key = std::u16string(pattern) + (f.caseless ? u"\1c" : u"\1-");
  auto it = cache.find(key);
  if (it == cache.end()) {
    if (cache.size() > 64) cache.clear();
    UErrorCode status = U_ZERO_ERROR;
    UParseError pe;
    icu::UnicodeString source(pattern.data(), int32_t(pattern.size()));
    std::unique_ptr<icu::RegexPattern> compiled(
        icu::RegexPattern::compile(source, f.caseless ? UREGEX_CASE_INSENSITIVE : 0, pe, status));
    if (U_FAILURE(status)) compiled.reset();
    it = cache.emplace(key, std::move(compiled)).first;
  }
  if (!it->second) return false;  // a pattern that does not compile matches nothing
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeString input(text.data(), int32_t(text.size()));
  std::unique_ptr<icu::RegexMatcher> m(it->second->matcher(input, status));
  if (U_FAILURE(status)) return false;
  // A time limit keeps a pathological pattern from hanging the search.
  m->setTimeLimit(1000, status);
  bool result = m->matches(status);
  return U_SUCCESS(status) && result;
}

// Numbers (booleans included) and dates read as doubles; other kinds do not.
std::optional<double> numeric(const Value& v) {
  switch (v.kind()) {
    case ValueKind::boolean: return v.asBoolean() ? 1.0 : 0.0;
    case ValueKind::integer: return double(v.asInteger());
    case ValueKind::real: return v.asReal();
    case ValueKind::date: return v.asDate();
    default: return std::nullopt;
  }
}

// One scalar against one scalar (neither a list).
bool compareScalar(const Value& a, CompareOp op, const Value& b, Folding f) {
  if (a.isString() && b.isString()) {
    // Without modifiers the strings are compared where they are.
    std::u16string foldedA, foldedB;
    std::u16string_view x = a.asString(), y = b.asString();
    if (f.caseless || f.diacriticless) {
      foldedA = fold(x, f);
      foldedB = fold(y, f);
      x = foldedA;
      y = foldedB;
    }
    switch (op) {
      case CompareOp::equal: return wildcardMatch(x, y);
      case CompareOp::notEqual: return !wildcardMatch(x, y);
      case CompareOp::less: return x < y;
      case CompareOp::lessEqual: return x <= y;
      case CompareOp::greater: return x > y;
      case CompareOp::greaterEqual: return x >= y;
      case CompareOp::beginsWith: return x.starts_with(y);
      case CompareOp::endsWith: return x.ends_with(y);
      case CompareOp::contains: return x.find(y) != std::u16string_view::npos;
      case CompareOp::like: return wildcardMatch(x, y);
      case CompareOp::matches: return regexMatch(fold(a.asString(), Folding{false, f.diacriticless}), b.asString(), f);
      case CompareOp::in: return y.find(x) != std::u16string_view::npos;  // a substring of the string
      case CompareOp::between: return false;
    }
  }
  std::optional<double> x = numeric(a), y = numeric(b);
  if (x && y) {
    switch (op) {
      case CompareOp::equal: return *x == *y;
      case CompareOp::notEqual: return *x != *y;
      case CompareOp::less: return *x < *y;
      case CompareOp::lessEqual: return *x <= *y;
      case CompareOp::greater: return *x > *y;
      case CompareOp::greaterEqual: return *x >= *y;
      default: return false;
    }
  }
  if (op == CompareOp::equal) return a.equals(b);
  if (op == CompareOp::notEqual) return !a.equals(b);
  return false;
}

template <class Test>
bool anyElement(const Value& attr, const Test& test) {
  if (!attr.isList()) return test(attr);
  for (const Value& item : attr.asList())
    if (test(item)) return true;
  return false;
}

bool compare(const Value& left, CompareOp op, const Value& right, Folding f) {
  bool missing = left.isNothing() || left.isNull() || right.isNothing();
  if (op == CompareOp::notEqual) {
    // A missing attribute equals only NULL.
    if (missing) return !((left.isNothing() || left.isNull()) && right.isNull());
    // Not equal: no element of a list attribute equals.
    return !anyElement(left, [&](const Value& l) { return compareScalar(l, CompareOp::equal, right, f); });
  }
  if (op == CompareOp::equal && right.isNull()) return left.isNothing() || left.isNull();
  if (missing) return false;
  if (op == CompareOp::between) {
    std::span<const Value> bounds = right.asList();
    return anyElement(left, [&](const Value& l) {
      return compareScalar(l, CompareOp::greaterEqual, bounds[0], f) &&
             compareScalar(l, CompareOp::lessEqual, bounds[1], f);
    });
  }
  if (op == CompareOp::in) {
    if (right.isList()) {
      return anyElement(left, [&](const Value& l) {
        for (const Value& r : right.asList())
          if (compareScalar(l, CompareOp::equal, r, f)) return true;
        return false;
      });
    }
    // A list attribute on the right: the value is one of its elements.
    return anyElement(left, [&](const Value& l) {
      return anyElement(right, [&](const Value& r) {
        return right.isList() ? compareScalar(r, CompareOp::equal, l, f) : compareScalar(l, CompareOp::in, r, f);
      });
    });
  }
  return anyElement(left, [&](const Value& l) {
    return anyElement(right, [&](const Value& r) { return compareScalar(l, op, r, f); });
  });
}

Value resolve(const Operand& o, const AttributeLookup& lookup) {
  return o.isAttribute() ? lookup(o.attribute) : o.constant;
}

}  // namespace

bool evaluatePredicate(const PredicateNode& node, const AttributeLookup& lookup) {
  switch (node.kind) {
    case PredicateNode::Kind::truePredicate: return true;
    case PredicateNode::Kind::falsePredicate: return false;
    case PredicateNode::Kind::negation: return !evaluatePredicate(node.children[0], lookup);
    case PredicateNode::Kind::conjunction:
      return evaluatePredicate(node.children[0], lookup) && evaluatePredicate(node.children[1], lookup);
    case PredicateNode::Kind::disjunction:
      return evaluatePredicate(node.children[0], lookup) || evaluatePredicate(node.children[1], lookup);
    case PredicateNode::Kind::comparison: break;
  }
  Folding f{node.caseInsensitive, node.diacriticInsensitive};
  return compare(resolve(node.left, lookup), node.op, resolve(node.right, lookup), f);
}

}  // namespace tessaro::services
