// The named-property lookup that the key sorts and splits apply to values.
//
//   "self"            any value: the value itself
//   any key           a record: its value for the key, or no value
//                     a list: the lookup mapped over its items (an item
//                     giving no value gives null in its place)
//   length            a string: its count of UTF-16 code units
//   lowercaseString,
//   uppercaseString   a string: the string in lower or upper case (the same
//                     for every locale)
//   intValue,
//   integerValue,
//   doubleValue,
//   boolValue         a string or a number: its scalar reading (intValue
//                     keeps 32 bits)
//   stringValue       a number: its decimal text
//   timeIntervalSinceReferenceDate,
//   timeIntervalSince1970
//                     a date: seconds since 2001 or 1970, as a real
//
// Anything else, and a key that is not a string, is the host's
// unrecognizedSelector failure.
#pragma once

#include <string_view>

#include "tessaro/value.hpp"

namespace tessaro::lists {

inline bool isSelfKey(const Value& key) { return key.isString() && key.asString() == u"self"; }

Value valueForKey(const Value& v, const Value& key);

}  // namespace tessaro::lists
