// The JSON value notation in which values cross the command line and the
// server: plain JSON for null, booleans, integers, reals, strings, lists and
// records, and one-key tagged objects ("$date", "$data", "$url", …) for the
// other kinds. Printing is canonical: printing what was read from canonical
// text gives the same text back.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

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

// Reads one value; throws NotationError on malformed input. Numbers: an
// integer beyond 64 bits is "integer out of the 64-bit range", a real too
// large for a double "real out of range"; a real too small for one reads as
// 0.0 (keeping its sign), as JSON readers commonly do.
Value readNotation(std::string_view json, ReadOptions options = {});

// Reads a JSON list of arguments, such as a server request's "args", in one
// pass: each item is read as readNotation would read it on its own, and
// {"$nothing": true} is allowed as a whole item (and nowhere deeper). Throws
// NotationError when the text is not one well-formed list.
std::vector<Value> readArgumentList(std::string_view jsonList);

// The reader keeps its buffers between calls, sized for the largest text it
// has read, and some of the memory of the values of large texts once they
// are freed (at most 128 MiB). A long-running process gives them back after
// a large text.
void releaseReaderMemory();

// Appends the canonical notation of `v` to `out`. No value prints as
// {"$nothing": true}.
void printNotation(const Value& v, std::string& out);
std::string printNotation(const Value& v);

// The shortest decimal digits that read back to `d`, laid out by their
// decimal exponent e (as in d.ddd×10^e): fixed notation with at least one
// digit after the point when -4 <= e < 16 ("2.0", "0.0001", "100000.0",
// "-0.0"), otherwise "d.ddde+XX" or "d.ddde-XX" with at least two exponent
// digits ("1e+16", "1.5e-05", "1e-310"). Non-finite values print as "inf",
// "-inf" and "nan".
void printReal(double d, std::string& out);

// Appends UTF-8 text as a JSON string the way the printer writes strings:
// only the quote, the backslash and control characters escaped, everything
// else as it is. Ill-formed UTF-8 becomes U+FFFD.
void printJsonString(std::string_view utf8, std::string& out);

}  // namespace tessaro
