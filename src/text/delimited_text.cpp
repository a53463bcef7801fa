// The CSV and TSV parsers. Fields are made straight from the text wherever
// they are one contiguous piece of it (quotes at a field's edges included);
// only a field that a quote splits (a"b"c, a doubled quote) is gathered in a
// reused buffer first. A large text's row lists and long fields are carved
// from a pool rather than allocated one by one.
#include "text/delimited_text.hpp"

#include <string>

#include "text/large_text_pool.hpp"
#include "text/value_buffer.hpp"

namespace tessaro::text {

namespace {

// Makes field values from pieces of one text.
class FieldMaker {
 public:
  FieldMaker(std::u16string_view text, detail::Pool* pool) : text_(text), pool_(pool) {}

  // The field text_[start, start + length).
  Value piece(std::size_t start, std::size_t length) const { return pieceOf(text_, start, length, pool_); }
  Value gathered(std::u16string_view s) const {
    return pool_ && s.size() > Value::kInlineChars ? Value::stringFromPadded(s, *pool_) : Value::string(s);
  }

 private:
  std::u16string_view text_;
  detail::Pool* pool_;
};

// The field being read: a slice of the text while its pieces follow one
// another, else the pieces gathered in a buffer.
class Field {
 public:
  explicit Field(const char16_t* text) : text_(text) {}

  void append(std::size_t from, std::size_t to) {
    if (from == to) return;
    if (!gathering_) {
      if (start_ == end_) {
        start_ = from;
        end_ = to;
        return;
      }
      if (from == end_) {
        end_ = to;
        return;
      }
      gathering_ = true;
      buffer_.assign(text_ + start_, end_ - start_);
    }
    buffer_.append(text_ + from, to - from);
  }
  bool empty() const noexcept { return gathering_ ? buffer_.empty() : start_ == end_; }
  Value take(const FieldMaker& maker) {
    Value v = gathering_ ? maker.gathered(buffer_) : maker.piece(start_, end_ - start_);
    reset();
    return v;
  }
  void reset() noexcept {
    start_ = end_ = 0;
    gathering_ = false;
    buffer_.clear();
  }

 private:
  const char16_t* text_;
  std::size_t start_ = 0, end_ = 0;
  bool gathering_ = false;
  std::u16string buffer_;
};

}  // namespace

Value parseCsv(std::u16string_view text, char16_t separator) {
  LargeTextPool pool(text);
  detail::Pool* rowPool = pool.get();
  FieldMaker maker(text, rowPool);
  const CsvScanner scanner(separator);
  const char16_t* units = text.data();
  const std::size_t n = text.size();

  ListBuilder rows;
  ValueBuffer row;
  Field field(units);
  std::size_t i = 0;
  while (i < n) {
    bool inside = false;
    for (;;) {
      std::size_t runEnd = std::size_t(scanner.ordinaryRunEnd(units + i, units + n) - units);
      field.append(i, runEnd);
      i = runEnd;
      // The checks run in this order: end, newline, quote, separator; so a
      // separator that is a newline character or the quote never separates.
      if (i == n) {
        if (!field.empty()) row.push(field.take(maker));
        break;
      }
      char16_t c = units[i];
      if (CsvScanner::isNewline(c)) {
        std::size_t runStart = i;
        while (i < n && CsvScanner::isNewline(units[i])) ++i;
        if (!inside) {
          if (!field.empty()) row.push(field.take(maker));
          break;
        }
        field.append(runStart, i);
        continue;
      }
      if (c == u'"') {
        ++i;
        if (!inside) {
          inside = true;
        } else if (i < n && units[i] == u'"') {
          field.append(i - 1, i);  // one quote of the pair
          ++i;
        } else {
          inside = false;
        }
        continue;
      }
      // The separator.
      ++i;
      if (inside) {
        field.append(i - 1, i);
        continue;
      }
      row.push(field.take(maker));
      while (i < n && isCsvWhitespace(units[i])) ++i;
    }
    field.reset();
    if (!row.empty()) rows.push(row.takeList(rowPool));
  }
  return rows.finish();
}

Value parseTsv(std::u16string_view text) {
  LargeTextPool pool(text);
  detail::Pool* rowPool = pool.get();
  FieldMaker maker(text, rowPool);
  const char16_t* units = text.data();
  const std::size_t n = text.size();

  ListBuilder rows;
  ValueBuffer row;
  std::size_t i = 0;
  while (i < n) {
    // One paragraph: up to LF, CR or U+2029 (CR LF counts as one ending).
    std::size_t fieldStart = i;
    for (;; ++i) {
      if (i == n || units[i] == u'\n' || units[i] == u'\r' || units[i] == u'\u2029') {
        row.push(maker.piece(fieldStart, i - fieldStart));
        break;
      }
      if (units[i] == u'\t') {
        row.push(maker.piece(fieldStart, i - fieldStart));
        fieldStart = i + 1;
      }
    }
    rows.push(row.takeList(rowPool));
    if (i < n) i += (units[i] == u'\r' && i + 1 < n && units[i + 1] == u'\n') ? 2 : 1;
  }
  return rows.finish();
}

}  // namespace tessaro::text
