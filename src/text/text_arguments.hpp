// How the text commands read their string arguments. No value reads as the
// empty string (a message to nothing answers zero); any other kind that is
// not a string does not answer the string operation the command needs.
#pragma once

#include <string_view>

#include "tessaro/value.hpp"

namespace tessaro::text {

inline std::u16string_view stringArgument(const Value& v, std::string_view operation) {
  if (v.isString()) return v.asString();
  if (v.isNothing()) return {};
  doesNotAnswer(v, operation);
}

}  // namespace tessaro::text
