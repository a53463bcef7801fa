// Sorting lists of records (or of any values that answer key lookups): with
// a comparison handler of the calling script, by a list of keys, and
// splitting into groups that share one key's value.
#include <algorithm>
#include <unordered_map>

#include "lists/key_lookup.hpp"
#include "lists/list_support.hpp"
#include "lists/sort_levels.hpp"
#include "tessaro/host_objects.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {

namespace {

// A stable merge sort of positions that stays within its ranges whatever
// the comparison answers: a script's handler need not be consistent.
template <class Less>
void mergeSort(std::vector<std::uint32_t>& v, std::vector<std::uint32_t>& scratch, std::size_t lo, std::size_t hi,
               Less& less) {
  if (hi - lo < 2) return;
  const std::size_t mid = lo + (hi - lo) / 2;
  mergeSort(v, scratch, lo, mid, less);
  mergeSort(v, scratch, mid, hi, less);
  std::size_t i = lo, j = mid, out = lo;
  while (i < mid && j < hi) scratch[out++] = less(v[j], v[i]) ? v[j++] : v[i++];
  while (i < mid) scratch[out++] = v[i++];
  while (j < hi) scratch[out++] = v[j++];
  std::copy(scratch.begin() + std::ptrdiff_t(lo), scratch.begin() + std::ptrdiff_t(hi), v.begin() + std::ptrdiff_t(lo));
}

// One ascending natural-ordering level per key; no value sorts first.
void addKeyLevels(lists::SortLevels& levels, std::span<const Value> items, std::span<const Value> keys) {
  for (const Value& key : keys) {
    const bool self = lists::isSelfKey(key);
    levels.add(
        lists::Comparison::natural, true,
        [&, self](std::size_t i, std::deque<Value>& keep) -> const Value* {
          return self ? &items[i] : &keep.emplace_back(lists::valueForKey(items[i], key));
        },
        true);
  }
}

Value sortedByKeys(std::span<const Value> items, std::span<const Value> keys) {
  lists::SortLevels levels(items.size());
  addKeyLevels(levels, items, keys);
  std::vector<Value> out;
  out.reserve(items.size());
  for (std::uint32_t at : levels.order()) out.push_back(items[at]);
  return Value::list(std::move(out));
}

}  // namespace

Value KRVForder::sortedArrayFrom_stableSort_usingSelector_target_(const Value& list, const Value& stable,
                                                                  const Value& selector, const Value& target) {
  (void)stable;  // the sort is stable either way; unstable promises nothing
  if (!list.isList() || !selector.isString()) return Value();
  // Two arguments: exactly two colons, as in "compareItem:withItem:".
  const std::u16string_view name = selector.asString();
  if (std::count(name.begin(), name.end(), u':') != 2) return Value();
  const std::string handler = selector.toUtf8();
  const auto* script = target.objectAs<ScriptTarget>();

  std::span<const Value> items = list.asList();
  auto less = [&](std::uint32_t a, std::uint32_t b) {
    if (!script) doesNotAnswer(target, handler);
    const Value args[] = {items[a], items[b]};
    return script->call(handler, args).integerValue() < 0;
  };
  std::vector<std::uint32_t> order(items.size()), scratch(items.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = std::uint32_t(i);
  mergeSort(order, scratch, 0, order.size(), less);
  std::vector<Value> out;
  out.reserve(items.size());
  for (std::uint32_t at : order) out.push_back(items[at]);
  return Value::list(std::move(out));
}

Value KRVForder::sortedArrayFrom_byKeys_(const Value& list, const Value& keys) {
  if (!list.isList() || !keys.isList() || keys.asList().empty()) return Value();
  return sortedByKeys(list.asList(), keys.asList());
}

Value KRVForder::splitArray_byKey_sortKeys_(const Value& list, const Value& key, const Value& sortKeys) {
  if (!list.isList()) return Value();
  std::span<const Value> items = list.asList();
  std::vector<Value> keyValues;  // distinct, in order of first appearance
  std::vector<std::vector<Value>> groups;
  std::vector<Value> leftover;
  std::unordered_map<Value, std::size_t, ValueHash> groupOf;
  for (const Value& item : items) {
    Value found;
    try {
      found = lists::valueForKey(item, key);
    } catch (const HostFailure&) {
      // Only the lookup's own failure is caught: the item has no such key.
    }
    if (found.isNothing()) {
      leftover.push_back(item);
      continue;
    }
    auto [at, isNew] = groupOf.try_emplace(found, groups.size());
    if (isNew) {
      keyValues.push_back(found);
      groups.emplace_back();
    }
    groups[at->second].push_back(item);
  }

  const std::span<const Value> levelKeys = sortKeys.isNothing() ? std::span<const Value>() : lists::itemsOf(sortKeys);
  auto arranged = [&](const std::vector<Value>& group) {
    return levelKeys.empty() ? Value::list(group) : sortedByKeys(group, levelKeys);
  };

  lists::SortLevels keyOrder(keyValues.size());
  keyOrder.add(lists::Comparison::natural, true,
               [&](std::size_t i, std::deque<Value>&) -> const Value* { return &keyValues[i]; });
  std::vector<Value> result;
  result.reserve(groups.size() + 2);
  for (std::uint32_t at : keyOrder.order()) result.push_back(arranged(groups[at]));
  if (!leftover.empty()) {
    // The leftover group comes twice: arranged like the others, then once
    // more in input order. Kept as it is on purpose.
    result.push_back(arranged(leftover));
    result.push_back(Value::list(leftover));
  }
  return Value::list(std::move(result));
}

}  // namespace tessaro
