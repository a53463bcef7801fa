// File references: the many ways a script names a file (POSIX paths, "~"
// paths, HFS paths, urls, and "alis", "bmrk" and "furl" descriptors) fold
// into one file url, and urls convert back to "furl" descriptors and HFS
// paths.
#include <optional>
#include <string>
#include <vector>

#include "bridge/fording_walk.hpp"
#include "platform/file_paths.hpp"
#include "tessaro/krv_forder.hpp"

namespace tessaro {

Value KRVForder::URLFrom_(const Value& v) {
  if (v.isDescriptor()) {
    switch (v.asDescriptor().type()) {
      case codes::alias:
      case codes::bookmark:
        return KRV_fordURLFromAlias_(v);
      case codes::fileURL:
        return KRV_fordURLFromFile_(v);
      default:
        return Value();
    }
  }
  if (v.isUrl()) return v;
  if (!v.isString()) return Value();

  const std::u16string_view text = v.asString();
  if (!text.empty() && text.front() == u'~')
    return Value::url(platform::fileURLFromPath(platform::expandTilde(v.toUtf8())));
  if (!text.empty() && text.front() == u'/') return Value::url(platform::fileURLFromPath(v.toUtf8()));
  return KRV_fordURLFromHFSPath_(v);
}

Value KRVForder::URLsFrom_(const Value& list) {
  if (!list.isList()) return Value();
  std::vector<Value> urls;
  urls.reserve(list.asList().size());
  for (const Value& item : list.asList()) {
    Value url = URLFrom_(item);
    urls.push_back(url.isNothing() ? Value::null() : std::move(url));
  }
  return Value::list(std::move(urls));
}

Value KRVForder::fileFromURL_(const Value& url) {
  if (!url.isUrl() || !platform::isFileURL(url.asUrl())) return Value();
  return Value::descriptor(Descriptor(codes::fileURL, std::string(url.asUrl())));
}

Value KRVForder::HFSPathFromURL_(const Value& url) { return HFSPathFromURL_colonForPackages_(url, Value::boolean(false)); }

Value KRVForder::HFSPathFromURL_colonForPackages_(const Value& url, const Value& colonForPackages) {
  const bool colonAfterPackages = colonForPackages.boolValue();
  // Like every command that takes a file, this one accepts whatever URLFrom:
  // accepts.
  Value fileURL = URLFrom_(url);
  if (!fileURL.isUrl()) return Value();
  std::optional<std::string> path = platform::pathFromFileURL(fileURL.asUrl());
  if (!path) return Value();
  std::optional<std::string> hfsPath = platform::hfsPathFromPath(*path);
  if (!hfsPath) return Value();

  // A folder ends with ':' so that a script can tell it from a file, except
  // that a package is presented like a file unless the caller asks otherwise.
  // An item that cannot be read (one that does not exist) is taken as it is.
  std::optional<platform::ItemKind> kind = platform::readItemKind(*path);
  if (kind && kind->isDirectory && (colonAfterPackages || !kind->isPackage)) hfsPath->push_back(':');
  // A name that is not text cannot be written in an HFS path.
  return Value::fromValidUtf8(*hfsPath);
}

Value KRVForder::KRV_fordURLFromHFSPath_(const Value& hfsPath) {
  if (hfsPath.isNothing()) return Value();
  if (!hfsPath.isString()) doesNotAnswer(hfsPath, "length");
  // An empty string names no item at all.
  if (hfsPath.asString().empty()) return Value();
  const std::string text = hfsPath.toUtf8();
  const bool isDirectory = text.back() == ':';
  return Value::url(platform::fileURLFromPath(platform::pathFromHFSPath(text), isDirectory));
}

}  // namespace tessaro
