// Sorting the rows of a table by columns, each column with its own
// direction, comparison and property key. The rows themselves are shared
// with the argument; only their order is new.
#include "lists/key_lookup.hpp"
#include "lists/list_support.hpp"
#include "lists/sort_levels.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {

using lists::failed;

namespace {

// The entries of an optional per-level list, or `fallback` alone when it is
// absent or empty. Anything else that is not a list does not answer.
std::vector<Value> entriesOr(const Value& list, const Value& fallback) {
  if (list.isNothing() || (list.isList() && list.asList().empty())) return {fallback};
  std::span<const Value> items = lists::itemsOf(list);
  return {items.begin(), items.end()};
}

// Repeats the last entry until there are `n`; entries beyond `n` are unused.
void lengthen(std::vector<Value>& entries, std::size_t n) {
  while (entries.size() < n) entries.push_back(entries.back());
}

}  // namespace

Value KRVForder::subarraysIn_sortedByIndexes_ascending_sortTypes_sortKeys_error_(const Value& table,
                                                                                 const Value& indexes,
                                                                                 const Value& ascending,
                                                                                 const Value& sortTypes,
                                                                                 const Value& sortKeys,
                                                                                 CommandError* error) {
  if (!table.isList()) return failed(error, "Command requires a list.");
  // Only counted at this point, not checked.
  std::span<const Value> columns = indexes.isNothing() ? std::span<const Value>() : lists::itemsOf(indexes);
  if (columns.empty()) return failed(error, "Indexes list is empty.");
  // Each index entry's need, read once: how many items a row must have,
  // or 0 for an entry that is not a number. Unsigned on purpose: -1 plus one
  // is 0 and passes, and then fails as a range failure when the sort reaches
  // for the item.
  std::vector<std::uint64_t> needs;
  needs.reserve(columns.size());
  for (const Value& column : columns) needs.push_back(column.isNumber() ? std::uint64_t(column.integerValue()) + 1 : 0);
  std::span<const Value> rows = table.asList();
  std::vector<const void*> bodies;
  bodies.reserve(rows.size());
  for (const Value& row : rows) {
    if (!row.isList()) return failed(error, "List item is not a list.");
    std::span<const Value> items = row.asList();
    bodies.push_back(items.data());
    for (std::size_t c = 0; c < columns.size(); ++c) {
      if (!columns[c].isNumber()) return failed(error, "Index list entry is not a number.");
      if (needs[c] > items.size()) return failed(error, "Sublist has fewer items than in sort indexes list.");
    }
  }

  const std::size_t n = columns.size();
  std::vector<Value> keys = entriesOr(sortKeys, Value::string(u"self"));
  for (Value& key : keys)
    if (!key.isString()) key = Value::string(u"self");
  std::vector<Value> directions = entriesOr(ascending, Value::boolean(true));
  for (const Value& direction : directions)
    if (!direction.isNumber()) return failed(error, "List item is not a number.");
  std::vector<Value> types = entriesOr(sortTypes, Value::string(u"compare:"));
  lengthen(keys, n);
  lengthen(directions, n);
  lengthen(types, n);

  lists::SortLevels levels(rows.size());
  for (std::size_t i = 0; i < n; ++i) {
    if (!columns[i].isNumber()) doesNotAnswer(columns[i], "unsignedIntegerValue");
    const std::uint64_t column = std::uint64_t(columns[i].integerValue());
    const lists::Comparison comparison = lists::comparisonNamed(types[i]);
    const Value& key = keys[i];
    const bool self = lists::isSelfKey(key);
    lists::SortLevels::ValueOf valueOf = [&, column, comparison, self](std::size_t r,
                                                                       std::deque<Value>& keep) -> const Value* {
      const Value& row = rows[r];
      // The string comparisons look the key up on the whole row first and
      // then again on the item, so a key other than "self" is applied twice
      // for them and once for "compare:". Kept as it is on purpose.
      if (self) return &lists::itemAt(row.asList(), column);
      if (!lists::comparesStrings(comparison)) return &keep.emplace_back(lists::valueForKey(lists::itemAt(row.asList(), column), key));
      Value rowLevel = lists::valueForKey(row, key);
      return &keep.emplace_back(lists::valueForKey(lists::itemAt(rowLevel.asList(), column), key));
    };
    levels.add(comparison, directions[i].boolValue(), valueOf);
  }

  return lists::itemsInOrder(rows, levels.order(), bodies);
}

Value KRVForder::subarraysIn_sortedByIndexes_ascending_sortTypes_error_(const Value& table, const Value& indexes,
                                                                        const Value& ascending, const Value& sortTypes,
                                                                        CommandError* error) {
  return subarraysIn_sortedByIndexes_ascending_sortTypes_sortKeys_error_(
      table, indexes, ascending, sortTypes, Value::list({Value::string(u"self")}), error);
}

}  // namespace tessaro
