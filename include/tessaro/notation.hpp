// The JSON value notation in which values cross the command line and the
// server: plain JSON for null, booleans, integers, reals, strings, lists and
// records, and one-key tagged objects ("$date", "$data", "$url", …) for the
// other kinds. Printing is canonical: printing what was read from canonical
// text gives the same text back.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "tessaro/value.hpp"

namespace tessaro {

// Malformed notation: a usage problem for the command line and the server.
class NotationError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct ReadOptions {
  bool allowNothing = false;  // accept {"$nothing": true} at the top level
};

// Reads one value; throws NotationError on malformed input.
Value readNotation(std::string_view json, ReadOptions options = {});

// Appends the canonical notation of `v` to `out`. No value prints as
// {"$nothing": true}.
void printNotation(const Value& v, std::string& out);
std::string printNotation(const Value& v);

// The shortest decimal text that reads back to `d`, always with a '.' or an
// exponent ("2.0", "0.1", "1e-310"). Non-finite values print as "inf",
// "-inf" and "nan".
void printReal(double d, std::string& out);

}  // namespace tessaro
