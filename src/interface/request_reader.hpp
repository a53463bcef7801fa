// Reading one request line of the server in a single pass: the id's JSON
// text, the selector, the arguments (read as values straight from the same
// parse) and the errorOut flag.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tessaro/value.hpp"

namespace tessaro::notation {

struct RequestParts {
  std::optional<std::string> idJson;  // as written, or in one line when written over several
  std::string call;                   // UTF-8
  std::vector<Value> args;
  bool errorOut = true;
  void clear() noexcept {
    idJson.reset();
    call.clear();
    args.clear();
    errorOut = true;
  }
};

// Reads the request in `data[0, length)`, which must be followed by at least
// simdjson's padding of zero bytes inside `capacity`, into `out`, which
// must be fresh or cleared with clear() (its storage is reused). Throws NotationError
// for anything that is not a valid request; `out.idJson` then holds the id
// if it was read before the fault was found.
void readRequestInPlace(const char* data, std::size_t length, std::size_t capacity, RequestParts& out);

// The id of a line that is not a valid request, when one can be made out,
// and whether a complete request object is followed by more text.
struct RequestDiagnosis {
  std::optional<std::string> idJson;
  bool trailingText = false;
};
RequestDiagnosis diagnoseRequest(std::string_view line);

// Whether `json` is one well-formed JSON value of any kind (any magnitude of
// number, lone surrogates in strings); its one-line form is then in `oneLine`.
bool isJsonValue(std::string_view json, std::string& oneLine);

}  // namespace tessaro::notation
