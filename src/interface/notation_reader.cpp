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
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <utility>
#include <unordered_map>

#include <simdjson.h>

#include "interface/notation_tags.hpp"
#include "interface/notation_unescape.hpp"
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

void check(simdjson::error_code error) {
  if (error != simdjson::SUCCESS) malformed(std::string(describe(error)));
}

bool isRealToken(std::string_view token) noexcept {
  for (char c : token)
    if (c == '.' || c == 'e' || c == 'E') return true;
  return false;
}

// Tells an integer that is too large from a malformed number.
bool isIntegerSyntax(std::string_view token) noexcept {
  std::size_t i = 0;
  if (i < token.size() && token[i] == '-') ++i;
  std::size_t digits = i;
  while (i < token.size() && token[i] >= '0' && token[i] <= '9') ++i;
  if (i == digits || (token[digits] == '0' && i - digits > 1)) return false;
  while (i < token.size() && (token[i] == ' ' || token[i] == '\t' || token[i] == '\n' || token[i] == '\r')) ++i;
  return i == token.size();
}

[[noreturn]] void badNumber(simdjson::error_code error, std::string_view token, bool integer) {
  // simdjson calls an integer beyond 64 bits a number of another type.
  bool outOfRange = error == simdjson::INCORRECT_TYPE || error == simdjson::NUMBER_OUT_OF_RANGE;
  if (integer && outOfRange && isIntegerSyntax(token)) malformed("integer out of range: " + std::string(token));
  if (outOfRange) malformed("malformed or out-of-range number");
  check(error);
  malformed("malformed number");
}

Value integerFrom(simdjson::simdjson_result<std::int64_t> result, std::string_view token) {
  std::int64_t i;
  if (auto error = std::move(result).get(i)) badNumber(error, token, true);
  return Value::integer(i);
}

Value realFrom(simdjson::simdjson_result<double> result, std::string_view token) {
  double d;
  if (auto error = std::move(result).get(d)) badNumber(error, token, false);
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

class Reader {
 public:
  Value read(std::string_view json, const ReadOptions& options) {
    options_ = options;
    items_.truncate(0);
    fields_.clear();
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

    od::document doc;
    check(parser_.iterate(padded_.get(), json.size(), capacity_).get(doc));
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
        result = isRealToken(token) ? realFrom(doc.get_double(), token) : integerFrom(doc.get_int64(), token);
        break;
      }
      case od::json_type::string: {
        od::raw_json_string raw;
        check(doc.get_raw_json_string().get(raw));
        result = stringAt(raw);
        break;
      }
      case od::json_type::boolean: {
        bool b;
        if (auto error = doc.get_bool().get(b))
          malformed(error == simdjson::TRAILING_CONTENT ? std::string(describe(error)) : "malformed JSON literal");
        result = Value::boolean(b);
        break;
      }
      case od::json_type::null: {
        bool isNull = false;
        if (doc.is_null().get(isNull) != simdjson::SUCCESS || !isNull) malformed("malformed JSON literal");
        result = Value::null();
        break;
      }
    }
    if (doc.current_location().error() != simdjson::OUT_OF_BOUNDS) malformed("unexpected text after the JSON value");
    return result;
  }

 private:
  Value stringAt(od::raw_json_string raw) {
    unescapeString(reinterpret_cast<const std::uint8_t*>(raw.raw()), end_, text_);
    return Value::string(text_.view());
  }

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
        std::string_view token = v.raw_json_token();
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
  Value readArray(od::array& array, int depth) {
    std::size_t base = items_.size();
    for (auto element : array) {
      od::value v;
      check(std::move(element).get(v));
      // Strings first: they are most of a table. Scalars never touch the
      // stack, so they may be built in place.
      char first = v.raw_json_token().data()[0];
      if (first == '"') {
        items_.emplace([&] { return readString(v); });
      } else if (first == '[' || first == '{') {
        Value item = readContainer(v, first == '{' ? od::json_type::object : od::json_type::array, depth + 1, true);
        items_.emplace([&] { return std::move(item); });
      } else {
        od::json_type type{};
        check(v.type().get(type));
        items_.emplace([&] { return readScalar(v, type); });
      }
    }
    return Value::list(items_.take(base));
  }

  Value readObject(od::object& object, int depth, bool interpretTags) {
    std::size_t base = fields_.size();
    for (auto member : object) {
      od::field field;
      check(std::move(member).get(field));
      Value key = stringAt(field.key());
      bool raw = key.asString() == kRecordTag;
      Value value = readValue(field.value(), depth + 1, !raw);
      fields_.emplace_back(std::move(key), std::move(value));
    }
    std::size_t n = fields_.size() - base;
    auto keyAt = [&](std::size_t i) { return fields_[base + i].first.asString(); };

    // A repeated key keeps its first place and takes its last value:
    // last[i] is the index of that value for the first occurrence i of a key,
    // kNone for later occurrences.
    std::vector<std::size_t>& last = last_;
    last.assign(n, kNone);
    std::size_t unique = 0;
    if (n <= 16) {
      for (std::size_t i = 0; i < n; ++i) {
        std::size_t first = i;
        for (std::size_t j = 0; j < i; ++j) {
          if (last[j] != kNone && keyAt(j) == keyAt(i)) {
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

    if (interpretTags && unique == 1) {
      if (auto tag = notation::tagNamed(keyAt(0))) {
        Value payload = std::move(fields_[base + last[0]].second);
        fields_.erase(fields_.begin() + std::ptrdiff_t(base), fields_.end());
        if (*tag == Tag::record) {
          if (!payload.isRecord()) malformed("$record needs an object");
          return escaped(payload);
        }
        return notation::valueFromTag(*tag, payload, depth == 0, options_);
      }
    }

    Record record;
    record.reserve(unique);
    for (std::size_t i = 0; i < n; ++i) {
      if (last[i] == kNone) continue;
      Value& value = fields_[base + last[i]].second;
      // An ordinary record's "$record" entry was read raw: resolve it now,
      // unless this object is raw itself and may still become an escape.
      if (interpretTags && value.isRecord() && keyAt(i) == kRecordTag) value = resolve(value);
      record.appendNew(std::move(fields_[base + i].first), std::move(value));
    }
    fields_.erase(fields_.begin() + std::ptrdiff_t(base), fields_.end());
    return Value::record(std::move(record));
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

  od::parser parser_;
  std::unique_ptr<char[]> padded_;
  std::size_t capacity_ = 0;
  const std::uint8_t* end_ = nullptr;
  ReadOptions options_;
  Utf16Buffer text_;
  ValueStack items_;
  std::vector<Record::Entry> fields_;
  std::vector<std::size_t> last_;
};

}  // namespace

Value readNotation(std::string_view json, ReadOptions options) {
  // One reader per thread keeps the parser's and the stacks' memory between
  // calls.
  thread_local Reader reader;
  return reader.read(json, options);
}

}  // namespace tessaro
