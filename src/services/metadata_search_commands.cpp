// The metadata search commands and their registration: a predicate query
// over folders and predefined scopes with a time limit, and the record of
// one file's metadata attributes.
#include <algorithm>
#include <string>
#include <vector>

#include "files/file_arguments.hpp"
#include "platform/file_attributes.hpp"
#include "platform/metadata_attributes.hpp"
#include "registry/subsystems.hpp"
#include "services/metadata_search.hpp"
#include "services/predicate.hpp"
#include "tessaro/errors.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"

namespace tessaro {

namespace {

constexpr std::int64_t kArgumentErrorCode = 10000;

Value failQuery(CommandError* error, std::string_view message) {
  fail(error, bundleIdentifier(), kArgumentErrorCode, message);
  return Value();
}

// The substitution values with each "ldt " descriptor turned into a date.
std::vector<Value> substitutionValues(const Value& values) {
  std::vector<Value> out;
  if (values.isNothing()) return out;
  if (!values.isList()) return {values};
  for (const Value& v : values.asList()) {
    if (v.isDescriptor() && v.asDescriptor().type() == codes::longDateTime)
      out.push_back(KRVForder::KRV_fordDateFromASDate_(v));
    else
      out.push_back(v);
  }
  return out;
}

// UTF-8 byte order is UTF-16 code-unit order except that UTF-16 puts
// U+E000…U+FFFF (lead bytes EE, EF) after the supplementary planes (lead
// bytes F0…F4); at the first differing byte those lead bytes are reordered.
int utf16OrderKey(unsigned char b) {
  if (b == 0xEE || b == 0xEF) return b + 7;
  if (b >= 0xF0 && b <= 0xF4) return b - 2;
  return b;
}
bool utf16Less(const std::string& a, const std::string& b) {
  std::size_t n = std::min(a.size(), b.size());
  std::size_t i = 0;
  while (i < n && a[i] == b[i]) ++i;
  if (i == n) return a.size() < b.size();
  return utf16OrderKey((unsigned char)a[i]) < utf16OrderKey((unsigned char)b[i]);
}

// Paths as sorted strings: by UTF-16 code units, case-sensitive. Paths with
// no byte at or above 0xEE sort the same by their bytes, so they are sorted
// with a plain byte comparison; ASCII-only paths are valid UTF-8 and need no
// second look after decoding.
Value sortedPathList(std::vector<std::string> paths) {
  bool ascii = true, byteOrder = true;
  for (const std::string& p : paths) {
    for (char c : p) {
      const unsigned char b = (unsigned char)c;
      ascii = ascii && b < 0x80;
      byteOrder = byteOrder && b < 0xEE;
    }
    if (!byteOrder) break;
  }
  if (byteOrder)
    std::sort(paths.begin(), paths.end());
  else
    std::sort(paths.begin(), paths.end(), utf16Less);
  std::vector<Value> out;
  out.reserve(paths.size());
  for (const std::string& p : paths) out.push_back(Value::fromUtf8(p));
  if (ascii) return Value::list(std::move(out));
  // Ill-formed names decode with replacement characters, which may sort
  // differently from their bytes: those lists are sorted again as strings.
  if (!std::is_sorted(out.begin(), out.end(), [](const Value& a, const Value& b) { return a.asString() < b.asString(); }))
    std::sort(out.begin(), out.end(), [](const Value& a, const Value& b) { return a.asString() < b.asString(); });
  return Value::list(std::move(out));
}

}  // namespace

Value KRVForder::runSpotlightQuery_queryValues_inFolders_error_(const Value& query, const Value& values,
                                                                const Value& folders, CommandError* error) {
  services::Clock::time_point deadline = services::Clock::now() + services::queryTimeLimit();
  std::optional<services::PredicateNode> predicate;
  if (query.isString()) predicate = services::parsePredicate(query.asString(), substitutionValues(values));
  if (!predicate) return failQuery(error, "Invalid query string.");
  if (!folders.isList() || folders.asList().empty()) return failQuery(error, "No search folders specified.");

  std::vector<std::string> roots;
  for (const Value& item : folders.asList()) {
    if (item.isString() && item.asString().starts_with(u"kMDQueryScope")) {
      for (std::string& f : services::foldersOfScopeName(item.asString())) roots.push_back(std::move(f));
      continue;
    }
    // Items that name no folder are dropped without a word.
    if (std::optional<std::string> path = files::pathFromReference(item)) roots.push_back(std::move(*path));
  }
  std::optional<std::vector<std::string>> found = services::searchFolders(*predicate, roots, deadline);
  if (!found) return failQuery(error, "Query timed out.");
  return sortedPathList(std::move(*found));
}

Value KRVForder::runSpotlightQuery_inFolders_error_(const Value& query, const Value& folders, CommandError* error) {
  return runSpotlightQuery_queryValues_inFolders_error_(query, Value(), folders, error);
}

// The query on the file's name within its parent folder's tree; with the
// name repeated deeper down, the first of the sorted matches answers.
Value KRVForder::spotlightDataFor_(const Value& file) {
  services::Clock::time_point deadline = services::Clock::now() + services::queryTimeLimit();
  if (file.isNothing()) return Value();
  std::optional<std::string> path = files::pathFromReference(file);
  if (!path) return Value();
  while (path->size() > 1 && path->ends_with('/')) path->pop_back();
  std::string name(platform::lastPathComponent(*path));
  std::string parent(platform::parentOfPath(*path));
  if (name.empty() || parent.empty()) return Value();
  std::optional<services::PredicateNode> predicate =
      services::parsePredicate(u"kMDItemFSName == %@", {Value::fromUtf8(name)});
  if (!predicate) return Value();
  std::optional<std::vector<std::string>> found = services::searchFolders(*predicate, {parent}, deadline);
  if (!found || found->empty()) return Value();
  Value sorted = sortedPathList(std::move(*found));
  std::string first = sorted.asList()[0].toUtf8();
  platform::MetadataItem item(first, 0 /* DT_UNKNOWN: look */);
  Record record;
  for (auto& [key, value] : item.allAttributes()) record.set(key, std::move(value));
  return Value::record(std::move(record));
}

void registerMetadataSearchCommands(Registry& r) {
  r.add<&KRVForder::runSpotlightQuery_queryValues_inFolders_error_>("runSpotlightQuery:queryValues:inFolders:error:");
  r.add<&KRVForder::runSpotlightQuery_inFolders_error_>("runSpotlightQuery:inFolders:error:");
  r.add<&KRVForder::spotlightDataFor_>("spotlightDataFor:");
}

}  // namespace tessaro
