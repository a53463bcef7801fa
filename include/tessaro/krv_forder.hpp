// KRVForder: every command of the library as a class-level C++ member.
//
// Each member is named from its selector mechanically: every ':' becomes '_'
// ("arrayFromCSV:commaIs:" is arrayFromCSV_commaIs_). Arguments are Values in
// keyword order; a trailing `error:` part is a `CommandError*` (may be null),
// an `outKeys:` part a `Value*`. A member returns a Value (no value when the
// command gives none), a bool, or nothing. Private operations carry the prefix
// KRV_. The registry (tessaro/registry.hpp) maps each selector to its member;
// `tessaro list` prints them all.
#pragma once

#include "tessaro/errors.hpp"
#include "tessaro/value.hpp"

namespace tessaro {

class KRVForder {
 public:
  // --- Bridge: descriptors to host values ("fording out") -----------------
  // Options masks: bit 1 data, 2 dates, 4 files, 8 reals; a set bit leaves
  // that kind alone. Walkers go exactly one level into a list or record.
  static Value KRV_fordOut_(const Value& v);
  static Value KRV_fordItemOut_(const Value& v);
  static Value KRV_fordListItemsOut_(const Value& list);
  static Value KRV_fordRecordValuesOut_(const Value& record);
  static Value KRV_fordOut_options_(const Value& v, const Value& mask);
  static Value KRV_fordItemOut_options_(const Value& v, const Value& mask);
  static Value KRV_fordListItemsOut_options_(const Value& list, const Value& mask);
  static Value KRV_fordRecordValuesOut_options_(const Value& record, const Value& mask);
  static Value KRV_fordURLFromAlias_(const Value& descriptor);
  static Value KRV_fordURLFromFile_(const Value& descriptor);
  static Value KRV_fordDateFromASDate_(const Value& descriptor);
  static Value KRV_fordNSDataFromASData_(const Value& descriptor);

  // --- Bridge: host values to descriptors ("fording in") ------------------
  static Value KRV_fordIn_(const Value& v);
  static Value KRV_fordItemIn_(const Value& v);
  static Value KRV_fordListItemsIn_(const Value& list);
  static Value KRV_fordRecordValuesIn_(const Value& record);
  static Value KRV_fordIn_options_(const Value& v, const Value& mask);
  static Value KRV_fordItemIn_options_(const Value& v, const Value& mask);
  static Value KRV_fordListItemsIn_options_(const Value& list, const Value& mask);
  static Value KRV_fordRecordValuesIn_options_(const Value& record, const Value& mask);
  static Value KRV_fordDateFromNSDate_(const Value& date);
  static Value KRV_fordASDataFromNSData_(const Value& data);

  // --- Bridge commands ------------------------------------------------------
  static Value CocoaifyFrom_(const Value& v);
  static Value CocoaifyFrom_forTypes_(const Value& v, const Value& types);
  static Value ASifyFrom_(const Value& v);
  static Value ASifyFrom_forTypes_(const Value& v, const Value& types);
  static Value ASifyInListFrom_(const Value& v);
  static Value ASifyInListFrom_forTypes_(const Value& v, const Value& types);
  static Value frameworkVersion();  // the library's short version string
  static Value frameworkDate();     // build date and time, "Apr 24 2016, 22:32:38"
  static void fordEvent();          // no host event queue on Linux: returns at once

  // --- File references and HFS paths -----------------------------------------
  static Value URLFrom_(const Value& v);
  static Value URLsFrom_(const Value& list);
  static Value fileFromURL_(const Value& url);
  static Value HFSPathFromURL_(const Value& url);
  static Value HFSPathFromURL_colonForPackages_(const Value& url, const Value& colonForPackages);
  static Value KRV_fordURLFromHFSPath_(const Value& hfsPath);

  // --- Dates ------------------------------------------------------------------
  static Value datesFromStrings_format_(const Value& strings, const Value& format);
  static Value stringsFromDates_format_(const Value& dates, const Value& format);
  static Value dateValuesFrom_(const Value& date);       // era, year, month, day
  static Value extraDateValuesFrom_(const Value& date);  // era, year for week, week, weekday
  static Value timeValuesFrom_(const Value& date);       // hour, minute, second, nanosecond
  static Value KRV_fordDateFromString_(const Value& string);
  // --- Text: CSV and TSV --------------------------------------------------------
  static Value arrayFromCSV_commaIs_(const Value& text, const Value& separator);
  static Value arrayFromTSV_(const Value& text);

  // --- Text: regular expressions ------------------------------------------------
  // Patterns are ICU regular expressions; options are letters i, x, s, m, w.
  static Value findFirstMatch_inString_options_(const Value& pattern, const Value& text, const Value& options);
  static Value findFirstMatchRecord_inString_options_(const Value& pattern, const Value& text, const Value& options);
  static Value findMatches_inString_options_(const Value& pattern, const Value& text, const Value& options);
  static Value findMatchRecords_inString_options_(const Value& pattern, const Value& text, const Value& options);
  static Value findMatches_inString_options_captureGroups_(const Value& pattern, const Value& text,
                                                           const Value& options, const Value& groups);
  static Value findMatchRecords_inString_options_captureGroups_(const Value& pattern, const Value& text,
                                                                const Value& options, const Value& groups);
  static Value KRV_parseRegexOptionsString_(const Value& options);

  // --- Text: string transformations ---------------------------------------------
  // Each takes a string or a list of items and answers in kind.
  static Value transformedFrom_ICUTransform_inverse_(const Value& v, const Value& identifier, const Value& inverse);
  static Value encodedXMLFrom_(const Value& v);
  static Value unencodedForXMLFrom_(const Value& v);
  static Value encodedHexFrom_(const Value& v);
  static Value encodedDecimalFrom_(const Value& v);
  static Value decodedDecimalFrom_(const Value& v);
  static Value MD5From_(const Value& v);
  static Value smartQuotedFrom_(const Value& v);
  static Value unsmartQuotedFrom_(const Value& v);
  static Value emptyLineFreeFrom_(const Value& v);
  static Value cleanSpacedFrom_(const Value& v);
  static Value KRV_stringOrListFrom_makingIt_(const Value& v, const Value& code);
  static Value KRV_stringFrom_makingIt_(const Value& string, const Value& code);
  static Value KRV_stringFrom_ICUTransform_inverse_(const Value& string, const Value& identifier,
                                                    const Value& inverse);

  // --- Text: segmentation ----------------------------------------------------
  // Lines and paragraphs end at their separators; composed characters, words
  // and sentences follow ICU's break iterators (root locale, or the process's
  // default locale for the localized members). Positions and lengths are in
  // UTF-16 code units from 0. rangesOf… members give boxed ranges, …RangesOf…
  // members two-integer lists.
  static Value linesOfString_(const Value& text);
  static Value paragraphsOfString_(const Value& text);
  static Value charactersOfString_(const Value& text);
  static Value sentencesOfString_(const Value& text);
  static Value localizedSentencesOfString_(const Value& text);
  static Value wordsOfString_(const Value& text);
  static Value localizedWordsOfString_(const Value& text);
  static Value rangesOfCharactersOfString_(const Value& text);
  static Value rangesOfWordsOfString_(const Value& text);
  static Value rangesOfLocalizedWordsOfString_(const Value& text);
  static Value rangesOfSentencesOfString_(const Value& text);
  static Value rangesOfLocalizedSentencesOfString_(const Value& text);
  static Value rangesOfParagraphsOfString_(const Value& text);
  static Value rangesOfLinesOfString_(const Value& text);
  static Value lineRangesOfString_(const Value& text);
  static Value paragraphRangesOfString_(const Value& text);
  static Value characterRangesOfString_(const Value& text);
  static Value sentenceRangesOfString_(const Value& text);
  static Value localizedSentenceRangesOfString_(const Value& text);
  static Value wordRangesOfString_(const Value& text);
  static Value localizedWordRangesOfString_(const Value& text);
  static Value characterCountOfString_(const Value& text);
  static Value sentenceCountOfString_(const Value& text);
  static Value localizedSentenceCountOfString_(const Value& text);
  static Value wordCountOfString_(const Value& text);
  static Value localizedWordCountOfString_(const Value& text);
  static Value paragraphCountOfString_(const Value& text);
  static Value lineCountOfString_(const Value& text);
  // Every non-overlapping occurrence, left to right. Options are the host's
  // comparison bits: 1 case-insensitive, 2 literal, 4 backwards, 8 anchored,
  // 64 numeric, 128 diacritic-insensitive, 256 width-insensitive, 1024
  // regular expression; the locale is a "$locale" object or no value.
  static Value stringsOfString_inString_options_(const Value& search, const Value& text, const Value& options);
  static Value stringsOfString_inString_options_locale_(const Value& search, const Value& text, const Value& options,
                                                        const Value& locale);
  static Value rangesOfString_inString_options_(const Value& search, const Value& text, const Value& options);
  static Value rangesOfString_inString_options_locale_(const Value& search, const Value& text, const Value& options,
                                                       const Value& locale);

  // --- Text: composed-character offsets ------------------------------------
  // Character indexes count composed characters from 1; positions are UTF-16
  // offsets from 0; 9223372036854775807 (NSNotFound) is "no such position".
  static Value locationOfCharacterAt_inString_(const Value& index, const Value& text);
  static Value rangeOfCharacterAt_inString_(const Value& index, const Value& text);
  static Value offsetOfLocation_inString_(const Value& location, const Value& text);
  static Value offsetsOfRange_inString_(const Value& range, const Value& text);

  // --- Lists: reshaping ---------------------------------------------------------
  // Positions count from 0. Commands with an `error:` part fill it with
  // domain "KRVErrorDomain", code -10000 and a fixed message.
  static Value subarraysIn_paddedWith_error_(const Value& table, const Value& filler, CommandError* error);
  static Value colsToRowsIn_error_(const Value& table, CommandError* error);
  static Value arrayByFlattening_(const Value& list);
  static Value arrayByFullyFlattening_(const Value& list);
  static Value KRV_arrayByFlattening_fully_(const Value& list, const Value& fully);
  // Values are immutable, so the growing result comes back as a new list:
  // `result`'s items followed by every non-list leaf of `list`.
  static Value KRV_addItemsWithinArray_to_(const Value& list, const Value& result);
  static Value subarraysFrom_groupedBy_error_(const Value& list, const Value& size, CommandError* error);
  static Value subarraysIn_withItems_insertedAtIndex_error_(const Value& table, const Value& items, const Value& index,
                                                           CommandError* error);
  static Value arrayByInsertingItems_inArray_atIndex_error_(const Value& items, const Value& list, const Value& index,
                                                           CommandError* error);
  static Value arrayByMovingItemAt_toIndex_inArray_error_(const Value& from, const Value& to, const Value& list,
                                                         CommandError* error);

  // --- Lists: blanks, patterns, nulls and sums ---------------------------------
  static Value arrayByDeletingBlanksIn_(const Value& list);
  static Value arrayByTrimmingTrailingBlanksFrom_(const Value& list);
  static Value arrayByTrimmingBlanksFrom_(const Value& list);
  static Value arrayWithPattern_startNumber_endNumber_minDigits_(const Value& pattern, const Value& start,
                                                                const Value& end, const Value& minDigits);
  static Value arrayByReplacingNullsIn_withItem_(const Value& list, const Value& item);
  static Value sumMaxMinOf_error_(const Value& list, CommandError* error);
  static bool KRV_itemIsAnEmpty_(const Value& item);

  // --- Lists: sorting tables by columns ------------------------------------------
  static Value subarraysIn_sortedByIndexes_ascending_sortTypes_sortKeys_error_(const Value& table,
                                                                             const Value& indexes,
                                                                             const Value& ascending,
                                                                             const Value& sortTypes,
                                                                             const Value& sortKeys,
                                                                             CommandError* error);
  static Value subarraysIn_sortedByIndexes_ascending_sortTypes_error_(const Value& table, const Value& indexes,
                                                                    const Value& ascending, const Value& sortTypes,
                                                                    CommandError* error);

  // --- Lists: merging, positions, records and index sets -------------------------
  static Value arrayByMergingTextAtIndexes_inArray_inserting_error_(const Value& positions, const Value& list,
                                                                   const Value& joiner, CommandError* error);
  static Value indexesOfItem_inArray_inverting_(const Value& item, const Value& list, const Value& inverting);
  static Value indexesOfItems_inArray_inverting_(const Value& items, const Value& list, const Value& inverting);
  static Value subarraysIn_asDictionariesUsingLabels_error_(const Value& table, const Value& labels,
                                                          CommandError* error);
  static Value subarraysFrom_usingKeys_outKeys_error_(const Value& records, const Value& keys, Value* outKeys,
                                                     CommandError* error);
  static Value arrayWithIndexSet_(const Value& indexSet);
  static Value indexSetWithArray_(const Value& list);
  static Value arrayByAddingInteger_inArray_(const Value& offset, const Value& list);

  // --- Lists: sorting and splitting by keys ----------------------------------------
  static Value sortedArrayFrom_stableSort_usingSelector_target_(const Value& list, const Value& stable,
                                                               const Value& selector, const Value& target);
  static Value sortedArrayFrom_byKeys_(const Value& list, const Value& keys);
  static Value splitArray_byKey_sortKeys_(const Value& list, const Value& key, const Value& sortKeys);
  // --- Numbers ------------------------------------------------------------
  // Each function takes a number or a list of numbers (one level deep) and
  // answers "doub" descriptors, so that a whole result stays a real; a NaN
  // result is no value, or null in a list.
  static Value sinValueOf_(const Value& v);
  static Value cosValueOf_(const Value& v);
  static Value tanValueOf_(const Value& v);
  static Value asinValueOf_(const Value& v);
  static Value acosValueOf_(const Value& v);
  static Value atanValueOf_(const Value& v);
  static Value sinhValueOf_(const Value& v);
  static Value coshValueOf_(const Value& v);
  static Value tanhValueOf_(const Value& v);
  static Value asinhValueOf_(const Value& v);
  static Value acoshValueOf_(const Value& v);
  static Value atanhValueOf_(const Value& v);
  static Value logValueOf_(const Value& v);
  static Value log10ValueOf_(const Value& v);
  static Value hexValueOf_(const Value& v);  // "%lx" of the integer value

  // --- Graphics paths -----------------------------------------------------
  // Host bezier paths ("$bezier") as anchor points with their handles: as
  // host values, or as the path record descriptors of the two vector-drawing
  // applications. Plus the dash of a path and the components of a colour.
  static Value pathOfBezier_(const Value& bezier);
  static Value bezierForAI_(const Value& bezier);
  static Value bezierForID_(const Value& bezier);
  static Value KRV_descriptorForArrayOfReals_(const Value& numbers);
  static Value lineDashCountAndPhaseOfBezier_(const Value& bezier);
  static Value componentsOfColor_(const Value& color);

  // --- System services: keychain passwords ------------------------------------
  // A password from the Secret Service, or no value. Argument errors fill
  // the library's bundle-identifier domain with code 10000; lookup failures
  // "NSCocoaErrorDomain" with the keychain status as code. The keychain path
  // names one collection by keyring file, object path, alias or label.
  static Value passForGenericItem_account_error_(const Value& name, const Value& account, CommandError* error);
  static Value passForGenericItem_account_keychainPath_error_(const Value& name, const Value& account,
                                                             const Value& keychainPath, CommandError* error);
  static Value passForInternetItem_account_server_path_port_error_(const Value& name, const Value& account,
                                                                  const Value& server, const Value& path,
                                                                  const Value& port, CommandError* error);
  static Value passForInternetItem_account_server_path_port_keychainPath_error_(
      const Value& name, const Value& account, const Value& server, const Value& path, const Value& port,
      const Value& keychainPath, CommandError* error);
  static Value KRV_passForKeychainItem_account_server_path_port_isInternet_keychainPath_error_(
      const Value& name, const Value& account, const Value& server, const Value& path, const Value& port,
      const Value& isInternet, const Value& keychainPath, CommandError* error);

  // --- System services: metadata search -------------------------------------
  // A predicate query over live folder trees; the sorted paths of the
  // matching items, or no value with an error in the bundle-identifier
  // domain, code 10000.
  static Value runSpotlightQuery_queryValues_inFolders_error_(const Value& query, const Value& values,
                                                              const Value& folders, CommandError* error);
  static Value runSpotlightQuery_inFolders_error_(const Value& query, const Value& folders, CommandError* error);
  // A record of every metadata attribute of a file, or no value.
  static Value spotlightDataFor_(const Value& file);

  // --- System services: keyboard input sources --------------------------------
  // The sources are the IBus engines: enabled ones are those the IBus enabled
  // list (GSettings preload-engines) names, the current one is the global
  // engine. Without a reachable IBus: empty lists, no value, false.
  static Value availableInputSourceIDs();
  static Value allAvailableInputSourceIDs();
  static bool changeInputSourceTo_(const Value& identifier);
  static Value currentKeyboardInputSourceID();
  static Value currentKeyboardLayoutInputSourceID();
  // --- Files: folder enumeration and resource values ---------------------------
  // Folders and items are file references (anything URLFrom: accepts). Keys
  // are resource-key names ("NSURLIsDirectoryKey" …); records are keyed by
  // the script's own key strings. Short forms skip hidden items and package
  // contents. Packages count as files, never as folders.
  static Value resourceValueForKey_forURLsOrFiles_(const Value& key, const Value& items);
  static Value resourceValuesForKeys_forURLsOrFiles_(const Value& keys, const Value& items);
  static Value resourceValuesForKeys_forItemsIn_recursive_skipHidden_skipInsidePackages_(
      const Value& keys, const Value& folder, const Value& recursive, const Value& skipHidden,
      const Value& skipInsidePackages);
  static Value resourceValuesForKeys_forItemsIn_recursive_(const Value& keys, const Value& folder,
                                                           const Value& recursive);
  static Value resourceValuesForKeys_forFilesIn_recursive_skipHidden_skipInsidePackages_(
      const Value& keys, const Value& folder, const Value& recursive, const Value& skipHidden,
      const Value& skipInsidePackages);
  static Value resourceValuesForKeys_forFilesIn_recursive_(const Value& keys, const Value& folder,
                                                           const Value& recursive);
  static Value resourceValuesForKeys_forFoldersIn_recursive_skipHidden_skipInsidePackages_(
      const Value& keys, const Value& folder, const Value& recursive, const Value& skipHidden,
      const Value& skipInsidePackages);
  static Value resourceValuesForKeys_forFoldersIn_recursive_(const Value& keys, const Value& folder,
                                                             const Value& recursive);
  static Value itemsIn_recursive_skipHidden_skipInsidePackages_asPaths_(const Value& folder, const Value& recursive,
                                                                       const Value& skipHidden,
                                                                       const Value& skipInsidePackages,
                                                                       const Value& asPaths);
  static Value itemsIn_recursive_asPaths_(const Value& folder, const Value& recursive, const Value& asPaths);
  static Value filesIn_recursive_skipHidden_skipInsidePackages_asPaths_(const Value& folder, const Value& recursive,
                                                                       const Value& skipHidden,
                                                                       const Value& skipInsidePackages,
                                                                       const Value& asPaths);
  static Value filesIn_recursive_asPaths_(const Value& folder, const Value& recursive, const Value& asPaths);
  static Value foldersIn_recursive_skipHidden_skipInsidePackages_asPaths_(const Value& folder, const Value& recursive,
                                                                         const Value& skipHidden,
                                                                         const Value& skipInsidePackages,
                                                                         const Value& asPaths);
  static Value foldersIn_recursive_asPaths_(const Value& folder, const Value& recursive, const Value& asPaths);
  static Value pathsIn_recursive_(const Value& folder, const Value& recursive);  // folders end with "/"
  static Value KRV_folderSizeOfURL_(const Value& url);  // sizes summed over everything inside
  static Value KRV_trimNSURLKeysInDictionary_(const Value& record);  // "NSURLIsDirectoryKey" → "isDirectory"

  // --- Files: copy and move ------------------------------------------------------
  // The destination is the full path of the new item. With `replace`, an
  // existing item there is swapped out atomically; errors are the platform's
  // ("NSCocoaErrorDomain", 516 for an existing item) or, for arguments that
  // name no file, the bundle identifier's with code 10000.
  static bool copyItemAt_toItem_replace_error_(const Value& source, const Value& destination, const Value& replace,
                                               CommandError* error);
  static bool moveItemAt_toItem_replace_error_(const Value& source, const Value& destination, const Value& replace,
                                               CommandError* error);

  // --- Files: file information and image metadata --------------------------------
  static Value infoForFile_(const Value& file);      // 28 attributes under trimmed names; {} when unreadable
  static Value sizeInfoForFile_(const Value& file);  // sizes in bytes, summed over a folder's contents
  // The properties of the first image in the file; "KRVErrorDomain" -10000
  // errors "No such file found.", "Image could not be read.", "No metadata found.".
  static Value metadataFromImage_error_(const Value& image, CommandError* error);
  static Value UTIForExtension_(const Value& extension);  // declared or "dyn.a…" identifier
};

}  // namespace tessaro
