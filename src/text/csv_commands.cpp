// The CSV and TSV commands and their registration.
#include "registry/subsystems.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"
#include "text/delimited_text.hpp"
#include "text/text_arguments.hpp"

namespace tessaro {

// No value unless the separator is exactly one UTF-16 code unit (a character
// outside the Basic Multilingual Plane is two).
Value KRVForder::arrayFromCSV_commaIs_(const Value& text, const Value& separator) {
  std::u16string_view sep = text::stringArgument(separator, "length");
  if (sep.size() != 1) return Value();
  return text::parseCsv(text::stringArgument(text, "length"), sep[0]);
}

Value KRVForder::arrayFromTSV_(const Value& text) {
  return text::parseTsv(text::stringArgument(text, "enumerateSubstringsInRange:options:usingBlock:"));
}

void registerCsvCommands(Registry& r) {
  r.add<&KRVForder::arrayFromCSV_commaIs_>("arrayFromCSV:commaIs:");
  r.add<&KRVForder::arrayFromTSV_>("arrayFromTSV:");
}

}  // namespace tessaro
