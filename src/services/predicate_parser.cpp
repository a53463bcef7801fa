// Parser of the predicate format language: recursive descent over the
// format's UTF-16 text, OR binding loosest, then AND, then NOT. Any text it
// cannot read, and any substitution with no value left, gives no tree.
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <string>

#include "services/predicate.hpp"

namespace tessaro::services {

namespace {

constexpr int kMaxDepth = 200;  // nesting beyond this is refused rather than risking the stack
constexpr int kMaxNodes = 2000;  // so is a longer chain of AND and OR, whose tree is as deep

bool isIdentStart(char16_t c) { return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || c == u'_' || c == u'$'; }
bool isIdentPart(char16_t c) { return isIdentStart(c) || (c >= u'0' && c <= u'9') || c == u'.'; }
bool isDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

char16_t upper(char16_t c) { return (c >= u'a' && c <= u'z') ? char16_t(c - 32) : c; }
bool sameWord(std::u16string_view a, std::u16string_view keyword) {
  if (a.size() != keyword.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i)
    if (upper(a[i]) != keyword[i]) return false;
  return true;
}

struct Failure {};

class Parser {
 public:
  Parser(std::u16string_view text, const std::vector<Value>& values) : s_(text), values_(values) {}

  PredicateNode parseAll() {
    PredicateNode n = parseOr(0);
    skipSpace();
    if (pos_ != s_.size()) throw Failure{};
    return n;
  }

 private:
  std::u16string_view s_;
  const std::vector<Value>& values_;
  std::size_t pos_ = 0;
  std::size_t nextValue_ = 0;

  void skipSpace() {
    while (pos_ < s_.size() && (s_[pos_] == u' ' || s_[pos_] == u'\t' || s_[pos_] == u'\n' || s_[pos_] == u'\r')) ++pos_;
  }
  bool peekSymbol(std::u16string_view sym) {
    skipSpace();
    return s_.substr(pos_, sym.size()) == sym;
  }
  bool takeSymbol(std::u16string_view sym) {
    if (!peekSymbol(sym)) return false;
    pos_ += sym.size();
    return true;
  }
  // The next word, if it is `keyword` (any case) and not part of a longer name.
  bool takeKeyword(std::u16string_view keyword) {
    skipSpace();
    std::size_t end = pos_;
    while (end < s_.size() && isIdentPart(s_[end])) ++end;
    if (!sameWord(s_.substr(pos_, end - pos_), keyword)) return false;
    pos_ = end;
    return true;
  }
  const Value& nextSubstitution() {
    if (nextValue_ >= values_.size()) throw Failure{};
    return values_[nextValue_++];
  }

  int nodes_ = 0;

  PredicateNode combine(PredicateNode::Kind kind, PredicateNode a, PredicateNode b) {
    if (++nodes_ > kMaxNodes) throw Failure{};
    PredicateNode n;
    n.kind = kind;
    n.children.push_back(std::move(a));
    n.children.push_back(std::move(b));
    return n;
  }

  PredicateNode parseOr(int depth) {
    if (depth > kMaxDepth) throw Failure{};
    PredicateNode left = parseAnd(depth);
    while (takeSymbol(u"||") || takeKeyword(u"OR")) left = combine(PredicateNode::Kind::disjunction, std::move(left), parseAnd(depth));
    return left;
  }
  PredicateNode parseAnd(int depth) {
    PredicateNode left = parseNot(depth);
    while (takeSymbol(u"&&") || takeKeyword(u"AND")) left = combine(PredicateNode::Kind::conjunction, std::move(left), parseNot(depth));
    return left;
  }
  PredicateNode parseNot(int depth) {
    if (depth > kMaxDepth) throw Failure{};
    if ((peekSymbol(u"!") && !peekSymbol(u"!=") && takeSymbol(u"!")) || takeKeyword(u"NOT")) {
      PredicateNode n;
      n.kind = PredicateNode::Kind::negation;
      n.children.push_back(parseNot(depth + 1));
      return n;
    }
    return parsePrimary(depth);
  }
  PredicateNode parsePrimary(int depth) {
    if (takeSymbol(u"(")) {
      PredicateNode n = parseOr(depth + 1);
      if (!takeSymbol(u")")) throw Failure{};
      return n;
    }
    PredicateNode n;
    if (takeKeyword(u"TRUEPREDICATE")) return n;
    if (takeKeyword(u"FALSEPREDICATE")) {
      n.kind = PredicateNode::Kind::falsePredicate;
      return n;
    }
    n.kind = PredicateNode::Kind::comparison;
    n.left = parseOperand(depth);
    n.op = parseOperator();
    parseModifiers(n);
    if (n.op == CompareOp::between) {
      n.right = parseOperand(depth);
      if (n.right.isAttribute() || !n.right.constant.isList() || n.right.constant.asList().size() != 2) throw Failure{};
    } else {
      n.right = parseOperand(depth);
    }
    return n;
  }

  CompareOp parseOperator() {
    static constexpr std::pair<std::u16string_view, CompareOp> symbols[] = {
        {u"==", CompareOp::equal}, {u"!=", CompareOp::notEqual},   {u"<>", CompareOp::notEqual},
        {u"<=", CompareOp::lessEqual}, {u"=<", CompareOp::lessEqual}, {u">=", CompareOp::greaterEqual},
        {u"=>", CompareOp::greaterEqual}, {u"<", CompareOp::less},  {u">", CompareOp::greater},
        {u"=", CompareOp::equal}};
    for (const auto& [sym, op] : symbols)
      if (takeSymbol(sym)) return op;
    static constexpr std::pair<std::u16string_view, CompareOp> words[] = {
        {u"BEGINSWITH", CompareOp::beginsWith}, {u"ENDSWITH", CompareOp::endsWith},
        {u"CONTAINS", CompareOp::contains},     {u"LIKE", CompareOp::like},
        {u"MATCHES", CompareOp::matches},       {u"IN", CompareOp::in},
        {u"BETWEEN", CompareOp::between}};
    for (const auto& [word, op] : words)
      if (takeKeyword(word)) return op;
    throw Failure{};
  }

  void parseModifiers(PredicateNode& n) {
    if (!takeSymbol(u"[")) return;
    skipSpace();
    bool any = false;
    while (pos_ < s_.size() && s_[pos_] != u']') {
      char16_t c = upper(s_[pos_]);
      if (c == u'C') n.caseInsensitive = true;
      else if (c == u'D') n.diacriticInsensitive = true;
      else if (c == u'N') {  // "normalized": accepted, nothing to change here
      } else throw Failure{};
      any = true;
      ++pos_;
    }
    if (!any || !takeSymbol(u"]")) throw Failure{};
  }

  Operand constant(Value v) {
    Operand o;
    o.constant = std::move(v);
    return o;
  }

  Operand parseOperand(int depth) {
    if (depth > kMaxDepth) throw Failure{};
    skipSpace();
    if (pos_ >= s_.size()) throw Failure{};
    char16_t c = s_[pos_];
    if (c == u'%') {
      if (s_.substr(pos_, 2) == u"%@") {
        pos_ += 2;
        const Value& v = nextSubstitution();
        if (v.isNothing()) throw Failure{};
        return constant(v);
      }
      if (s_.substr(pos_, 2) == u"%K") {
        pos_ += 2;
        const Value& v = nextSubstitution();
        if (!v.isString() || v.asString().empty()) throw Failure{};
        Operand o;
        o.attribute = std::u16string(v.asString());
        return o;
      }
      throw Failure{};  // "%%" and other specifiers name no operand
    }
    if (c == u'"' || c == u'\'') return constant(Value::string(parseString(c)));
    if (c == u'{') {
      ++pos_;
      std::vector<Value> items;
      if (!takeSymbol(u"}")) {
        do {
          Operand item = parseOperand(depth + 1);
          if (item.isAttribute()) throw Failure{};
          items.push_back(std::move(item.constant));
        } while (takeSymbol(u","));
        if (!takeSymbol(u"}")) throw Failure{};
      }
      return constant(Value::list(std::move(items)));
    }
    if (isDigit(c) || ((c == u'-' || c == u'+' || c == u'.') && pos_ + 1 < s_.size() && (isDigit(s_[pos_ + 1]) || s_[pos_ + 1] == u'.')))
      return constant(parseNumber());
    if (isIdentStart(c) || c == u'#') {
      if (c == u'#') ++pos_;  // "#name" escapes a reserved word used as a name
      std::size_t start = pos_;
      while (pos_ < s_.size() && isIdentPart(s_[pos_])) ++pos_;
      std::u16string_view word = s_.substr(start, pos_ - start);
      if (word.empty()) throw Failure{};
      if (c != u'#') {
        if (sameWord(word, u"TRUE") || sameWord(word, u"YES")) return constant(Value::boolean(true));
        if (sameWord(word, u"FALSE") || sameWord(word, u"NO")) return constant(Value::boolean(false));
        if (sameWord(word, u"NULL") || sameWord(word, u"NIL")) return constant(Value::null());
        static constexpr std::u16string_view reserved[] = {u"AND", u"OR", u"NOT", u"BEGINSWITH", u"ENDSWITH",
                                                           u"CONTAINS", u"LIKE", u"MATCHES", u"IN", u"BETWEEN",
                                                           u"TRUEPREDICATE", u"FALSEPREDICATE"};
        for (std::u16string_view r : reserved)
          if (sameWord(word, r)) throw Failure{};
      }
      Operand o;
      o.attribute = std::u16string(word);
      return o;
    }
    throw Failure{};
  }

  std::u16string parseString(char16_t quote) {
    ++pos_;
    std::u16string out;
    while (true) {
      if (pos_ >= s_.size()) throw Failure{};  // unbalanced quote
      char16_t c = s_[pos_++];
      if (c == quote) return out;
      if (c != u'\\') {
        out.push_back(c);
        continue;
      }
      if (pos_ >= s_.size()) throw Failure{};
      char16_t e = s_[pos_++];
      switch (e) {
        case u'n': out.push_back(u'\n'); break;
        case u't': out.push_back(u'\t'); break;
        case u'r': out.push_back(u'\r'); break;
        case u'0': out.push_back(u'\0'); break;
        case u'u': {
          if (pos_ + 4 > s_.size()) throw Failure{};
          unsigned v = 0;
          for (int i = 0; i < 4; ++i) {
            char16_t h = s_[pos_++];
            v <<= 4;
            if (isDigit(h)) v |= unsigned(h - u'0');
            else if (upper(h) >= u'A' && upper(h) <= u'F') v |= unsigned(upper(h) - u'A' + 10);
            else throw Failure{};
          }
          out.push_back(char16_t(v));
          break;
        }
        default: out.push_back(e);  // \\, \", \' and any other character stand for themselves
      }
    }
  }

  Value parseNumber() {
    std::size_t start = pos_;
    if (s_[pos_] == u'-' || s_[pos_] == u'+') ++pos_;
    bool real = false;
    while (pos_ < s_.size() && isDigit(s_[pos_])) ++pos_;
    if (pos_ < s_.size() && s_[pos_] == u'.') {
      real = true;
      ++pos_;
      while (pos_ < s_.size() && isDigit(s_[pos_])) ++pos_;
    }
    if (pos_ < s_.size() && (s_[pos_] == u'e' || s_[pos_] == u'E')) {
      real = true;
      ++pos_;
      if (pos_ < s_.size() && (s_[pos_] == u'-' || s_[pos_] == u'+')) ++pos_;
      if (pos_ >= s_.size() || !isDigit(s_[pos_])) throw Failure{};
      while (pos_ < s_.size() && isDigit(s_[pos_])) ++pos_;
    }
    if (pos_ < s_.size() && isIdentStart(s_[pos_])) throw Failure{};
    std::string ascii;
    for (std::size_t i = start; i < pos_; ++i) ascii.push_back(char(s_[i]));
    if (!real) {
      errno = 0;
      long long v = std::strtoll(ascii.c_str(), nullptr, 10);
      if (errno == 0) return Value::integer(v);
    }
    double d = std::strtod(ascii.c_str(), nullptr);
    if (!std::isfinite(d)) throw Failure{};
    return Value::real(d);
  }
};

}  // namespace

std::optional<PredicateNode> parsePredicate(std::u16string_view format, const std::vector<Value>& values) {
  try {
    return Parser(format, values).parseAll();
  } catch (const Failure&) {
    return std::nullopt;
  }
}

void collectAttributes(const PredicateNode& node, std::vector<std::u16string>& names) {
  for (const PredicateNode& c : node.children) collectAttributes(c, names);
  if (node.left.isAttribute()) names.push_back(node.left.attribute);
  if (node.right.isAttribute()) names.push_back(node.right.attribute);
}

}  // namespace tessaro::services
