// Reads the value notation. simdjson's On-Demand parser checks the structure,
// the numbers and the UTF-8 of the text; strings and keys are unescaped here,
// straight into UTF-16, because the notation keeps lone surrogates ("\uD800")
// that simdjson's own unescaper refuses.
//
// Objects are read generically, as (key, value) pairs, and reinterpreted when
// they close with exactly one key that is a tag. The value of a "$record" key
// is read without tag interpretation at its top level ("raw"), since it may be
// the escaped record of {"$record": {...}}; when its object turns out to be an
// ordinary record after all, the raw value is resolved then.
#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <utility>
#include <unordered_map>

#include <simdjson.h>

#include "bridge/value_access.hpp"
#include "bridge/value_pool.hpp"
#include "interface/notation_tags.hpp"
#include "interface/notation_unescape.hpp"
#include "interface/request_reader.hpp"
#include "tessaro/notation.hpp"

namespace tessaro {

namespace {

namespace od = simdjson::ondemand;
using notation::malformed;
using notation::Tag;
using notation::Utf16Buffer;

// Deeper nesting than this is refused rather than risk the stack.
constexpr int kMaxDepth = 512;
constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();
constexpr std::u16string_view kRecordTag = u"$record";
constexpr std::size_t kAdoptFrom = 1 << 16;  // code units
constexpr std::size_t kPoolFrom = 1 << 16;   // bytes of text

std::string_view describe(simdjson::error_code error) noexcept {
  switch (error) {
    case simdjson::EMPTY:
      return "empty JSON text";
    case simdjson::UTF8_ERROR:
      return "the JSON text is not valid UTF-8";
    case simdjson::UNCLOSED_STRING:
      return "unclosed string";
    case simdjson::UNESCAPED_CHARS:
      return "control character in a string";
    case simdjson::INCOMPLETE_ARRAY_OR_OBJECT:
      return "unclosed array or object";
    case simdjson::TRAILING_CONTENT:
      return "unexpected text after the JSON value";
    case simdjson::DEPTH_ERROR:
      return "JSON nested too deeply";
    case simdjson::NUMBER_ERROR:
      return "malformed number";
    case simdjson::T_ATOM_ERROR:
    case simdjson::F_ATOM_ERROR:
    case simdjson::N_ATOM_ERROR:
      return "malformed JSON literal";
    case simdjson::CAPACITY:
    case simdjson::MEMALLOC:
      return "JSON text too large";
    default:
      return "malformed JSON (misplaced or missing comma, colon, bracket, brace or key)";
  }
}

[[noreturn, gnu::noinline, gnu::cold]] void refuse(simdjson::error_code error) {
  malformed(std::string(describe(error)));
}

// Called for every value read: the test stays inline, the error path does not.
inline void check(simdjson::error_code error) {
  if (error != simdjson::SUCCESS) [[unlikely]]
    refuse(error);
}

// The value inside a result, checked and then used where it stands: copying
// the parser's iterators out of it (written in parts, read back whole) stalls
// the processor on every item.
template <class T>
T& inPlace(simdjson::simdjson_result<T>& result) {
  check(result.error());
  return const_cast<T&>(result.value_unsafe());
}

bool isRealToken(std::string_view token) noexcept {
  for (char c : token)
    if (c == '.' || c == 'e' || c == 'E') return true;
  return false;
}

// Whether `token` follows the JSON grammar of numbers:
// -?(0|[1-9][0-9]*)(.[0-9]+)?([eE][+-]?[0-9]+)?
bool isJsonNumber(std::string_view t) noexcept {
  std::size_t i = 0;
  auto digits = [&] {
    std::size_t from = i;
    while (i < t.size() && t[i] >= '0' && t[i] <= '9') ++i;
    return i - from;
  };
  if (i < t.size() && t[i] == '-') ++i;
  std::size_t first = i;
  std::size_t whole = digits();
  if (whole == 0 || (whole > 1 && t[first] == '0')) return false;
  if (i < t.size() && t[i] == '.') {
    ++i;
    if (digits() == 0) return false;
  }
  if (i < t.size() && (t[i] == 'e' || t[i] == 'E')) {
    ++i;
    if (i < t.size() && (t[i] == '+' || t[i] == '-')) ++i;
    if (digits() == 0) return false;
  }
  return i == t.size();
}

// Whether a well-formed real whose value a double cannot hold lies below the
// smallest one rather than beyond the largest: the decimal exponent of its
// first significant digit is negative (or it has none: zero).
bool isUnderflow(std::string_view t) noexcept {
  auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  std::size_t i = t[0] == '-' ? 1 : 0;
  bool significant = false;
  std::int64_t magnitude = 0;  // the power of ten of the first significant digit
  std::size_t whole = i;
  while (i < t.size() && isDigit(t[i])) ++i;
  for (std::size_t k = whole; k < i && !significant; ++k)
    if (t[k] != '0') significant = true, magnitude = std::int64_t(i - k) - 1;
  if (i < t.size() && t[i] == '.') {
    std::size_t fraction = ++i;
    for (; i < t.size() && isDigit(t[i]); ++i)
      if (!significant && t[i] != '0') significant = true, magnitude = -std::int64_t(i - fraction) - 1;
  }
  if (!significant) return true;
  std::int64_t exponent = 0;
  bool negative = false;
  if (i < t.size()) {  // at the 'e'
    ++i;
    if (t[i] == '+' || t[i] == '-') negative = t[i++] == '-';
    // Saturates far beyond any double and any text's length.
    for (; i < t.size(); ++i) exponent = std::min<std::int64_t>(exponent * 10 + (t[i] - '0'), 1'000'000'000'000);
  }
  return magnitude + (negative ? -exponent : exponent) < 0;
}

// A number token as an error message shows it: long ones in part.
std::string shown(std::string_view token) {
  constexpr std::size_t kMax = 40;
  return token.size() <= kMax ? std::string(token) : std::string(token.substr(0, kMax)) + "\u2026";
}

bool isJsonSpace(char c) noexcept { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

std::string_view withoutTrailingSpace(std::string_view token) noexcept {
  while (!token.empty() && isJsonSpace(token.back())) token.remove_suffix(1);
  return token;
}

// Well-formed JSON text in one line: unchanged when it has no white space
// outside its strings, otherwise with the notation's own spacing (", " and
// ": "), so that no raw line break or carriage return survives.
void oneLine(std::string_view json, std::string& out) {
  bool spaced = false, inString = false;
  for (std::size_t i = 0; i < json.size() && !spaced; ++i) {
    char c = json[i];
    if (inString) {
      if (c == '\\') ++i;
      else if (c == '"') inString = false;
    } else {
      inString = c == '"';
      spaced = isJsonSpace(c);
    }
  }
  if (!spaced) {
    out.assign(json);
    return;
  }
  out.clear();
  out.reserve(json.size());
  inString = false;
  for (std::size_t i = 0; i < json.size(); ++i) {
    char c = json[i];
    if (inString) {
      out += c;
      if (c == '\\') out += json[++i];
      else if (c == '"') inString = false;
      continue;
    }
    if (isJsonSpace(c)) continue;
    out += c;
    if (c == ',' || c == ':') out += ' ';
    inString = c == '"';
  }
}

// Where the first complete JSON object or list of `text` ends (one past its
// closing bracket), found by bracket counting alone; no value when it does
// not close.
std::optional<std::size_t> endOfFirstContainer(std::string_view text) {
  int depth = 0;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (inString) {
      if (c == '\\') ++i;
      else if (c == '"') inString = false;
    } else if (c == '"') {
      inString = true;
    } else if (c == '{' || c == '[') {
      ++depth;
    } else if (c == '}' || c == ']') {
      if (--depth == 0) return i + 1;
      if (depth < 0) return std::nullopt;
    }
  }
  return std::nullopt;
}

// simdjson calls an integer beyond 64 bits, and a real beyond a double's
// range, a number of another type or a malformed one; refusals that are not
// about the number itself pass through as they are.
bool isNumberRefusal(simdjson::error_code error) noexcept {
  return error == simdjson::NUMBER_ERROR || error == simdjson::INCORRECT_TYPE ||
         error == simdjson::NUMBER_OUT_OF_RANGE;
}

Value integerFrom(simdjson::simdjson_result<std::int64_t> result, std::string_view token) {
  std::int64_t i;
  if (auto error = std::move(result).get(i)) {
    if (!isNumberRefusal(error)) check(error);
    token = withoutTrailingSpace(token);
    if (!isJsonNumber(token)) malformed("malformed number: " + shown(token));
    // simdjson also refuses a whole text that is a number followed by more
    // white space than it copies to read the number.
    auto [end, ec] = std::from_chars(token.data(), token.data() + token.size(), i);
    if (ec != std::errc() || end != token.data() + token.size())
      malformed("integer out of the 64-bit range: " + shown(token));
  }
  return Value::integer(i);
}

// A real read from its text alone, with the C++ library's exact conversion.
Value realFromText(std::string_view token) {
  token = withoutTrailingSpace(token);
  if (!isJsonNumber(token)) malformed("malformed number: " + shown(token));
  double d;
  if (std::from_chars(token.data(), token.data() + token.size(), d).ec == std::errc()) return Value::real(d);
  // Beyond a double's range; a real too small for one is zero, keeping its sign.
  if (!isUnderflow(token)) malformed("real out of range: " + shown(token));
  return Value::real(token[0] == '-' ? -0.0 : 0.0);
}

// Tokens longer than this may hold more significant digits than simdjson's
// exact fast path takes, and its reading of those is not to be trusted.
constexpr std::size_t kShortNumber = 19;

Value realFrom(simdjson::simdjson_result<double> result, std::string_view token) {
  double d;
  if (withoutTrailingSpace(token).size() > kShortNumber) return realFromText(token);
  if (auto error = std::move(result).get(d)) {
    if (!isNumberRefusal(error)) check(error);
    // simdjson takes exponents beyond its reach as malformed.
    return realFromText(token);
  }
  return Value::real(d);
}

// The items of the lists being read, innermost list last. Items are
// constructed in place from the reading functions' results, so that a value
// is not copied right after it was written (which stalls the processor).
class ValueStack {
 public:
  ValueStack() = default;
  ValueStack(const ValueStack&) = delete;
  ValueStack& operator=(const ValueStack&) = delete;
  ~ValueStack() {
    truncate(0);
    ::operator delete(data_);
  }

  std::size_t size() const noexcept { return size_; }
  // Constructs an item from `make()`, which must not use the stack itself.
  template <class Make>
  void emplace(Make&& make) {
    if (size_ == capacity_) grow();
    ::new (static_cast<void*>(data_ + size_)) Value(make());
    ++size_;
  }
  // The items from `base` on, as a list of their own; they leave the stack.
  std::vector<Value> take(std::size_t base) {
    std::vector<Value> items(std::make_move_iterator(data_ + base), std::make_move_iterator(data_ + size_));
    // What is left behind holds no value and owns nothing; its storage is
    // simply reused.
    size_ = base;
    return items;
  }
  // The same, into `items` (whose storage is reused).
  void takeInto(std::size_t base, std::vector<Value>& items) {
    items.clear();
    items.insert(items.end(), std::make_move_iterator(data_ + base), std::make_move_iterator(data_ + size_));
    size_ = base;
  }
  // The items from `base` on, handed over to a new list value; their places
  // on the stack become raw storage again.
  Value takeList(std::size_t base, detail::Pool* pool) {
    std::span<Value> items(data_ + base, size_ - base);
    Value list = pool ? Value::listAdopting(items, *pool) : Value::listAdopting(items);
    size_ = base;
    return list;
  }
  // Reads a list whose items `pushItems()` puts on the stack and returns the
  // start of, into a place reserved before them: the list value is made
  // where it stays rather than returned and copied there (reading back what
  // was just written in other sizes stalls the processor).
  template <class PushItems>
  void emplaceList(PushItems&& pushItems, detail::Pool* pool) {
    emplace([] { return Value::null(); });  // owns nothing: simply overwritten
    std::size_t place = size_ - 1;
    std::size_t base = pushItems();
    Value* items = data_ + base;  // the stack may have moved meanwhile
    std::span<Value> adopted(items, size_ - base);
    ::new (static_cast<void*>(data_ + place))
        Value(pool ? Value::listAdopting(adopted, *pool) : Value::listAdopting(adopted));
    size_ = base;
  }
  void truncate(std::size_t size) noexcept {
    while (size_ > size) data_[--size_].~Value();
  }

 private:
  void grow() {
    std::size_t capacity = capacity_ ? capacity_ * 2 : 256;
    Value* data = static_cast<Value*>(::operator new(capacity * sizeof(Value)));
    for (std::size_t i = 0; i < size_; ++i) {
      ::new (static_cast<void*>(data + i)) Value(std::move(data_[i]));
      data_[i].~Value();
    }
    ::operator delete(data_);
    data_ = data;
    capacity_ = capacity;
  }
  Value* data_ = nullptr;
  std::size_t size_ = 0, capacity_ = 0;
};

// Checks that a text is one well-formed JSON value of any kind: numbers of
// any magnitude, literals spelt out, strings as the notation unescapes them
// (lone surrogates allowed). Used for ids, which are echoed, not read.
class JsonChecker {
 public:
  bool accepts(std::string_view json) {
    try {
      std::size_t needed = json.size() + simdjson::SIMDJSON_PADDING;
      if (needed > padded_.size()) padded_.resize(needed);
      std::memcpy(padded_.data(), json.data(), json.size());
      std::memset(padded_.data() + json.size(), 0, simdjson::SIMDJSON_PADDING);
      end_ = reinterpret_cast<const std::uint8_t*>(padded_.data()) + json.size();
      od::document doc;
      if (parser_.iterate(padded_.data(), json.size(), padded_.size()).get(doc)) return false;
      od::json_type type{};
      if (doc.type().get(type)) return false;
      if (type != od::json_type::object && type != od::json_type::array) {
        // A root scalar is the whole text.
        if (!validScalar(json, type)) return false;
        if (type == od::json_type::string) {
          od::raw_json_string raw;
          if (doc.get_raw_json_string().get(raw)) return false;
          unescapeString(reinterpret_cast<const std::uint8_t*>(raw.raw()), end_, text_);
        }
        return true;
      }
      od::value root;
      if (doc.get_value().get(root)) return false;
      consume(root, 0);
      return doc.current_location().error() == simdjson::OUT_OF_BOUNDS;
    } catch (const NotationError&) {
      return false;
    } catch (const simdjson::simdjson_error&) {
      return false;
    }
  }

  static bool validScalar(std::string_view token, od::json_type type) noexcept {
    switch (type) {
      case od::json_type::number:
        return isJsonNumber(token);
      case od::json_type::boolean:
        return token == "true" || token == "false";
      case od::json_type::null:
        return token == "null";
      case od::json_type::string:
        return token.size() >= 2 && token.back() == '"';
      default:
        return false;
    }
  }

 private:
  // Walks the value `v` stands on to its end; throws at the first fault.
  void consume(od::value& v, int depth) {
    if (depth > kMaxDepth) malformed("JSON nested too deeply");
    od::json_type type{};
    check(v.type().get(type));
    switch (type) {
      case od::json_type::object: {
        od::object object;
        check(v.get_object().get(object));
        for (auto member : object) {
          od::field& field = inPlace(member);
          unescapeString(reinterpret_cast<const std::uint8_t*>(field.key().raw()), end_, text_);
          od::value& value = field.value();
          consume(value, depth + 1);
        }
        return;
      }
      case od::json_type::array: {
        od::array array;
        check(v.get_array().get(array));
        for (auto element : array) {
          od::value& item = inPlace(element);
          consume(item, depth + 1);
        }
        return;
      }
      case od::json_type::string: {
        od::raw_json_string raw;
        check(v.get_raw_json_string().get(raw));
        unescapeString(reinterpret_cast<const std::uint8_t*>(raw.raw()), end_, text_);
        return;
      }
      default: {
        std::string_view token;
        token = v.raw_json_token();
        if (!validScalar(withoutTrailingSpace(token), type)) malformed("malformed JSON");
        return;
      }
    }
  }

  od::parser parser_;
  std::vector<char> padded_;
  const std::uint8_t* end_ = nullptr;
  Utf16Buffer text_;
};

class Reader {
 public:
  Value read(std::string_view json, const ReadOptions& options) {
    PoolScope pool(*this, json.size());
    options_ = options;
    nothingDepth_ = 0;
    od::document doc;
    begin(json, doc);
    od::json_type type{};
    check(doc.type().get(type));
    Value result;
    switch (type) {
      // The root's own accessors check that the text closes what it opens.
      case od::json_type::object: {
        od::object object;
        check(doc.get_object().get(object));
        result = readObject(object, 0, true);
        break;
      }
      case od::json_type::array: {
        od::array array;
        check(doc.get_array().get(array));
        result = readArray(array, 0);
        break;
      }
      case od::json_type::number: {
        std::string_view token;
        check(doc.raw_json_token().get(token));
        // The token runs up to what follows it, spaces included. A number
        // that simdjson refused but that is read here after all leaves the
        // document where it was, so the end is checked by the token itself.
        if (reinterpret_cast<const std::uint8_t*>(token.data() + token.size()) != end_)
          malformed("unexpected text after the JSON value");
        return isRealToken(token) ? realFrom(doc.get_double(), token) : integerFrom(doc.get_int64(), token);
      }
      case od::json_type::string: {
        od::raw_json_string raw;
        check(doc.get_raw_json_string().get(raw));
        result = stringAt(raw);
        break;
      }
      case od::json_type::boolean: {
        bool b;
        if (auto error = doc.get_bool().get(b)) {
          if (error == simdjson::TRAILING_CONTENT) malformed(std::string(describe(error)));
          if (wholeText(doc) == "true") return Value::boolean(true);
          if (wholeText(doc) == "false") return Value::boolean(false);
          malformed("malformed JSON literal");
        }
        result = Value::boolean(b);
        break;
      }
      case od::json_type::null: {
        // simdjson takes "nulll " for null: the literal is checked here.
        std::string_view token;
        check(doc.raw_json_token().get(token));
        if (withoutTrailingSpace(token) != "null") malformed("malformed JSON literal");
        bool isNull = false;
        if (doc.is_null().get(isNull) != simdjson::SUCCESS || !isNull) {
          if (wholeText(doc) == "null") return Value::null();
          malformed("malformed JSON literal");
        }
        result = Value::null();
        break;
      }
    }
    end(doc);
    return result;
  }

  enum class RequestKey { id, call, args, errorOut, other };

  // Which key of a request `raw` spells: written plainly, it is told by its
  // bytes; otherwise it is unescaped first. An unknown key is left in text_.
  RequestKey requestKey(od::raw_json_string raw) {
    const char* k = reinterpret_cast<const char*>(raw.raw());
    auto is = [k](std::string_view name) {
      return std::memcmp(k, name.data(), name.size()) == 0 && k[name.size()] == '"';
    };
    if (is("id")) return RequestKey::id;
    if (is("call")) return RequestKey::call;
    if (is("args")) return RequestKey::args;
    if (is("errorOut")) return RequestKey::errorOut;
    unescapeString(reinterpret_cast<const std::uint8_t*>(k), end_, text_);
    std::u16string_view key = text_.view();
    if (key == u"id") return RequestKey::id;
    if (key == u"call") return RequestKey::call;
    if (key == u"args") return RequestKey::args;
    if (key == u"errorOut") return RequestKey::errorOut;
    return RequestKey::other;
  }

  // A server request in one pass over text that already has its padding.
  void readRequest(const char* data, std::size_t length, std::size_t capacity, notation::RequestParts& out) {
    PoolScope pool(*this, length);
    options_ = ReadOptions{.allowNothing = true};
    nothingDepth_ = 1;
    items_.truncate(0);
    fields_.clear();
    prints_.clear();
    end_ = reinterpret_cast<const std::uint8_t*>(data) + length;
    od::document doc;
    check(parser_.iterate(data, length, capacity).get(doc));
    od::object object;
    if (auto error = doc.get_object().get(object))
      malformed(error == simdjson::INCORRECT_TYPE ? "a request is a JSON object" : std::string(describe(error)));
    std::optional<Value> unknown;
    bool hasCall = false;
    for (auto member : object) {
      od::field& field = inPlace(member);
      RequestKey which = requestKey(field.key());
      od::value& value = field.value();
      if (which == RequestKey::id) {
        if (!out.idJson) out.idJson.emplace();
        try {
          jsonValueText(value, *out.idJson);
        } catch (...) {
          out.idJson.reset();  // only a well-formed id is kept
          throw;
        }
      } else if (which == RequestKey::call) {
        od::raw_json_string raw;
        if (value.get_raw_json_string().get(raw)) malformed("\"call\" must be a string");
        utf8At(raw, out.call);
        hasCall = true;
      } else if (which == RequestKey::args) {
        od::array array;
        if (value.get_array().get(array)) malformed("\"args\" must be a list");
        items_.takeInto(pushItems(array, 0), out.args);
      } else if (which == RequestKey::errorOut) {
        if (value.get_bool().get(out.errorOut)) malformed("\"errorOut\" must be true or false");
      } else {
        if (!unknown) unknown = Value::string(text_.view());  // its value is skipped
      }
    }
    if (doc.current_location().error() != simdjson::OUT_OF_BOUNDS) malformed("trailing characters after the request");
    if (unknown) malformed("unknown request key " + printNotation(*unknown));
    if (!hasCall) malformed("the request has no \"call\"");
  }

  // The id of a line that is no valid request, skimming the other fields.
  std::optional<std::string> findId(std::string_view line) {
    std::optional<std::string> id;
    try {
      od::document doc;
      begin(line, doc);
      od::object object;
      check(doc.get_object().get(object));
      for (auto member : object) {
        od::field& field = inPlace(member);
        unescapeString(reinterpret_cast<const std::uint8_t*>(field.key().raw()), end_, text_);
        od::value& value = field.value();
        if (text_.view() == u"id") {
          id = jsonValueText(value);
          return id;
        }
      }
    } catch (const NotationError&) {
    } catch (const simdjson::simdjson_error&) {
    }
    return id;
  }

  std::vector<Value> readList(std::string_view json) {
    PoolScope pool(*this, json.size());
    options_ = ReadOptions{.allowNothing = true};
    nothingDepth_ = 1;
    od::document doc;
    begin(json, doc);
    od::json_type type{};
    check(doc.type().get(type));
    if (type != od::json_type::array) malformed("an argument list must be a JSON list");
    od::array array;
    check(doc.get_array().get(array));
    std::vector<Value> items = items_.take(pushItems(array, 0));
    end(doc);
    return items;
  }

 private:
  // Starts `doc` on a padded copy of `json`, with the stacks emptied of
  // whatever a failed read left on them.
  void begin(std::string_view json, od::document& doc) {
    items_.truncate(0);
    fields_.clear();
    prints_.clear();
    // The parser needs padding after the text; the padding must not hold
    // leftovers of an earlier text (a stray ']' there can mislead it).
    std::size_t needed = json.size() + simdjson::SIMDJSON_PADDING;
    if (needed > capacity_) {
      capacity_ = std::max(needed, capacity_ + capacity_ / 2);
      padded_.reset(new char[capacity_]);
    }
    if (!json.empty()) std::memcpy(padded_.get(), json.data(), json.size());
    std::memset(padded_.get() + json.size(), 0, simdjson::SIMDJSON_PADDING);
    end_ = reinterpret_cast<const std::uint8_t*>(padded_.get()) + json.size();
    check(parser_.iterate(padded_.get(), json.size(), capacity_).get(doc));
  }

  // The root scalar without the white space after it, when nothing else
  // follows it. simdjson refuses some root literals followed by white space
  // ("null " and "true" with many spaces after it); they are read from the
  // text then.
  std::string_view wholeText(od::document& doc) const {
    std::string_view token;
    if (doc.raw_json_token().get(token) != simdjson::SUCCESS ||
        reinterpret_cast<const std::uint8_t*>(token.data() + token.size()) != end_)
      return {};
    return withoutTrailingSpace(token);
  }

  static void end(od::document& doc) {
    if (doc.current_location().error() != simdjson::OUT_OF_BOUNDS) malformed("unexpected text after the JSON value");
  }

  // The text of the value `v` stands on, in one line, once it is known to be
  // well-formed JSON of any kind; throws NotationError otherwise.
  std::string jsonValueText(od::value& v) {
    std::string text;
    jsonValueText(v, text);
    return text;
  }
  void jsonValueText(od::value& v, std::string& out) {
    std::string_view text;
    od::json_type type{};
    simdjson::error_code error = v.type().get(type);
    bool valid = false;
    if (!error && type == od::json_type::object) {
      od::object object;
      error = v.get_object().get(object);
      if (!error) error = object.raw_json().get(text);
      valid = !error && checker_.accepts(withoutTrailingSpace(text));
    } else if (!error && type == od::json_type::array) {
      od::array array;
      error = v.get_array().get(array);
      if (!error) error = array.raw_json().get(text);
      valid = !error && checker_.accepts(withoutTrailingSpace(text));
    } else if (!error) {
      // A scalar is checked where it stands, without a parse of its own,
      // and has no white space inside to take out.
      text = withoutTrailingSpace(v.raw_json_token());
      valid = JsonChecker::validScalar(text, type);
      if (valid && type == od::json_type::string) {
        try {
          unescapeString(reinterpret_cast<const std::uint8_t*>(text.data()) + 1, end_, text_);
        } catch (const NotationError&) {
          valid = false;
        }
      }
      if (!valid) malformed("\"id\" is not well-formed JSON");
      out.assign(text);
      return;
    }
    if (!valid) malformed("\"id\" is not well-formed JSON");
    oneLine(withoutTrailingSpace(text), out);
  }

  // The UTF-8 text of a string, straight from the JSON text when it holds
  // no escape.
  void utf8At(od::raw_json_string raw, std::string& out) {
    const auto* start = reinterpret_cast<const std::uint8_t*>(raw.raw());
    const std::uint8_t* p = start;
    char16_t widened[16];
    for (;;) {  // sixteen bytes at a time, up to the first that is not plain ASCII
      unsigned quotes;
      unsigned special = notation::scan16(p, widened, quotes);
      if (special == 0) {
        p += 16;
        continue;
      }
      int first = __builtin_ctz(special);
      if (quotes >> first & 1) {
        out.assign(reinterpret_cast<const char*>(start), std::size_t(p + first - start));
        return;
      }
      break;
    }
    out = stringAt(raw).toUtf8();
  }

  Value stringAt(od::raw_json_string raw) {
    std::u16string_view text;
    return stringAt(raw, text);
  }

  // The same, with the string's text in `text`: valid until the next string
  // is read, and readable for sixteen units from its start when shorter.
  Value stringAt(od::raw_json_string raw, std::u16string_view& text) {
    // Most strings of a table are short plain ASCII: one look at their
    // first sixteen bytes makes them, without the general unescaping.
    const auto* start = reinterpret_cast<const std::uint8_t*>(raw.raw());
    unsigned quotes;
    if (unsigned special = notation::scan16(start, shortText_, quotes)) {
      unsigned plain = unsigned(__builtin_ctz(special));
      if (plain <= Value::kInlineChars && (quotes >> plain & 1)) {
        text = std::u16string_view(shortText_, plain);
        return ValueAccess::shortStringFromPadded(text);
      }
    }
    unescapeString(start, end_, text_);
    text = text_.view();
    // A large string takes the buffer over rather than being copied out of it.
    std::size_t size = text_.view().size();
    if (size >= kAdoptFrom) [[unlikely]] {
      char16_t* units = text_.release();
      Value taken = Value::stringAdopting(units, size);
      text = taken.asString();
      return taken;
    }
    // The buffer always has room beyond the text.
    if (size <= Value::kInlineChars) return ValueAccess::shortStringFromPadded(text_.view());
    return pool_ ? Value::stringFromPadded(text_.view(), *pool_) : Value::stringFromPadded(text_.view());
  }

  // A large text's bodies come from a pool, for the length of one read.
  class PoolScope {
   public:
    PoolScope(Reader& reader, std::size_t textBytes) : reader_(reader) {
      if (textBytes >= kPoolFrom) reader_.pool_ = &pool_.emplace(textBytes * 2);
    }
    ~PoolScope() { reader_.pool_ = nullptr; }
    PoolScope(const PoolScope&) = delete;
    PoolScope& operator=(const PoolScope&) = delete;

   private:
    Reader& reader_;
    std::optional<detail::Pool> pool_;
  };

  // `interpretTags` is false for a "$record" key's value: an object read
  // then stays raw (see the file comment).
  Value readValue(od::value& v, int depth, bool interpretTags) {
    od::json_type type{};
    check(v.type().get(type));
    if (type == od::json_type::object || type == od::json_type::array)
      return readContainer(v, type, depth, interpretTags);
    return readScalar(v, type);
  }

  Value readContainer(od::value& v, od::json_type type, int depth, bool interpretTags) {
    if (depth > kMaxDepth) malformed("JSON nested too deeply");
    if (type == od::json_type::object) {
      od::object object;
      check(v.get_object().get(object));
      return readObject(object, depth, interpretTags);
    }
    od::array array;
    check(v.get_array().get(array));
    return readArray(array, depth);
  }

  Value readString(od::value& v) {
    od::raw_json_string raw;
    check(v.get_raw_json_string().get(raw));
    return stringAt(raw);
  }

  Value readScalar(od::value& v, od::json_type type) {
    switch (type) {
      case od::json_type::number: {
        // One parse tells an integer from a real (a '.' or an exponent) and
        // reads it; anything simdjson does not read at once (integers
        // beyond 64 bits, reals beyond a double) is looked at closely.
        od::number number;
        std::string_view token = v.raw_json_token();
        if (token.size() <= kShortNumber && v.get_number().get(number) == simdjson::SUCCESS) [[likely]] {
          if (number.get_number_type() == od::number_type::signed_integer) return Value::integer(number.get_int64());
          if (number.get_number_type() == od::number_type::floating_point_number)
            return Value::real(number.get_double());
        }
        return isRealToken(token) ? realFrom(v.get_double(), token) : integerFrom(v.get_int64(), token);
      }
      case od::json_type::string:
        return readString(v);
      case od::json_type::boolean: {
        bool b;
        if (v.get_bool().get(b)) malformed("malformed JSON literal");
        return Value::boolean(b);
      }
      case od::json_type::null: {
        bool isNull = false;
        if (v.is_null().get(isNull) != simdjson::SUCCESS || !isNull) malformed("malformed JSON literal");
        return Value::null();
      }
      default:
        malformed("malformed JSON");
    }
  }

  // Items gather on one shared stack, so that each list is allocated once,
  // at its final size.
  Value readArray(od::array& array, int depth) { return items_.takeList(pushItems(array, depth), pool_); }

  // Reads the items of `array` onto the stack; returns where they start.
  std::size_t pushItems(od::array& array, int depth) {
    std::size_t base = items_.size();
    for (auto element : array) {
      od::value& v = inPlace(element);
      // Strings first: they are most of a table. Scalars never touch the
      // stack, so they may be built in place.
      // Strings are asked for directly; any other value refuses without
      // being consumed and is then told apart by its first character.
      od::raw_json_string raw;
      if (v.get_raw_json_string().get(raw) == simdjson::SUCCESS) {
        items_.emplace([&] { return stringAt(raw); });
        continue;
      }
      char first = v.raw_json_token().data()[0];
      if (first == '[') {
        if (depth + 1 > kMaxDepth) malformed("JSON nested too deeply");
        od::array inner;
        check(v.get_array().get(inner));
        items_.emplaceList([&] { return pushItems(inner, depth + 1); }, pool_);
      } else if (first == '{') {
        Value item = readContainer(v, od::json_type::object, depth + 1, true);
        items_.emplace([&] { return std::move(item); });
      } else {
        od::json_type type{};
        check(v.type().get(type));
        items_.emplace([&] { return readScalar(v, type); });
      }
    }
    return base;
  }

  // A fingerprint of a key just unescaped into text_ (which always has
  // room for eight units beyond its start): equal keys have equal ones.
  std::uint64_t keyFingerprint(std::u16string_view key) const noexcept {
    std::uint64_t words[2];
    std::memcpy(words, key.data(), sizeof words);
    if (key.size() < 8) {
      // Only the key's own units count, not what the buffer holds after it.
      std::size_t bytes = key.size() * 2;
      if (bytes < 8) words[0] &= (std::uint64_t(1) << (8 * bytes)) - 1, words[1] = 0;
      else if (bytes > 8) words[1] &= (std::uint64_t(1) << (8 * (bytes - 8))) - 1;
      else words[1] = 0;
    }
    std::uint64_t h = (words[0] * 0x9E3779B97F4A7C15ULL) ^ (words[1] * 0xC2B2AE3D27D4EB4FULL) ^ key.size();
    for (std::size_t i = 8; i < key.size(); ++i) h = (h ^ key[i]) * 0x100000001b3ULL;
    return h | 1;  // never 0, the empty slot
  }

  Value readObject(od::object& object, int depth, bool interpretTags) {
    std::size_t base = fields_.size();
    for (auto member : object) {
      od::field& field = inPlace(member);
      std::u16string_view keyText;
      Value key = stringAt(field.key(), keyText);
      std::uint64_t print = keyFingerprint(keyText);  // pushed with its field, after the value
      bool raw = keyText == kRecordTag;
      od::value& v = field.value();
      od::json_type type{};
      check(v.type().get(type));
      if (type == od::json_type::object || type == od::json_type::array) {
        Value value = readContainer(v, type, depth + 1, !raw);
        fields_.emplace_back(std::move(key), std::move(value));
        prints_.push_back(print);
      } else {
        // A scalar is made where it stays (reading back a value just
        // written in parts stalls the processor); making it never touches
        // the fields, so its place cannot move meanwhile.
        fields_.emplace_back(std::move(key), Value());
        Value& slot = fields_.back().second;
        slot.~Value();
        ::new (static_cast<void*>(&slot)) Value(readScalar(v, type));
        prints_.push_back(print);
      }
    }
    std::size_t n = fields_.size() - base;
    // The keys' texts, looked up when they are needed (the fields no
    // longer move).
    std::vector<std::u16string_view>& keys = keys_;
    bool keysKnown = false;
    auto knowKeys = [&] {
      if (keysKnown) return;
      keys.resize(n);
      for (std::size_t i = 0; i < n; ++i) keys[i] = fields_[base + i].first.asString();
      keysKnown = true;
    };
    auto keyAt = [&](std::size_t i) {
      knowKeys();
      return keys[i];
    };

    // Most objects repeat no key: their keys' fingerprints all differ,
    // which a small table shows. Equal fingerprints send the object to the
    // full comparison of keys below.
    bool maybeRepeated = n > 16;
    if (!maybeRepeated && n > 1) {
      std::uint64_t table[32] = {};
      for (std::size_t i = 0; i < n && !maybeRepeated; ++i) {
        std::uint64_t print = prints_[base + i];
        std::size_t slot = (print >> 40) & 31;
        while (table[slot] != 0 && table[slot] != print) slot = (slot + 1) & 31;
        maybeRepeated = table[slot] == print;
        table[slot] = print;
      }
    }

    // A repeated key keeps its first place and takes its last value:
    // last[i] is the index of that value for the first occurrence i of a key,
    // kNone for later occurrences.
    std::vector<std::size_t>& last = last_;
    std::size_t unique = n;
    if (maybeRepeated) {
      knowKeys();
      last.assign(n, kNone);
      unique = 0;
      if (n <= 16) {
        for (std::size_t i = 0; i < n; ++i) {
          std::size_t first = i;
          for (std::size_t j = 0; j < i; ++j) {
            if (keys[j].size() == keys[i].size() && last[j] != kNone && keys[j] == keys[i]) {
              first = j;
              break;
            }
          }
          last[first] = i;
          unique += first == i;
        }
      } else {
        std::unordered_map<std::u16string_view, std::size_t> firstOf;
        firstOf.reserve(n);
        for (std::size_t i = 0; i < n; ++i) {
          auto [it, inserted] = firstOf.try_emplace(keyAt(i), i);
          last[it->second] = i;
          unique += inserted;
        }
      }
    } else {
      last.resize(n);
      for (std::size_t i = 0; i < n; ++i) last[i] = i;
    }

    if (interpretTags && unique == 1) {
      if (auto tag = notation::tagNamed(keyAt(0))) {
        Value payload = std::move(fields_[base + last[0]].second);
        fields_.erase(fields_.begin() + std::ptrdiff_t(base), fields_.end());
        prints_.resize(base);
        if (*tag == Tag::record) {
          if (!payload.isRecord()) malformed("$record needs an object");
          return escaped(payload);
        }
        return notation::valueFromTag(*tag, payload, depth == nothingDepth_, options_);
      }
    }

    Record record = pool_ ? Record(*pool_, unique) : Record();
    record.reserve(unique);
    bool plain = !maybeRepeated;
    for (std::size_t i = 0; plain && i < n; ++i)
      plain = !(interpretTags && fields_[base + i].second.isRecord() && keyAt(i) == kRecordTag);
    if (plain) {
      // No repeated key and nothing to resolve: the fields become the
      // record's entries as they stand, taken over bit for bit.
      record.appendAdopting(std::span<Record::Entry>(fields_.data() + base, n));
      fields_.erase(fields_.begin() + std::ptrdiff_t(base), fields_.end());
      prints_.resize(base);
      return pool_ ? Value::record(std::move(record), *pool_) : Value::record(std::move(record));
    }
    for (std::size_t i = 0; i < n; ++i) {
      if (last[i] == kNone) continue;
      Value& value = fields_[base + last[i]].second;
      // An ordinary record's "$record" entry was read raw: resolve it now,
      // unless this object is raw itself and may still become an escape.
      if (interpretTags && value.isRecord() && keyAt(i) == kRecordTag) value = resolve(value);
      record.appendNew(std::move(fields_[base + i].first), std::move(value));
    }
    fields_.erase(fields_.begin() + std::ptrdiff_t(base), fields_.end());
    prints_.resize(base);
    return pool_ ? Value::record(std::move(record), *pool_) : Value::record(std::move(record));
  }

  // What a raw record stands for where tags are interpreted.
  Value resolve(const Value& raw) {
    const Record& record = raw.asRecord();
    if (record.size() == 1) {
      const auto& [key, payload] = record.entries()[0];
      if (auto tag = notation::tagNamed(key.asString())) {
        if (*tag != Tag::record) return notation::valueFromTag(*tag, payload, false, options_);
        if (!payload.isRecord()) malformed("$record needs an object");
        return escaped(payload);
      }
    }
    return escaped(raw);
  }

  // A raw record taken as a record as it stands: only its own "$record"
  // entries, raw themselves, still need resolving.
  Value escaped(const Value& raw) {
    const Record& record = raw.asRecord();
    auto needsResolving = [](const Record::Entry& e) {
      return e.second.isRecord() && e.first.asString() == kRecordTag;
    };
    if (std::none_of(record.entries().begin(), record.entries().end(), needsResolving)) return raw;
    Record copy;
    copy.reserve(record.size());
    for (const auto& entry : record.entries())
      copy.appendNew(entry.first, needsResolving(entry) ? resolve(entry.second) : entry.second);
    return Value::record(std::move(copy));
  }

  detail::Pool* pool_ = nullptr;  // while a large text is read
  od::parser parser_;
  JsonChecker checker_;
  std::unique_ptr<char[]> padded_;
  std::size_t capacity_ = 0;
  const std::uint8_t* end_ = nullptr;
  ReadOptions options_;
  int nothingDepth_ = 0;  // where {"$nothing": true} may stand, when options_ allow it
  Utf16Buffer text_;
  char16_t shortText_[16];  // a short plain string's units, widened
  ValueStack items_;
  std::vector<Record::Entry> fields_;
  std::vector<std::size_t> last_;
  std::vector<std::u16string_view> keys_;
  std::vector<std::uint64_t> prints_;  // the fingerprints of the keys of fields_
};

// One reader per thread keeps the parser's and the stacks' memory between
// calls. It is reached through a pointer: were it the thread-local object
// itself, the compiler would specialise the reading functions for it and
// recompute its thread-local address at every access to a member (some 8%
// of the time reading a table).
std::unique_ptr<Reader>& threadReaderSlot() {
  thread_local std::unique_ptr<Reader> reader = std::make_unique<Reader>();
  return reader;
}
Reader& threadReader() { return *threadReaderSlot(); }

}  // namespace

Value readNotation(std::string_view json, ReadOptions options) { return threadReader().read(json, options); }

std::vector<Value> readArgumentList(std::string_view jsonList) { return threadReader().readList(jsonList); }

void releaseReaderMemory() {
  threadReaderSlot() = std::make_unique<Reader>();
  detail::Pool::trimCache();
}

namespace notation {

void readRequestInPlace(const char* data, std::size_t length, std::size_t capacity, RequestParts& out) {
  try {
    threadReader().readRequest(data, length, capacity, out);
  } catch (const simdjson::simdjson_error& e) {
    malformed(std::string(describe(e.error())));
  }
}

RequestDiagnosis diagnoseRequest(std::string_view line) {
  RequestDiagnosis diagnosis;
  // A complete object followed by more text: the object alone is examined.
  std::string_view head = line;
  while (!head.empty() && isJsonSpace(head.front())) head.remove_prefix(1);
  if (std::optional<std::size_t> end = endOfFirstContainer(head)) {
    std::string_view rest = withoutTrailingSpace(head.substr(*end));
    if (!rest.empty()) {
      diagnosis.trailingText = true;
      head = head.substr(0, *end);
    }
  }
  diagnosis.idJson = threadReader().findId(head);
  return diagnosis;
}

bool isJsonValue(std::string_view json, std::string& text) {
  std::string_view trimmed = withoutTrailingSpace(json);
  while (!trimmed.empty() && isJsonSpace(trimmed.front())) trimmed.remove_prefix(1);
  if (!JsonChecker().accepts(trimmed)) return false;
  oneLine(trimmed, text);
  return true;
}

}  // namespace notation

}  // namespace tessaro
