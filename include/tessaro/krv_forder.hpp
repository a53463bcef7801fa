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
};

}  // namespace tessaro
