// Joining two neighbouring text items, positions of items, tables to records
// and back, index sets to lists and back, and adding an offset to numbers.
#include <limits>
#include <unordered_set>

#include "lists/comparisons.hpp"
#include "lists/list_support.hpp"
#include "lists/sort_levels.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {

using lists::failed;

Value KRVForder::arrayByMergingTextAtIndexes_inArray_inserting_error_(const Value& positions, const Value& list,
                                                                      const Value& joiner, CommandError* error) {
  if (!list.isList()) return failed(error, "Command requires a list.");
  if (!positions.isList() || positions.asList().size() != 2)
    return failed(error, "Invalid merge indexes parameter; the list must contain only two integers.");
  const Value &first = positions.asList()[0], &second = positions.asList()[1];
  if (!first.isNumber() || !second.isNumber()) return failed(error, "Merge indexes must be integers.");
  // Any number is taken, truncated to 32 bits (1.9 is 1).
  const std::int64_t a = std::int32_t(first.integerValue()), b = std::int32_t(second.integerValue());
  std::span<const Value> items = list.asList();
  // The bound is unsigned on purpose: for a list of fewer than two items
  // count - 2 wraps around and lets a = 0 through, and the item access below
  // then fails as a range failure.
  if (a < 0 || std::uint64_t(a) > std::uint64_t(items.size()) - 2 || b != a + 1)
    return failed(error, "At least one of the merge indexes is out of range or otherwise invalid.");
  const Value &left = lists::itemAt(items, std::uint64_t(a)), &right = lists::itemAt(items, std::uint64_t(b));
  if (!left.isString() || !right.isString()) return failed(error, "Unable to merge; one of the items is not a string.");

  // The joining string goes only between two non-empty items.
  std::u16string merged(left.asString());
  if (!left.asString().empty() && !right.asString().empty()) {
    if (!joiner.isString()) doesNotAnswer(joiner, "length");
    merged += joiner.asString();
  }
  merged += right.asString();
  std::vector<Value> out(items.begin(), items.end());
  out[std::size_t(a)] = Value::string(merged);
  out.erase(out.begin() + b);
  return Value::list(std::move(out));
}

namespace {

template <class Matches>
Value positionsWhere(const Value& list, const Value& inverting, Matches matches) {
  std::span<const Value> items = lists::itemsOf(list);
  const bool invert = inverting.boolValue();
  std::vector<Value> found;
  for (std::size_t i = 0; i < items.size(); ++i)
    if (matches(items[i]) != invert) found.push_back(Value::integer(std::int64_t(i)));
  return Value::list(std::move(found));
}

}  // namespace

Value KRVForder::indexesOfItem_inArray_inverting_(const Value& item, const Value& list, const Value& inverting) {
  return positionsWhere(list, inverting, [&](const Value& v) { return v.equals(item); });
}

Value KRVForder::indexesOfItems_inArray_inverting_(const Value& items, const Value& list, const Value& inverting) {
  std::span<const Value> wanted = lists::itemsOf(items);
  // Equal values hash alike, so membership by equality is a set lookup.
  std::unordered_set<Value, ValueHash> set(wanted.begin(), wanted.end());
  return positionsWhere(list, inverting, [&](const Value& v) { return set.count(v) != 0; });
}

Value KRVForder::subarraysIn_asDictionariesUsingLabels_error_(const Value& table, const Value& labels,
                                                              CommandError* error) {
  if (!table.isList()) return failed(error, "Command requires a list of lists.");
  if (table.asList().empty()) return failed(error, "Empty list.");
  if (!labels.isNothing() && !labels.isList()) return failed(error, "Labels must be strings.");
  std::span<const Value> names = labels.isNothing() ? std::span<const Value>() : labels.asList();
  for (const Value& name : names)
    if (!name.isString()) return failed(error, "Labels must be strings.");
  std::vector<Value> records;
  records.reserve(table.asList().size());
  for (const Value& row : table.asList()) {
    if (!row.isList()) return failed(error, "List doesn't consist solely of lists.");
    std::span<const Value> items = row.asList();
    if (items.size() != names.size()) return failed(error, "Lists and label lists differ in length.");
    Record record;
    record.reserve(names.size());
    // A label given twice keeps the later item.
    for (std::size_t i = 0; i < names.size(); ++i) record.set(names[i], items[i]);
    records.push_back(Value::record(std::move(record)));
  }
  return Value::list(std::move(records));
}

Value KRVForder::subarraysFrom_usingKeys_outKeys_error_(const Value& records, const Value& keys, Value* outKeys,
                                                        CommandError* error) {
  std::span<const Value> items = records.isList() ? records.asList() : std::span<const Value>();
  Value used = keys;
  if (keys.isNothing() || (keys.isList() && keys.asList().empty())) {
    if (items.empty() || !items[0].isRecord()) return failed(error, "First list item is not a dictionary.");
    // The first record's keys, in the locale's case-insensitive order.
    std::vector<Value> names;
    for (const auto& entry : items[0].asRecord().entries()) names.push_back(entry.first);
    lists::SortLevels levels(names.size());
    levels.add(lists::Comparison::localizedCaseInsensitive, true,
               [&](std::size_t i, std::deque<Value>&) { return &names[i]; });
    std::vector<Value> sorted;
    sorted.reserve(names.size());
    for (std::uint32_t at : levels.order()) sorted.push_back(names[at]);
    used = Value::list(std::move(sorted));
  } else if (!keys.isList()) {
    doesNotAnswer(keys, "count");
  }
  if (!records.isList()) return failed(error, "List item is not a dictionary.");
  std::span<const Value> names = used.asList();
  std::vector<Value> rows;
  rows.reserve(items.size());
  for (const Value& item : items) {
    if (!item.isRecord()) return failed(error, "List item is not a dictionary.");
    std::vector<Value> row;
    row.reserve(names.size());
    for (const Value& name : names) {
      // A key that is not a string is a key no record holds.
      const Value* value = name.isString() ? item.asRecord().find(name.asString()) : nullptr;
      row.push_back(value ? *value : Value::null());
    }
    rows.push_back(Value::list(std::move(row)));
  }
  if (outKeys) *outKeys = used;
  return Value::list(std::move(rows));
}

Value KRVForder::arrayWithIndexSet_(const Value& indexSet) {
  if (indexSet.kind() != ValueKind::indexSet) doesNotAnswer(indexSet, "firstIndex");
  std::vector<Value> out;
  for (Range run : indexSet.asIndexSet().runs())
    for (std::uint64_t i = 0; i < run.length; ++i) out.push_back(Value::integer(std::int64_t(run.location + i)));
  return Value::list(std::move(out));
}

Value KRVForder::indexSetWithArray_(const Value& list) {
  IndexSet set;
  for (const Value& item : lists::itemsOf(list)) {
    if (!item.isNumber()) continue;  // skipped without a word
    // Negative numbers count by their absolute value on purpose (-3 adds 3).
    const std::int64_t n = item.integerValue();
    set.add(n < 0 ? 0 - std::uint64_t(n) : std::uint64_t(n));
  }
  return Value::indexSet(std::move(set));
}

Value KRVForder::arrayByAddingInteger_inArray_(const Value& offset, const Value& list) {
  if (!offset.isNumber() || !list.isList()) return Value();
  const std::uint64_t add = std::uint64_t(offset.integerValue());
  std::vector<Value> out;
  out.reserve(list.asList().size());
  for (const Value& item : list.asList()) {
    if (!item.isNumber()) return Value();
    // Reals are truncated first (2.7 + 1 is 3); sums wrap as 64-bit integers do.
    out.push_back(Value::integer(std::int64_t(std::uint64_t(item.integerValue()) + add)));
  }
  return Value::list(std::move(out));
}

}  // namespace tessaro
