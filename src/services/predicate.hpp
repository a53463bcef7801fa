// The predicate format language of metadata queries: a parser that turns a
// format string (with its substitution values) into one expression tree, and
// an evaluator that tests the tree against an item's attributes.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tessaro/value.hpp"

namespace tessaro::services {

enum class CompareOp : unsigned char {
  equal, notEqual, less, lessEqual, greater, greaterEqual,
  beginsWith, endsWith, contains, like, matches, in, between
};

// One side of a comparison: an attribute name, or a constant value.
struct Operand {
  std::u16string attribute;  // empty for a constant
  Value constant;
  bool isAttribute() const { return !attribute.empty(); }
};

struct PredicateNode {
  enum class Kind : unsigned char { truePredicate, falsePredicate, negation, conjunction, disjunction, comparison };
  Kind kind = Kind::truePredicate;
  std::vector<PredicateNode> children;  // one for negation, two for conjunction and disjunction
  CompareOp op = CompareOp::equal;
  bool caseInsensitive = false;
  bool diacriticInsensitive = false;
  Operand left, right;
};

// Parses `format`; each %@ takes the next of `values`, each %K the next value
// as an attribute name. No tree when the text is not a predicate, or when it
// asks for more values than there are.
std::optional<PredicateNode> parsePredicate(std::u16string_view format, const std::vector<Value>& values);

// Gives an item's attribute by name; no value when the item lacks it.
using AttributeLookup = std::function<Value(std::u16string_view name)>;

bool evaluatePredicate(const PredicateNode& node, const AttributeLookup& lookup);

// The attribute names a tree reads.
void collectAttributes(const PredicateNode& node, std::vector<std::u16string>& names);

}  // namespace tessaro::services
