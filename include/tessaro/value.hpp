// The dynamic host value that every command takes and returns.
//
// A Value is 24 bytes: numbers, dates, ranges, null and strings of up to
// eleven UTF-16 code units (most cells of a table) live inline; everything else points to an immutable body shared
// by reference count. A default-constructed Value is "no value" (nil), which
// is distinct from the null value. Equality, hashing, the natural ordering and
// the scalar readings (integer, double and truth value) are defined here once
// for every kind.
#pragma once

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tessaro/descriptor.hpp"

namespace tessaro {

enum class ValueKind : std::uint8_t {
  nothing,  // no value (nil); never an element of a list or record
  null,
  boolean,
  integer,
  real,
  string,
  date,
  data,
  list,
  record,
  url,
  indexSet,
  range,
  descriptor,
  object,  // a host object: bezier path, colour, locale, script target
};

std::string_view kindName(ValueKind kind) noexcept;

namespace detail {
// Base of every shared immutable body. Counts are atomic so that values may be
// handed between threads even though the library itself starts none.
struct Body {
  mutable std::atomic<std::uint32_t> refs{1};
  std::uint32_t poolOffset = 0;  // from the start of its pool chunk; 0 when allocated on its own
  Body() = default;
  Body(const Body&) = delete;
  Body& operator=(const Body&) = delete;
  virtual ~Body() = default;
};
class Pool;
}  // namespace detail

class Value;
class Record;
class IndexSet;
class HostObject;

struct Range {
  std::uint64_t location = 0;
  std::uint64_t length = 0;
  friend bool operator==(const Range&, const Range&) = default;
};

class Value {
 public:
  static constexpr std::size_t kInlineChars = 11;

  Value() noexcept = default;
  Value(const Value& other) noexcept : rep_(other.rep_) { retain(); }
  Value(Value&& other) noexcept : rep_(other.rep_) { other.rep_.big = Big{}; }
  Value& operator=(const Value& other) noexcept {
    if (this != &other) {
      other.retain();
      release();
      rep_ = other.rep_;
    }
    return *this;
  }
  Value& operator=(Value&& other) noexcept {
    if (this != &other) {
      release();
      rep_ = other.rep_;
      other.rep_.big = Big{};
    }
    return *this;
  }
  ~Value() { release(); }

  // Factories.
  static Value nothing() noexcept { return Value(); }
  static Value null() noexcept { return Value(ValueKind::null); }
  static Value boolean(bool b) noexcept;
  static Value integer(std::int64_t i) noexcept;
  static Value real(double d) noexcept;
  static Value string(std::u16string_view s);
  // The same as string(s) for a caller whose buffer holds at least
  // kPaddedChars code units from s.data() on, whatever s.size() is: a short
  // string is then taken with fixed-size register moves.
  static constexpr std::size_t kPaddedChars = 16;
  static Value stringFromPadded(std::u16string_view s);
  // The same, with a body (if one is needed) carved from `pool`.
  static Value stringFromPadded(std::u16string_view s, detail::Pool& pool);
  // A string that takes over `units`, a buffer from std::malloc holding
  // `length` code units (a large text is then never copied).
  static Value stringAdopting(char16_t* units, std::size_t length);
  static Value fromUtf8(std::string_view utf8);  // invalid bytes become U+FFFD
  static Value fromValidUtf8(std::string_view utf8);  // no value when `utf8` is ill-formed
  static Value date(double secondsSinceReferenceDate) noexcept;
  static Value data(std::string bytes);
  static Value list(std::vector<Value> items);
  static Value list(std::initializer_list<Value> items) { return list(std::vector<Value>(items)); }
  // A list that takes the items over bit for bit. The caller must then treat
  // their places as raw storage: neither use nor destroy them again.
  static Value listAdopting(std::span<Value> items);
  static Value listAdopting(std::span<Value> items, detail::Pool& pool);
  static Value record(Record record);
  static Value record(Record record, detail::Pool& pool);
  static Value url(std::string absoluteString);
  static Value indexSet(IndexSet set);
  static Value range(std::uint64_t location, std::uint64_t length);
  static Value descriptor(Descriptor d);
  static Value object(const HostObject* adopted);  // takes the creation reference

  ValueKind kind() const noexcept { return rep_.big.kind; }
  bool isNothing() const noexcept { return kind() == ValueKind::nothing; }
  bool isNull() const noexcept { return kind() == ValueKind::null; }
  bool isNumber() const noexcept {
    return kind() == ValueKind::boolean || kind() == ValueKind::integer || kind() == ValueKind::real;
  }
  bool isString() const noexcept { return kind() == ValueKind::string; }
  bool isList() const noexcept { return kind() == ValueKind::list; }
  bool isRecord() const noexcept { return kind() == ValueKind::record; }
  bool isDate() const noexcept { return kind() == ValueKind::date; }
  bool isData() const noexcept { return kind() == ValueKind::data; }
  bool isUrl() const noexcept { return kind() == ValueKind::url; }
  bool isDescriptor() const noexcept { return kind() == ValueKind::descriptor; }

  // Raw payloads; each requires the matching kind.
  bool asBoolean() const noexcept { return rep_.big.u.b; }
  std::int64_t asInteger() const noexcept { return rep_.big.u.i; }
  double asReal() const noexcept { return rep_.big.u.d; }
  double asDate() const noexcept { return rep_.big.u.d; }
  std::u16string_view asString() const noexcept;
  std::span<const Value> asList() const noexcept;
  const Record& asRecord() const noexcept;
  std::string_view asData() const noexcept;
  std::string_view asUrl() const noexcept;  // the absolute URL string
  const IndexSet& asIndexSet() const noexcept;
  Range asRange() const noexcept;
  const Descriptor& asDescriptor() const noexcept;
  const HostObject& asObject() const noexcept;
  // The host object as T, or null when it is some other kind of object.
  template <class T>
  const T* objectAs() const noexcept;

  std::string toUtf8() const;  // strings only; lone surrogates become U+FFFD

  // The same object: the same shared body, or the same inline bits.
  bool isSameObject(const Value& other) const noexcept;

  // Host equality (isEqual:) and a hash consistent with it.
  bool equals(const Value& other) const;
  std::size_t hash() const noexcept;
  friend bool operator==(const Value& a, const Value& b) { return a.equals(b); }

  // The natural ordering "compare:": numbers numerically, strings by UTF-16
  // code units, dates chronologically. Anything else throws a compare failure.
  int compare(const Value& other) const;

  // Scalar readings. No value reads as 0/false; numbers convert (reals
  // truncate toward zero); strings read a leading number. Other kinds throw
  // an unrecognizedSelector failure.
  std::int64_t integerValue() const;
  double doubleValue() const;
  bool boolValue() const;

 private:
  explicit Value(ValueKind k) noexcept { rep_.big.kind = k; }
  static Value withBody(ValueKind k, detail::Body* body) noexcept;

  struct Big {
    ValueKind kind = ValueKind::nothing;
    std::uint8_t length = 0;  // shares its place with Small::length
    std::uint8_t pad[6] = {};
    union {
      bool b;
      std::int64_t i;
      double d;
      detail::Body* body;
    } u{.i = 0};
    std::uint64_t extra = 0;  // a range's length
  };
  struct Small {
    ValueKind kind;
    std::uint8_t length;
    char16_t chars[kInlineChars];
  };
  union Rep {
    Big big;
    Small small;
    Rep() noexcept : big() {}
  } rep_;

  bool hasBody() const noexcept {
    switch (kind()) {
      case ValueKind::nothing:
      case ValueKind::null:
      case ValueKind::boolean:
      case ValueKind::integer:
      case ValueKind::real:
      case ValueKind::date:
      case ValueKind::range:
        return false;
      case ValueKind::string:
        return rep_.big.length == kLongString;
      default:
        return true;
    }
  }
  void retain() const noexcept {
    if (hasBody()) rep_.big.u.body->refs.fetch_add(1, std::memory_order_relaxed);
  }
  void release() noexcept {
    if (hasBody() && rep_.big.u.body->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) destroy(rep_.big.u.body);
  }
  static void destroy(detail::Body* body) noexcept;
  // The length byte of a string kept in a body rather than inline.
  static constexpr std::uint8_t kLongString = 0xFF;
  friend struct ValueAccess;
  friend class ListBuilder;
};

static_assert(sizeof(Value) == 24);

// A list made item by item in the storage it will keep: a long list (the
// millions of matches of a large text) is neither gathered elsewhere and
// copied nor copied as it grows, since its storage is enlarged in place
// where the system allows (large blocks are remapped).
class ListBuilder {
 public:
  ListBuilder() noexcept = default;
  ListBuilder(const ListBuilder&) = delete;
  ListBuilder& operator=(const ListBuilder&) = delete;
  ~ListBuilder();

  std::size_t size() const noexcept { return size_; }
  void push(Value&& v) {
    if (size_ == capacity_) grow();
    ::new (static_cast<void*>(items_ + size_)) Value(std::move(v));
    ++size_;
  }
  // The list of the items pushed; the builder is left empty.
  Value finish();

 private:
  void grow();
  void* block_ = nullptr;  // room for a list body and `capacity_` items
  Value* items_ = nullptr;
  std::size_t size_ = 0, capacity_ = 0;
};

// A record: string keys to values, kept in insertion order. Equality ignores
// the order, as the host's dictionaries do.
class Record {
 public:
  using Entry = std::pair<Value, Value>;  // key (a string) and value

  Record() = default;
  Record(std::initializer_list<std::pair<std::u16string_view, Value>> entries);
  // An empty record with room for `capacity` entries carved from `pool`.
  Record(detail::Pool& pool, std::size_t capacity);
  Record(const Record& other);
  Record(Record&& other) noexcept;
  Record& operator=(const Record& other);
  Record& operator=(Record&& other) noexcept;
  ~Record();

  // Adds the entry, or replaces the value of an existing key in its place.
  void set(Value key, Value value);
  void set(std::u16string_view key, Value value) { set(Value::string(key), std::move(value)); }
  // Adds an entry whose key the caller knows to be new, without looking.
  void appendNew(Value key, Value value);
  // Adds entries whose keys the caller knows to be new and distinct, taking
  // them over bit for bit; their places are left holding no values.
  void appendAdopting(std::span<Entry> entries);
  const Value* find(std::u16string_view key) const noexcept;
  std::span<const Entry> entries() const noexcept { return {data_, size_}; }
  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  void reserve(std::size_t n) {
    if (n > capacity_) moveTo(n);
  }

 private:
  // Small records are searched in order; larger ones keep an open-addressing
  // table of entry positions (position + 1; 0 is an empty slot).
  static constexpr std::size_t kIndexFrom = 12;
  std::ptrdiff_t position(std::u16string_view key) const noexcept;
  void indexEntry(std::size_t position);
  void rebuildIndex();
  // Moves the entries to storage of their own for `capacity` of them.
  void moveTo(std::size_t capacity);
  void freeStorage() noexcept;

  // Entries are moved between storages bit for bit, as lists move values.
  Entry* data_ = nullptr;
  std::uint32_t size_ = 0, capacity_ = 0;
  std::uint32_t poolOffset_ = 0;  // of storage carved from a pool chunk; 0 otherwise
  std::vector<std::uint32_t> slots_;
};

// A set of non-negative integer indexes, held as ascending disjoint runs.
class IndexSet {
 public:
  void add(std::uint64_t index) { addRange(index, 1); }
  void addRange(std::uint64_t location, std::uint64_t length);
  bool contains(std::uint64_t index) const noexcept;
  std::uint64_t count() const noexcept;
  std::span<const Range> runs() const noexcept { return runs_; }
  std::vector<std::uint64_t> indexes() const;
  friend bool operator==(const IndexSet&, const IndexSet&) = default;

 private:
  std::vector<Range> runs_;
};

// A host object (bezier path, colour, locale, script target). Equality of two
// host objects is decided by the object; by default it is identity.
class HostObject : public detail::Body {
 public:
  virtual std::string_view tag() const noexcept = 0;  // its notation tag, "$bezier" …
  virtual bool equals(const HostObject& other) const { return this == &other; }
  virtual std::size_t hash() const noexcept;
};

template <class T>
const T* Value::objectAs() const noexcept {
  return kind() == ValueKind::object ? dynamic_cast<const T*>(&asObject()) : nullptr;
}

// Throws the host's unrecognizedSelector failure for a value asked for
// something its kind does not answer.
[[noreturn]] void doesNotAnswer(const Value& v, std::string_view selector);

// Writes the value in the JSON value notation (tessaro/notation.hpp).
std::ostream& operator<<(std::ostream& out, const Value& v);

struct ValueHash {
  std::size_t operator()(const Value& v) const noexcept { return v.hash(); }
};

}  // namespace tessaro
