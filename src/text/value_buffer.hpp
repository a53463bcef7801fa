// A growable run of values that is handed over to a new list in one piece:
// the list takes the values bit for bit and the buffer's places become raw
// storage again, so a parser can build row after row in the same memory.
#pragma once

#include <cstddef>
#include <new>
#include <span>
#include <utility>

#include "bridge/value_pool.hpp"
#include "tessaro/value.hpp"

namespace tessaro::text {

class ValueBuffer {
 public:
  ValueBuffer() = default;
  ValueBuffer(const ValueBuffer&) = delete;
  ValueBuffer& operator=(const ValueBuffer&) = delete;
  ~ValueBuffer() {
    clear();
    ::operator delete(data_);
  }

  std::size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }

  void push(Value&& v) {
    if (size_ == capacity_) grow();
    ::new (static_cast<void*>(data_ + size_)) Value(std::move(v));
    ++size_;
  }

  // A list of everything pushed since the last one; the buffer is left empty.
  Value takeList(detail::Pool* pool) {
    std::span<Value> items(data_, size_);
    Value list = pool ? Value::listAdopting(items, *pool) : Value::listAdopting(items);
    size_ = 0;
    return list;
  }

  void clear() noexcept {
    while (size_ > 0) data_[--size_].~Value();
  }

 private:
  void grow() {
    std::size_t capacity = capacity_ ? capacity_ * 2 : 16;
    auto* data = static_cast<Value*>(::operator new(capacity * sizeof(Value)));
    // Values hold no pointers to themselves: they move as plain bytes.
    if (size_) __builtin_memcpy(static_cast<void*>(data), static_cast<const void*>(data_), size_ * sizeof(Value));
    ::operator delete(data_);
    data_ = data;
    capacity_ = capacity;
  }

  Value* data_ = nullptr;
  std::size_t size_ = 0, capacity_ = 0;
};

}  // namespace tessaro::text
