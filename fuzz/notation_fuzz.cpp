// Feeds arbitrary bytes to the notation reader. Reading may refuse the text,
// but must never crash; whatever it accepts must print to a text that reads
// back and prints identically. Argument lists and server request lines are
// read too (requests only read, never run): an id that comes out of one is
// one line of well-formed JSON.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "interface/request_reader.hpp"
#include "tessaro/notation.hpp"
#include "tessaro/server.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const tessaro::ReadOptions options{.allowNothing = true};
  std::string_view text(reinterpret_cast<const char*>(data), size);
  // The server's argument lists go through their own entry point.
  try {
    for (const tessaro::Value& item : tessaro::readArgumentList(text)) (void)tessaro::printNotation(item);
  } catch (const tessaro::NotationError&) {
  }
  std::optional<std::string> id;
  try {
    (void)tessaro::readRequest(text, id);
  } catch (const tessaro::NotationError&) {
  }
  std::string checked;
  if (id && (id->find_first_of("\r\n") != std::string::npos || !tessaro::notation::isJsonValue(*id, checked))) {
    std::fprintf(stderr, "an id that is not one line of JSON: %s\n", id->c_str());
    std::abort();
  }
  tessaro::Value value;
  try {
    value = tessaro::readNotation(text, options);
  } catch (const tessaro::NotationError&) {
    return 0;
  }
  std::string printed = tessaro::printNotation(value);
  std::string again;
  try {
    again = tessaro::printNotation(tessaro::readNotation(printed, options));
  } catch (const tessaro::NotationError& e) {
    std::fprintf(stderr, "printed text does not read back (%s):\n%s\n", e.what(), printed.c_str());
    std::abort();
  }
  if (again != printed) {
    std::fprintf(stderr, "printing is not stable:\n%s\n%s\n", printed.c_str(), again.c_str());
    std::abort();
  }
  return 0;
}
