// The pieces of a text in the shapes the segmentation commands return:
// strings, boxed ranges, two-integer pairs or a count.
#include "text/pieces.hpp"

#include <cstdlib>
#include <new>
#include <span>

#include "text/segments.hpp"

namespace tessaro::text {

std::u16string_view textArgument(const Value& text) {
  // No value reads as empty text, as a message to nil answers nothing.
  if (text.isNothing()) return {};
  if (!text.isString()) doesNotAnswer(text, "length");
  return text.asString();
}

namespace {

// Builds the list of pieces. Values move between places bit for bit, so the
// list takes the collected items over without touching them again.
class ListBuilder {
 public:
  ListBuilder() = default;
  ListBuilder(const ListBuilder&) = delete;
  ListBuilder& operator=(const ListBuilder&) = delete;
  ~ListBuilder() {
    for (std::size_t i = 0; i < size_; ++i) items_[i].~Value();
    std::free(items_);
  }
  void push(Value v) {
    if (size_ == capacity_) grow();
    ::new (static_cast<void*>(items_ + size_)) Value(std::move(v));
    ++size_;
  }
  Value take() {
    Value list = Value::listAdopting(std::span<Value>(items_, size_));
    size_ = 0;
    return list;
  }

 private:
  void grow() {
    std::size_t capacity = capacity_ ? capacity_ * 2 : 16;
    void* more = std::realloc(static_cast<void*>(items_), capacity * sizeof(Value));
    if (!more) throw std::bad_alloc();
    items_ = static_cast<Value*>(more);
    capacity_ = capacity;
  }
  Value* items_ = nullptr;
  std::size_t size_ = 0, capacity_ = 0;
};

}  // namespace

Value piecesOf(const Value& textValue, TextUnit unit, bool localized, PieceShape shape) {
  std::u16string_view text = textArgument(textValue);
  if (shape == PieceShape::count) {
    std::int64_t count = 0;
    forEachPiece(text, unit, localized, [&](std::size_t, std::size_t) {
      ++count;
      return true;
    });
    return Value::integer(count);
  }
  ListBuilder list;
  switch (shape) {
    case PieceShape::strings: {
      // Short pieces are copied with fixed-size moves wherever the text
      // holds enough units after them.
      const std::size_t paddedEnd = text.size() >= Value::kPaddedChars ? text.size() - Value::kPaddedChars : 0;
      forEachPiece(text, unit, localized, [&](std::size_t location, std::size_t length) {
        std::u16string_view piece = text.substr(location, length);
        list.push(location <= paddedEnd && text.size() >= Value::kPaddedChars ? Value::stringFromPadded(piece)
                                                                               : Value::string(piece));
        return true;
      });
      break;
    }
    case PieceShape::boxedRanges:
      forEachPiece(text, unit, localized, [&](std::size_t location, std::size_t length) {
        list.push(Value::range(location, length));
        return true;
      });
      break;
    case PieceShape::rangePairs:
      forEachPiece(text, unit, localized, [&](std::size_t location, std::size_t length) {
        list.push(Value::list({Value::integer(std::int64_t(location)), Value::integer(std::int64_t(length))}));
        return true;
      });
      break;
    case PieceShape::count:
      break;
  }
  return list.take();
}

}  // namespace tessaro::text
