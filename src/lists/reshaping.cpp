// Changing the shape of lists and tables: filling rows out, transposing,
// flattening, grouping, inserting a column or a run of items, moving an item.
// Every command builds a new list; rows that need no change are shared with
// the argument.
#include <algorithm>

#include "lists/list_support.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {

using lists::failed;

Value KRVForder::subarraysIn_paddedWith_error_(const Value& table, const Value& filler, CommandError* error) {
  if (!table.isList()) return failed(error, "Command requires a list of lists.");
  std::span<const Value> rows = table.asList();
  if (rows.empty()) return table;
  std::size_t longest = 0;
  for (const Value& row : rows) {
    if (!row.isList()) return failed(error, "Command requires a list of lists.");
    longest = std::max(longest, row.asList().size());
  }
  const Value fill = filler.isNothing() ? Value::null() : filler;
  std::vector<Value> result;
  result.reserve(rows.size());
  for (const Value& row : rows) {
    std::span<const Value> items = row.asList();
    if (items.size() == longest) {
      result.push_back(row);
      continue;
    }
    std::vector<Value> padded(items.begin(), items.end());
    padded.resize(longest, fill);
    result.push_back(Value::list(std::move(padded)));
  }
  return Value::list(std::move(result));
}

Value KRVForder::colsToRowsIn_error_(const Value& table, CommandError* error) {
  if (!table.isList()) return failed(error, "Command requires a list of lists.");
  std::span<const Value> rows = table.asList();
  if (rows.empty()) return failed(error, "Can't perform cols to rows on an empty list.");
  if (!rows[0].isList())
    return failed(error, "Can't perform cols to rows on a list that doesn't consist solely of lists.");
  const std::size_t width = rows[0].asList().size();
  std::vector<std::vector<Value>> columns(width);
  for (auto& column : columns) column.reserve(rows.size());
  for (const Value& row : rows) {
    // The first row was checked above with a gentler message; a later row
    // that is not a list keeps this odd wording on purpose.
    if (!row.isList()) return failed(error, "Strangely, the list's list is not a list. Please report the circumstances.");
    std::span<const Value> items = row.asList();
    if (items.size() != width) return failed(error, "Can't perform cols to rows when lists have differing item counts.");
    for (std::size_t j = 0; j < width; ++j) columns[j].push_back(items[j]);
  }
  std::vector<Value> result;
  result.reserve(width);
  for (auto& column : columns) result.push_back(Value::list(std::move(column)));
  return Value::list(std::move(result));
}

namespace {

// Depth first, left to right: lists are walked in place, anything else is a
// leaf. Empty lists contribute nothing.
void appendLeaves(std::span<const Value> items, std::vector<Value>& out) {
  for (const Value& item : items) {
    if (item.isList())
      appendLeaves(item.asList(), out);
    else
      out.push_back(item);
  }
}

Value flatten(const Value& list, bool fully) {
  std::span<const Value> items = lists::itemsOf(list);
  std::vector<Value> out;
  out.reserve(items.size());
  if (fully) {
    appendLeaves(items, out);
  } else {
    for (const Value& item : items) {
      if (item.isList())
        out.insert(out.end(), item.asList().begin(), item.asList().end());
      else
        out.push_back(item);
    }
  }
  return Value::list(std::move(out));
}

}  // namespace

Value KRVForder::arrayByFlattening_(const Value& list) { return flatten(list, false); }
Value KRVForder::arrayByFullyFlattening_(const Value& list) { return flatten(list, true); }
Value KRVForder::KRV_arrayByFlattening_fully_(const Value& list, const Value& fully) {
  return flatten(list, fully.boolValue());
}

Value KRVForder::KRV_addItemsWithinArray_to_(const Value& list, const Value& result) {
  std::span<const Value> start = lists::itemsOf(result);
  std::vector<Value> out(start.begin(), start.end());
  appendLeaves(lists::itemsOf(list), out);
  return Value::list(std::move(out));
}

Value KRVForder::subarraysFrom_groupedBy_error_(const Value& list, const Value& size, CommandError* error) {
  if (!list.isList()) return failed(error, "Command requires a list.");
  // Numbers and numeric strings give their integer value; anything else
  // counts as 0. A group of one is refused on purpose: it would only wrap
  // every item.
  const std::int64_t n = size.isNumber() || size.isString() ? size.integerValue() : 0;
  if (n <= 1) return failed(error, "The grouping value must be a positive number above 1.");
  std::span<const Value> items = list.asList();
  const std::size_t groupSize = std::size_t(n);
  std::vector<Value> groups;
  groups.reserve(items.size() / std::min(groupSize, items.size() + 1) + 1);
  for (std::size_t at = 0; at < items.size(); at += std::min(groupSize, items.size() - at)) {
    std::size_t count = std::min(groupSize, items.size() - at);
    groups.push_back(Value::list(std::vector<Value>(items.begin() + std::ptrdiff_t(at),
                                                    items.begin() + std::ptrdiff_t(at + count))));
  }
  return Value::list(std::move(groups));
}

Value KRVForder::subarraysIn_withItems_insertedAtIndex_error_(const Value& table, const Value& items,
                                                              const Value& index, CommandError* error) {
  if (!table.isList()) return failed(error, "Command requires a list of lists.");
  if (!items.isList()) return failed(error, "Inserted argument is not a list.");
  std::span<const Value> rows = table.asList(), inserted = items.asList();
  if (rows.size() != inserted.size())
    return failed(error, "The number of items in the inserting list doesn't match that of the main list.");
  const std::int64_t at = index.integerValue();
  std::vector<Value> result;
  result.reserve(rows.size());
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (!rows[i].isList()) return failed(error, "The main list is not a list of lists.");
    std::span<const Value> row = rows[i].asList();
    // Each row is checked against its own count, so ragged tables are fine
    // as long as the index fits every row.
    if (at < 0 || std::uint64_t(at) > row.size()) return failed(error, "Invalid index.");
    std::vector<Value> changed;
    changed.reserve(row.size() + 1);
    changed.insert(changed.end(), row.begin(), row.begin() + at);
    changed.push_back(inserted[i]);
    changed.insert(changed.end(), row.begin() + at, row.end());
    result.push_back(Value::list(std::move(changed)));
  }
  return Value::list(std::move(result));
}

Value KRVForder::arrayByInsertingItems_inArray_atIndex_error_(const Value& items, const Value& list,
                                                              const Value& index, CommandError* error) {
  if (!list.isList()) return failed(error, "Command requires a list.");
  if (items.isNothing()) return failed(error, "No list passed for insertion.");
  if (!items.isList()) return failed(error, "Inserted argument is not a list.");
  std::span<const Value> target = list.asList(), run = items.asList();
  // Compared as an unsigned count: a negative index is simply too large.
  const std::uint64_t at = std::uint64_t(index.integerValue());
  if (at > target.size()) return failed(error, "Index is out of range.");
  std::vector<Value> out;
  out.reserve(target.size() + run.size());
  out.insert(out.end(), target.begin(), target.begin() + std::ptrdiff_t(at));
  out.insert(out.end(), run.begin(), run.end());
  out.insert(out.end(), target.begin() + std::ptrdiff_t(at), target.end());
  return Value::list(std::move(out));
}

Value KRVForder::arrayByMovingItemAt_toIndex_inArray_error_(const Value& from, const Value& to, const Value& list,
                                                            CommandError* error) {
  if (!list.isList()) return failed(error, "Command requires a list.");
  std::span<const Value> items = list.asList();
  const std::uint64_t source = std::uint64_t(from.integerValue()), target = std::uint64_t(to.integerValue());
  // The check lets an index equal to the count through on purpose; the list
  // access below then fails with the list's own range failure.
  if (items.size() < source || items.size() < target) return failed(error, "Index is out of range.");
  Value moved = lists::itemAt(items, source);
  std::vector<Value> out(items.begin(), items.end());
  out.erase(out.begin() + std::ptrdiff_t(source));
  if (target > out.size()) lists::itemAt(out, target);  // inserting beyond the end: a range failure
  out.insert(out.begin() + std::ptrdiff_t(target), std::move(moved));
  return Value::list(std::move(out));
}

}  // namespace tessaro
