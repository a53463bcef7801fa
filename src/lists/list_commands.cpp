// Registers the list commands (src/lists/).
#include "registry/subsystems.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"

namespace tessaro {

void registerListCommands(Registry& r) {
  constexpr Visibility hidden = Visibility::privateOperation;
  // Reshaping.
  r.add<&KRVForder::subarraysIn_paddedWith_error_>("subarraysIn:paddedWith:error:");
  r.add<&KRVForder::colsToRowsIn_error_>("colsToRowsIn:error:");
  r.add<&KRVForder::arrayByFlattening_>("arrayByFlattening:");
  r.add<&KRVForder::arrayByFullyFlattening_>("arrayByFullyFlattening:");
  r.add<&KRVForder::KRV_arrayByFlattening_fully_>("KRV_arrayByFlattening:fully:", hidden);
  r.add<&KRVForder::KRV_addItemsWithinArray_to_>("KRV_addItemsWithinArray:to:", hidden);
  r.add<&KRVForder::subarraysFrom_groupedBy_error_>("subarraysFrom:groupedBy:error:");
  r.add<&KRVForder::subarraysIn_withItems_insertedAtIndex_error_>("subarraysIn:withItems:insertedAtIndex:error:");
  r.add<&KRVForder::arrayByInsertingItems_inArray_atIndex_error_>("arrayByInsertingItems:inArray:atIndex:error:");
  r.add<&KRVForder::arrayByMovingItemAt_toIndex_inArray_error_>("arrayByMovingItemAt:toIndex:inArray:error:");
  // Blanks, patterns, nulls and sums.
  r.add<&KRVForder::arrayByDeletingBlanksIn_>("arrayByDeletingBlanksIn:");
  r.add<&KRVForder::arrayByTrimmingTrailingBlanksFrom_>("arrayByTrimmingTrailingBlanksFrom:");
  r.add<&KRVForder::arrayByTrimmingBlanksFrom_>("arrayByTrimmingBlanksFrom:");
  r.add<&KRVForder::arrayWithPattern_startNumber_endNumber_minDigits_>(
      "arrayWithPattern:startNumber:endNumber:minDigits:");
  r.add<&KRVForder::arrayByReplacingNullsIn_withItem_>("arrayByReplacingNullsIn:withItem:");
  r.add<&KRVForder::sumMaxMinOf_error_>("sumMaxMinOf:error:");
  r.add<&KRVForder::KRV_itemIsAnEmpty_>("KRV_itemIsAnEmpty:", hidden);
  // Sorting tables by columns.
  r.add<&KRVForder::subarraysIn_sortedByIndexes_ascending_sortTypes_sortKeys_error_>(
      "subarraysIn:sortedByIndexes:ascending:sortTypes:sortKeys:error:");
  r.add<&KRVForder::subarraysIn_sortedByIndexes_ascending_sortTypes_error_>(
      "subarraysIn:sortedByIndexes:ascending:sortTypes:error:");
  // Merging, positions, records and index sets.
  r.add<&KRVForder::arrayByMergingTextAtIndexes_inArray_inserting_error_>(
      "arrayByMergingTextAtIndexes:inArray:inserting:error:");
  r.add<&KRVForder::indexesOfItem_inArray_inverting_>("indexesOfItem:inArray:inverting:");
  r.add<&KRVForder::indexesOfItems_inArray_inverting_>("indexesOfItems:inArray:inverting:");
  r.add<&KRVForder::subarraysIn_asDictionariesUsingLabels_error_>("subarraysIn:asDictionariesUsingLabels:error:");
  r.add<&KRVForder::subarraysFrom_usingKeys_outKeys_error_>("subarraysFrom:usingKeys:outKeys:error:");
  r.add<&KRVForder::arrayWithIndexSet_>("arrayWithIndexSet:");
  r.add<&KRVForder::indexSetWithArray_>("indexSetWithArray:");
  r.add<&KRVForder::arrayByAddingInteger_inArray_>("arrayByAddingInteger:inArray:");
  // Sorting and splitting by keys.
  r.add<&KRVForder::sortedArrayFrom_stableSort_usingSelector_target_>("sortedArrayFrom:stableSort:usingSelector:target:");
  r.add<&KRVForder::sortedArrayFrom_byKeys_>("sortedArrayFrom:byKeys:");
  r.add<&KRVForder::splitArray_byKey_sortKeys_>("splitArray:byKey:sortKeys:");
}

}  // namespace tessaro
