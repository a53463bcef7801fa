// Storage, equality, hashing, ordering and scalar readings of Value.
#include "tessaro/value.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <optional>
#include <utility>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "bridge/unicode.hpp"
#include "bridge/value_access.hpp"
#include "bridge/value_pool.hpp"
#include "tessaro/errors.hpp"

namespace tessaro {

namespace detail {

// A string too long to keep inline: one allocation holding the body and the
// code units after it, or a body holding a buffer it took over.
struct StringBody final : Body {
  std::size_t length;
  char16_t* units;
  explicit StringBody(std::size_t n) : length(n), units(reinterpret_cast<char16_t*>(this + 1)) {}
  StringBody(char16_t* adopted, std::size_t n) : length(n), units(adopted) {}
  ~StringBody() override {
    if (units != reinterpret_cast<char16_t*>(this + 1)) std::free(units);
  }
  char16_t* chars() noexcept { return units; }
  const char16_t* chars() const noexcept { return units; }

  static StringBody* make(std::u16string_view s) {
    StringBody* body = allocate(s.size());
    std::memcpy(body->chars(), s.data(), s.size() * sizeof(char16_t));
    return body;
  }
  // A body for n code units, not yet written.
  static StringBody* allocate(std::size_t n) {
    void* memory = ::operator new(sizeof(StringBody) + n * sizeof(char16_t));
    return new (memory) StringBody(n);
  }
  static StringBody* make(std::u16string_view s, Pool& pool) {
    std::uint32_t offset = 0;
    void* memory = pool.allocate(sizeof(StringBody) + s.size() * sizeof(char16_t), offset);
    if (!memory) return make(s);
    auto* body = new (memory) StringBody(s.size());
    body->poolOffset = offset;
    std::memcpy(body->chars(), s.data(), s.size() * sizeof(char16_t));
    return body;
  }
  // Unsized, because the allocation is larger than the type.
  static void operator delete(void* p) { ::operator delete(p); }
};
static_assert(alignof(StringBody) >= alignof(char16_t));

struct DataBody final : Body {
  std::string bytes;
};
// A list: one allocation holding the body and its items after it.
struct ListBody final : Body {
  std::size_t count;
  explicit ListBody(std::size_t n) : count(n) {}
  ~ListBody() override {
    for (std::size_t i = count; i > 0; --i) items()[i - 1].~Value();
  }
  Value* items() noexcept { return reinterpret_cast<Value*>(this + 1); }
  const Value* items() const noexcept { return reinterpret_cast<const Value*>(this + 1); }

  // Moves the items in; `from` is left holding no values.
  static ListBody* make(Value* from, std::size_t n) {
    auto* body = allocate(n);
    for (std::size_t i = 0; i < n; ++i) ::new (static_cast<void*>(body->items() + i)) Value(std::move(from[i]));
    return body;
  }
  // Takes the items over as raw bytes (a Value holds no pointer to itself).
  static ListBody* adopt(Value* from, std::size_t n) {
    auto* body = allocate(n);
    if (n) std::memcpy(static_cast<void*>(body->items()), static_cast<const void*>(from), n * sizeof(Value));
    return body;
  }
  // From malloc, so that a ListBuilder can grow a body with realloc.
  static void* allocateBlock(std::size_t n) {
    void* memory = std::malloc(sizeof(ListBody) + n * sizeof(Value));
    if (!memory) throw std::bad_alloc();
    return memory;
  }
  static ListBody* allocate(std::size_t n) { return ::new (allocateBlock(n)) ListBody(n); }
  static ListBody* adopt(Value* from, std::size_t n, Pool& pool) {
    std::uint32_t offset = 0;
    void* memory = pool.allocate(sizeof(ListBody) + n * sizeof(Value), offset);
    if (!memory) return adopt(from, n);
    auto* body = ::new (memory) ListBody(n);
    body->poolOffset = offset;
    if (n) std::memcpy(static_cast<void*>(body->items()), static_cast<const void*>(from), n * sizeof(Value));
    return body;
  }
  static void operator delete(void* p) { std::free(p); }
};
static_assert(sizeof(ListBody) % alignof(Value) == 0);
struct RecordBody final : Body {
  Record record;
};
struct UrlBody final : Body {
  std::string url;
};
struct IndexSetBody final : Body {
  IndexSet set;
};
struct DescriptorBody final : Body {
  Descriptor descriptor;
};

}  // namespace detail

namespace {

using detail::Body;

template <class B>
const B& bodyAs(const Body* body) noexcept {
  return *static_cast<const B*>(body);
}

std::size_t mix(std::size_t h, std::size_t v) noexcept {
  return h ^ (v + 0x9e3779b97f4a7c15ULL + (h << 6) + (h >> 2));
}

std::size_t hashDouble(double d) noexcept {
  if (std::isnan(d)) return 0x7ff8;
  if (d == 0) d = 0;  // -0.0 equals 0.0
  std::uint64_t bits;
  std::memcpy(&bits, &d, sizeof bits);
  return std::hash<std::uint64_t>{}(bits);
}

// A number as the widest exact type: reals as long double (whose 64-bit
// mantissa holds every int64 exactly), everything else as int64.
struct Numeric {
  bool isReal;
  std::int64_t i;
  double d;
};

Numeric numericOf(const Value& v) noexcept {
  switch (v.kind()) {
    case ValueKind::boolean:
      return {false, v.asBoolean() ? 1 : 0, 0};
    case ValueKind::integer:
      return {false, v.asInteger(), 0};
    default:
      return {true, 0, v.asReal()};
  }
}

// -1, 0 or 1; NaN compares equal to NaN and above every other number so that
// the ordering stays total.
int compareNumbers(const Value& a, const Value& b) noexcept {
  Numeric x = numericOf(a), y = numericOf(b);
  if (!x.isReal && !y.isReal) return x.i < y.i ? -1 : x.i > y.i ? 1 : 0;
  long double lx = x.isReal ? (long double)x.d : (long double)x.i;
  long double ly = y.isReal ? (long double)y.d : (long double)y.i;
  bool nx = std::isnan(lx), ny = std::isnan(ly);
  if (nx || ny) return nx == ny ? 0 : nx ? 1 : -1;
  return lx < ly ? -1 : lx > ly ? 1 : 0;
}

// Copies n <= 22 bytes as two fixed-size blocks, the second ending where the
// text ends.
inline void copySmall(unsigned char* to, const unsigned char* from, std::size_t n) noexcept {
  if (n >= 16) {
    std::memcpy(to, from, 16);
    std::memcpy(to + n - 16, from + n - 16, 16);
  } else if (n >= 8) {
    std::memcpy(to, from, 8);
    std::memcpy(to + n - 8, from + n - 8, 8);
  } else if (n >= 4) {
    std::memcpy(to, from, 4);
    std::memcpy(to + n - 4, from + n - 4, 4);
  } else if (n >= 2) {
    std::memcpy(to, from, 2);
  }
}

bool isWhite(char16_t c) noexcept { return c == ' ' || (c >= 0x09 && c <= 0x0d) || c == 0xa0; }

// The leading decimal number of a string, after white space and a sign, as
// ASCII text ready for from_chars (sign separate). `integerOnly` stops at the
// first non-digit.
struct LeadingNumber {
  bool negative = false;
  std::string digits;
};

LeadingNumber leadingNumber(std::u16string_view s, bool integerOnly) {
  LeadingNumber n;
  std::size_t i = 0;
  while (i < s.size() && isWhite(s[i])) ++i;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) n.negative = s[i++] == '-';
  auto digit = [&](std::size_t k) { return k < s.size() && s[k] >= '0' && s[k] <= '9'; };
  std::size_t start = i;
  while (digit(i)) n.digits.push_back(char(s[i++]));
  if (integerOnly) return n;
  bool any = i > start;
  if (i < s.size() && s[i] == '.') {
    std::size_t j = i + 1;
    std::string frac = ".";
    while (digit(j)) frac.push_back(char(s[j++]));
    if (any || frac.size() > 1) {
      n.digits += frac;
      any = true;
      i = j;
    }
  }
  if (any && i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
    std::size_t j = i + 1;
    std::string exp = "e";
    if (j < s.size() && (s[j] == '+' || s[j] == '-')) exp.push_back(char(s[j++]));
    if (digit(j)) {
      while (digit(j)) exp.push_back(char(s[j++]));
      n.digits += exp;
    }
  }
  return n;
}


}  // namespace

std::string_view kindName(ValueKind kind) noexcept {
  switch (kind) {
    case ValueKind::nothing: return "nothing";
    case ValueKind::null: return "null";
    case ValueKind::boolean: return "boolean";
    case ValueKind::integer: return "integer";
    case ValueKind::real: return "real";
    case ValueKind::string: return "string";
    case ValueKind::date: return "date";
    case ValueKind::data: return "data";
    case ValueKind::list: return "list";
    case ValueKind::record: return "record";
    case ValueKind::url: return "url";
    case ValueKind::indexSet: return "indexSet";
    case ValueKind::range: return "range";
    case ValueKind::descriptor: return "descriptor";
    case ValueKind::object: return "object";
  }
  return "unknown";
}

// --- Factories ---------------------------------------------------------------

Value Value::withBody(ValueKind k, Body* body) noexcept {
  Value v;
  v.rep_.big.kind = k;
  v.rep_.big.u.body = body;
  return v;
}

Value Value::boolean(bool b) noexcept {
  Value v(ValueKind::boolean);
  v.rep_.big.u.i = 0;
  v.rep_.big.u.b = b;
  return v;
}

Value Value::integer(std::int64_t i) noexcept {
  Value v(ValueKind::integer);
  v.rep_.big.u.i = i;
  return v;
}

Value Value::real(double d) noexcept {
  Value v(ValueKind::real);
  v.rep_.big.u.d = d;
  return v;
}

Value Value::date(double seconds) noexcept {
  Value v(ValueKind::date);
  v.rep_.big.u.d = seconds;
  return v;
}

Value Value::string(std::u16string_view s) {
  Value v;
  if (s.size() <= kInlineChars) {
    // Written in place with at most two fixed-size copies that may overlap
    // (a variable-length copy of a few bytes costs more than the rest of
    // making the value).
    v.rep_.small = Small{ValueKind::string, std::uint8_t(s.size()), {}};
    copySmall(reinterpret_cast<unsigned char*>(v.rep_.small.chars), reinterpret_cast<const unsigned char*>(s.data()),
              s.size() * sizeof(char16_t));
    return v;
  }
  v.rep_.big.kind = ValueKind::string;
  v.rep_.big.length = kLongString;
  v.rep_.big.u.body = detail::StringBody::make(s);
  return v;
}

Value Value::stringAdopting(char16_t* units, std::size_t length) {
  if (length <= kInlineChars) {
    Value v = string(std::u16string_view(units, length));
    std::free(units);
    return v;
  }
  Value v;
  v.rep_.big.kind = ValueKind::string;
  v.rep_.big.length = kLongString;
  v.rep_.big.u.body = new detail::StringBody(units, length);
  return v;
}

Value Value::stringFromPadded(std::u16string_view s, detail::Pool& pool) {
  if (s.size() <= kInlineChars) return ValueAccess::shortStringFromPadded(s);
  Value v;
  v.rep_.big.kind = ValueKind::string;
  v.rep_.big.length = kLongString;
  v.rep_.big.u.body = detail::StringBody::make(s, pool);
  return v;
}

Value Value::stringFromPadded(std::u16string_view s) {
  if (s.size() > kInlineChars) return string(s);
  return ValueAccess::shortStringFromPadded(s);  // units past the end are copied too; nothing reads them
}

Value Value::fromUtf8(std::string_view utf8) {
  if (utf8.size() <= kInlineChars) {
    bool ascii = std::all_of(utf8.begin(), utf8.end(), [](char c) { return (unsigned char)c < 0x80; });
    if (ascii) {
      char16_t buffer[kInlineChars];
      for (std::size_t i = 0; i < utf8.size(); ++i) buffer[i] = char16_t((unsigned char)utf8[i]);
      return string(std::u16string_view(buffer, utf8.size()));
    }
  }
  return string(utf16FromUtf8(utf8));
}

Value Value::fromValidUtf8(std::string_view utf8) {
  // Measured first and converted straight into the value's own storage:
  // a large text (a file read whole) is then held once, not twice.
  std::optional<std::size_t> length = utf16LengthOfValidUtf8(utf8);
  if (!length) return Value();
  if (*length <= kInlineChars) {
    char16_t buffer[kInlineChars];
    convertValidUtf8(utf8, buffer, *length);
    return string(std::u16string_view(buffer, *length));
  }
  Value v;
  v.rep_.big.kind = ValueKind::string;
  v.rep_.big.length = kLongString;
  auto* body = detail::StringBody::allocate(*length);
  v.rep_.big.u.body = body;
  convertValidUtf8(utf8, body->chars(), *length);
  return v;
}

Value Value::data(std::string bytes) {
  auto* body = new detail::DataBody;
  body->bytes = std::move(bytes);
  return withBody(ValueKind::data, body);
}

Value Value::list(std::vector<Value> items) {
  return withBody(ValueKind::list, detail::ListBody::make(items.data(), items.size()));
}

Value Value::listAdopting(std::span<Value> items) {
  return withBody(ValueKind::list, detail::ListBody::adopt(items.data(), items.size()));
}

Value Value::listAdopting(std::span<Value> items, detail::Pool& pool) {
  return withBody(ValueKind::list, detail::ListBody::adopt(items.data(), items.size(), pool));
}

ListBuilder::~ListBuilder() {
  for (std::size_t i = size_; i > 0; --i) items_[i - 1].~Value();
  std::free(block_);
}

void ListBuilder::grow() {
  std::size_t capacity = capacity_ ? capacity_ * 2 : 16;
  void* block = block_ ? std::realloc(block_, sizeof(detail::ListBody) + capacity * sizeof(Value))
                       : detail::ListBody::allocateBlock(capacity);
  if (!block) throw std::bad_alloc();
  // Values hold no pointers to themselves, so a moved block keeps them whole.
  block_ = block;
  items_ = reinterpret_cast<Value*>(static_cast<char*>(block) + sizeof(detail::ListBody));
  capacity_ = capacity;
}

Value ListBuilder::finish() {
  if (!block_) grow();
  // Room left over beyond an eighth is given back.
  if (capacity_ - size_ > size_ / 8 + 16) {
    if (void* block = std::realloc(block_, sizeof(detail::ListBody) + size_ * sizeof(Value))) block_ = block;
  }
  auto* body = ::new (block_) detail::ListBody(size_);
  block_ = nullptr;
  items_ = nullptr;
  size_ = capacity_ = 0;
  return Value::withBody(ValueKind::list, body);
}

void Value::destroy(detail::Body* body) noexcept {
  std::uint32_t offset = body->poolOffset;
  if (offset == 0) {
    delete body;
    return;
  }
  void* chunk = reinterpret_cast<char*>(body) - offset;
  body->~Body();
  detail::Pool::release(chunk);
}

Value Value::record(Record record) {
  auto* body = new detail::RecordBody;
  body->record = std::move(record);
  return withBody(ValueKind::record, body);
}

Value Value::record(Record record, detail::Pool& pool) {
  std::uint32_t offset = 0;
  void* memory = pool.allocate(sizeof(detail::RecordBody), offset);
  if (!memory) return Value::record(std::move(record));
  auto* body = ::new (memory) detail::RecordBody;
  body->poolOffset = offset;
  body->record = std::move(record);
  return withBody(ValueKind::record, body);
}

Value Value::url(std::string absoluteString) {
  auto* body = new detail::UrlBody;
  body->url = std::move(absoluteString);
  return withBody(ValueKind::url, body);
}

Value Value::indexSet(IndexSet set) {
  auto* body = new detail::IndexSetBody;
  body->set = std::move(set);
  return withBody(ValueKind::indexSet, body);
}

Value Value::range(std::uint64_t location, std::uint64_t length) {
  Value v(ValueKind::range);
  v.rep_.big.u.i = std::int64_t(location);
  v.rep_.big.extra = length;
  return v;
}

Value Value::descriptor(Descriptor d) {
  auto* body = new detail::DescriptorBody;
  body->descriptor = std::move(d);
  return withBody(ValueKind::descriptor, body);
}

Value Value::object(const HostObject* adopted) {
  return withBody(ValueKind::object, const_cast<HostObject*>(adopted));
}

// --- Accessors ---------------------------------------------------------------

std::u16string_view Value::asString() const noexcept {
  if (rep_.big.length == kLongString) {
    const auto& b = bodyAs<detail::StringBody>(rep_.big.u.body);
    return {b.chars(), b.length};
  }
  return {rep_.small.chars, rep_.small.length};
}

std::span<const Value> Value::asList() const noexcept {
  const auto& body = bodyAs<detail::ListBody>(rep_.big.u.body);
  return {body.items(), body.count};
}
const Record& Value::asRecord() const noexcept { return bodyAs<detail::RecordBody>(rep_.big.u.body).record; }
std::string_view Value::asData() const noexcept { return bodyAs<detail::DataBody>(rep_.big.u.body).bytes; }
std::string_view Value::asUrl() const noexcept { return bodyAs<detail::UrlBody>(rep_.big.u.body).url; }
const IndexSet& Value::asIndexSet() const noexcept { return bodyAs<detail::IndexSetBody>(rep_.big.u.body).set; }
Range Value::asRange() const noexcept { return Range{std::uint64_t(rep_.big.u.i), rep_.big.extra}; }
const Descriptor& Value::asDescriptor() const noexcept {
  return bodyAs<detail::DescriptorBody>(rep_.big.u.body).descriptor;
}
const HostObject& Value::asObject() const noexcept { return *static_cast<const HostObject*>(rep_.big.u.body); }

std::string Value::toUtf8() const { return utf8FromUtf16(asString()); }

// --- Identity, equality, hashing -------------------------------------------

bool Value::isSameObject(const Value& other) const noexcept {
  if (kind() != other.kind()) return false;
  if (hasBody() || other.hasBody()) return hasBody() && other.hasBody() && rep_.big.u.body == other.rep_.big.u.body;
  if (kind() == ValueKind::string) return asString() == other.asString();
  return rep_.big.u.i == other.rep_.big.u.i && rep_.big.extra == other.rep_.big.extra;
}

bool Value::equals(const Value& other) const {
  if (isNumber() && other.isNumber()) return compareNumbers(*this, other) == 0;
  if (kind() != other.kind()) return false;
  if (hasBody() && other.hasBody() && rep_.big.u.body == other.rep_.big.u.body) return true;
  switch (kind()) {
    case ValueKind::nothing:
    case ValueKind::null:
      return true;
    case ValueKind::boolean:
    case ValueKind::integer:
    case ValueKind::real:
      return false;  // handled above
    case ValueKind::string:
      return asString() == other.asString();
    case ValueKind::date:
      return asDate() == other.asDate();
    case ValueKind::data:
      return asData() == other.asData();
    case ValueKind::list: {
      auto a = asList(), b = other.asList();
      return std::equal(a.begin(), a.end(), b.begin(), b.end());
    }
    case ValueKind::record: {
      const Record &a = asRecord(), &b = other.asRecord();
      if (a.size() != b.size()) return false;
      for (const auto& [key, value] : a.entries()) {
        const Value* match = b.find(key.asString());
        if (!match || !value.equals(*match)) return false;
      }
      return true;
    }
    case ValueKind::url:
      return asUrl() == other.asUrl();
    case ValueKind::indexSet:
      return asIndexSet() == other.asIndexSet();
    case ValueKind::range:
      return asRange() == other.asRange();
    case ValueKind::descriptor:
      return asDescriptor() == other.asDescriptor();
    case ValueKind::object:
      return asObject().equals(other.asObject());
  }
  return false;
}

std::size_t Value::hash() const noexcept {
  switch (kind()) {
    case ValueKind::nothing:
      return 0;
    case ValueKind::null:
      return 1;
    case ValueKind::boolean:
    case ValueKind::integer:
    case ValueKind::real: {
      // Equal numbers of different kinds must hash alike: integral values
      // hash as integers.
      Numeric n = numericOf(*this);
      if (!n.isReal) return std::hash<std::int64_t>{}(n.i);
      if (n.d == std::trunc(n.d) && n.d >= -9.2233720368547758e18 && n.d < 9.2233720368547758e18)
        return std::hash<std::int64_t>{}(std::int64_t(n.d));
      return hashDouble(n.d);
    }
    case ValueKind::string:
      return std::hash<std::u16string_view>{}(asString());
    case ValueKind::date:
      return mix(7, hashDouble(asDate()));
    case ValueKind::data:
      return mix(8, std::hash<std::string_view>{}(asData()));
    case ValueKind::list: {
      std::size_t h = 9;
      for (const Value& item : asList()) h = mix(h, item.hash());
      return h;
    }
    case ValueKind::record: {
      // Order-independent, as record equality is.
      std::size_t h = 10 + asRecord().size();
      for (const auto& [key, value] : asRecord().entries()) h += mix(key.hash(), value.hash());
      return h;
    }
    case ValueKind::url:
      return mix(11, std::hash<std::string_view>{}(asUrl()));
    case ValueKind::indexSet: {
      std::size_t h = 12;
      for (Range r : asIndexSet().runs()) h = mix(mix(h, r.location), r.length);
      return h;
    }
    case ValueKind::range:
      return mix(mix(13, asRange().location), asRange().length);
    case ValueKind::descriptor:
      return mix(mix(14, asDescriptor().type()), std::hash<std::string_view>{}(asDescriptor().data()));
    case ValueKind::object:
      return asObject().hash();
  }
  return 0;
}

int Value::compare(const Value& other) const {
  if (isNumber() && other.isNumber()) return compareNumbers(*this, other);
  if (isString() && other.isString()) {
    int c = asString().compare(other.asString());
    return c < 0 ? -1 : c > 0 ? 1 : 0;
  }
  if (isDate() && other.isDate()) return asDate() < other.asDate() ? -1 : asDate() > other.asDate() ? 1 : 0;
  throwFailure(FailureKind::compare, "cannot compare a " + std::string(kindName(kind())) + " value with a " +
                                         std::string(kindName(other.kind())) + " value");
}

// --- Scalar readings -----------------------------------------------------------

std::int64_t Value::integerValue() const {
  switch (kind()) {
    case ValueKind::nothing:
      return 0;
    case ValueKind::boolean:
      return asBoolean() ? 1 : 0;
    case ValueKind::integer:
      return asInteger();
    case ValueKind::real: {
      double d = asReal();
      if (std::isnan(d)) return 0;
      if (d >= 9.2233720368547758e18) return std::numeric_limits<std::int64_t>::max();
      if (d <= -9.2233720368547758e18) return std::numeric_limits<std::int64_t>::min();
      return std::int64_t(d);
    }
    case ValueKind::string: {
      LeadingNumber n = leadingNumber(asString(), true);
      std::uint64_t magnitude = 0;
      bool overflow = false;
      for (char c : n.digits) {
        if (magnitude > (std::numeric_limits<std::uint64_t>::max() - 9) / 10) {
          overflow = true;
          break;
        }
        magnitude = magnitude * 10 + std::uint64_t(c - '0');
      }
      const std::uint64_t limit = n.negative ? std::uint64_t(1) << 63 : (std::uint64_t(1) << 63) - 1;
      if (overflow || magnitude > limit)
        return n.negative ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
      return n.negative ? std::int64_t(0 - magnitude) : std::int64_t(magnitude);
    }
    default:
      doesNotAnswer(*this, "integerValue");
  }
}

double Value::doubleValue() const {
  switch (kind()) {
    case ValueKind::nothing:
      return 0;
    case ValueKind::boolean:
      return asBoolean() ? 1 : 0;
    case ValueKind::integer:
      return double(asInteger());
    case ValueKind::real:
      return asReal();
    case ValueKind::string: {
      LeadingNumber n = leadingNumber(asString(), false);
      double d = 0;
      if (!n.digits.empty()) {
        auto [end, ec] = std::from_chars(n.digits.data(), n.digits.data() + n.digits.size(), d);
        (void)end;
        if (ec == std::errc::result_out_of_range) {
          // from_chars leaves `d` alone on overflow and underflow: tell them apart.
          std::size_t e = n.digits.find('e');
          bool negativeExponent = e != std::string::npos && e + 1 < n.digits.size() && n.digits[e + 1] == '-';
          d = negativeExponent ? 0.0 : HUGE_VAL;
        }
      }
      return n.negative ? -d : d;
    }
    default:
      doesNotAnswer(*this, "doubleValue");
  }
}

bool Value::boolValue() const {
  switch (kind()) {
    case ValueKind::nothing:
      return false;
    case ValueKind::boolean:
      return asBoolean();
    case ValueKind::integer:
      return asInteger() != 0;
    case ValueKind::real:
      return asReal() != 0;
    case ValueKind::string: {
      // White space, a sign and leading zeros are skipped; then "Y", "y",
      // "T", "t" or a digit 1-9 reads as true.
      std::u16string_view s = asString();
      std::size_t i = 0;
      while (i < s.size() && isWhite(s[i])) ++i;
      if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
      while (i < s.size() && s[i] == '0') ++i;
      if (i == s.size()) return false;
      char16_t c = s[i];
      return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
    }
    default:
      doesNotAnswer(*this, "boolValue");
  }
}

// --- Record, IndexSet, HostObject -------------------------------------------

Record::Record(std::initializer_list<std::pair<std::u16string_view, Value>> entries) {
  reserve(entries.size());
  for (const auto& [key, value] : entries) set(key, value);
}

Record::Record(detail::Pool& pool, std::size_t capacity) {
  if (capacity == 0) return;
  void* memory = pool.allocate(capacity * sizeof(Entry), poolOffset_);
  if (!memory) {
    poolOffset_ = 0;
    reserve(capacity);
    return;
  }
  data_ = static_cast<Entry*>(memory);
  capacity_ = std::uint32_t(capacity);
}

Record::Record(const Record& other) : slots_(other.slots_) {
  if (other.size_ == 0) return;
  data_ = static_cast<Entry*>(::operator new(other.size_ * sizeof(Entry)));
  capacity_ = other.size_;
  for (std::size_t i = 0; i < other.size_; ++i) ::new (static_cast<void*>(data_ + i)) Entry(other.data_[i]);
  size_ = other.size_;
}

Record::Record(Record&& other) noexcept
    : data_(other.data_),
      size_(other.size_),
      capacity_(other.capacity_),
      poolOffset_(other.poolOffset_),
      slots_(std::move(other.slots_)) {
  other.data_ = nullptr;
  other.size_ = other.capacity_ = other.poolOffset_ = 0;
  other.slots_.clear();
}

Record& Record::operator=(const Record& other) {
  if (this != &other) *this = Record(other);
  return *this;
}

Record& Record::operator=(Record&& other) noexcept {
  if (this != &other) {
    freeStorage();
    data_ = std::exchange(other.data_, nullptr);
    size_ = std::exchange(other.size_, 0);
    capacity_ = std::exchange(other.capacity_, 0);
    poolOffset_ = std::exchange(other.poolOffset_, 0);
    slots_ = std::move(other.slots_);
    other.slots_.clear();
  }
  return *this;
}

Record::~Record() { freeStorage(); }

void Record::freeStorage() noexcept {
  for (std::size_t i = size_; i > 0; --i) data_[i - 1].~Entry();
  if (poolOffset_) detail::Pool::release(reinterpret_cast<char*>(data_) - poolOffset_);
  else ::operator delete(data_);
  data_ = nullptr;
  size_ = capacity_ = poolOffset_ = 0;
}

void Record::moveTo(std::size_t capacity) {
  auto* data = static_cast<Entry*>(::operator new(capacity * sizeof(Entry)));
  if (size_) std::memcpy(static_cast<void*>(data), static_cast<const void*>(data_), size_ * sizeof(Entry));
  if (poolOffset_) detail::Pool::release(reinterpret_cast<char*>(data_) - poolOffset_);
  else ::operator delete(data_);
  data_ = data;
  capacity_ = std::uint32_t(capacity);
  poolOffset_ = 0;
}

void Record::set(Value key, Value value) {
  std::ptrdiff_t at = position(key.asString());
  if (at >= 0) {
    data_[std::size_t(at)].second = std::move(value);
    return;
  }
  appendNew(std::move(key), std::move(value));
}

void Record::appendNew(Value key, Value value) {
  if (size_ == capacity_) moveTo(std::max<std::size_t>(4, std::size_t(capacity_) * 2));
  ::new (static_cast<void*>(data_ + size_)) Entry(std::move(key), std::move(value));
  ++size_;
  if (size_ < kIndexFrom) return;
  if (std::size_t(size_) * 2 > slots_.size())
    rebuildIndex();
  else
    indexEntry(size_ - 1);
}

void Record::appendAdopting(std::span<Entry> entries) {
  if (entries.empty()) return;
  if (size_ + entries.size() > capacity_) moveTo(std::max<std::size_t>(size_ + entries.size(), std::size_t(capacity_) * 2));
  std::memcpy(static_cast<void*>(data_ + size_), static_cast<const void*>(entries.data()), entries.size() * sizeof(Entry));
  // All-zero bytes are two values of no kind, which own nothing.
  std::memset(static_cast<void*>(entries.data()), 0, entries.size() * sizeof(Entry));
  size_ += std::uint32_t(entries.size());
  if (size_ >= kIndexFrom) rebuildIndex();
}

void Record::rebuildIndex() {
  std::size_t capacity = 32;
  while (capacity < std::size_t(size_) * 4) capacity *= 2;
  slots_.assign(capacity, 0);
  for (std::size_t i = 0; i < size_; ++i) indexEntry(i);
}

void Record::indexEntry(std::size_t at) {
  std::size_t mask = slots_.size() - 1;
  std::size_t slot = std::hash<std::u16string_view>{}(data_[at].first.asString()) & mask;
  while (slots_[slot] != 0) slot = (slot + 1) & mask;
  slots_[slot] = std::uint32_t(at + 1);
}

std::ptrdiff_t Record::position(std::u16string_view key) const noexcept {
  if (slots_.empty()) {
    for (std::size_t i = 0; i < size_; ++i)
      if (data_[i].first.asString() == key) return std::ptrdiff_t(i);
    return -1;
  }
  std::size_t mask = slots_.size() - 1;
  for (std::size_t slot = std::hash<std::u16string_view>{}(key) & mask; slots_[slot] != 0; slot = (slot + 1) & mask) {
    std::size_t at = slots_[slot] - 1;
    if (data_[at].first.asString() == key) return std::ptrdiff_t(at);
  }
  return -1;
}

const Value* Record::find(std::u16string_view key) const noexcept {
  std::ptrdiff_t at = position(key);
  return at < 0 ? nullptr : &data_[std::size_t(at)].second;
}

void IndexSet::addRange(std::uint64_t location, std::uint64_t length) {
  if (length == 0) return;
  std::uint64_t end = location + length;  // one past the last index
  if (end < location) end = std::numeric_limits<std::uint64_t>::max();
  // Merge every run that overlaps or touches [location, end).
  auto first = std::lower_bound(runs_.begin(), runs_.end(), location,
                                [](const Range& r, std::uint64_t loc) { return r.location + r.length < loc; });
  auto last = first;
  while (last != runs_.end() && last->location <= end) {
    location = std::min(location, last->location);
    end = std::max(end, last->location + last->length);
    ++last;
  }
  first = runs_.erase(first, last);
  runs_.insert(first, Range{location, end - location});
}

bool IndexSet::contains(std::uint64_t index) const noexcept {
  auto it = std::upper_bound(runs_.begin(), runs_.end(), index,
                             [](std::uint64_t i, const Range& r) { return i < r.location; });
  if (it == runs_.begin()) return false;
  --it;
  return index - it->location < it->length;
}

std::uint64_t IndexSet::count() const noexcept {
  std::uint64_t n = 0;
  for (Range r : runs_) n += r.length;
  return n;
}

std::vector<std::uint64_t> IndexSet::indexes() const {
  std::vector<std::uint64_t> out;
  for (Range r : runs_)
    for (std::uint64_t i = 0; i < r.length; ++i) out.push_back(r.location + i);
  return out;
}

void doesNotAnswer(const Value& v, std::string_view selector) {
  throwFailure(FailureKind::unrecognizedSelector, "-[" + std::string(kindName(v.kind())) + " " + std::string(selector) +
                                                      "]: unrecognized selector sent to instance");
}

std::size_t HostObject::hash() const noexcept { return std::hash<std::string_view>{}(tag()); }

}  // namespace tessaro
