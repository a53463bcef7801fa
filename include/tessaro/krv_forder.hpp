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
