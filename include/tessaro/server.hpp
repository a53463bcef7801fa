// The outward faces of the registry: the envelope that reports one call, and
// the line-oriented server behind `tessaro serve`.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tessaro/registry.hpp"

namespace tessaro {

// One envelope line (without the newline): {"id": …, "result": …, "error":
// {…}, "out": {…}, "failure": {…}}, each key present only when it applies.
// `idJson` is the caller's id as JSON text, echoed unchanged when given.
std::string envelopeJson(const Outcome& outcome, std::optional<std::string_view> idJson = std::nullopt);
void appendEnvelope(const Outcome& outcome, std::optional<std::string_view> idJson, std::string& out);
// 0 when neither error nor failure, 1 with an error, 2 with a failure.
int exitStatus(const Outcome& outcome) noexcept;

// A request of the server: {"id": …, "call": selector, "args": […], "errorOut": bool}.
struct Request {
  std::optional<std::string> idJson;  // the id's JSON text
  std::string call;
  std::vector<Value> args;  // {"$nothing": true} allowed as an argument
  bool errorOut = true;
};
// Throws NotationError (with the id, when one was read, in `idJson`) for a
// line that is not a valid request.
Request readRequest(std::string_view line, std::optional<std::string>& idJson);

// Runs a request through the registry and prints its envelope; usage
// problems (unknown selector, wrong argument count) print a usage answer.
std::string answerRequestLine(std::string_view line);

// Writes all of `text` to the file descriptor `fd`, resuming after
// interruptions and partial writes; false (errno telling why) when it cannot.
bool writeAll(int fd, std::string_view text);

// Answers requests read from the file descriptor `in`, line by line, on
// `out` until end of input; returns 0 then, or kServeOutputFailed (errno
// telling why) as soon as an answer cannot be written.
inline constexpr int kServeOutputFailed = -1;
int serve(int in, int out);

}  // namespace tessaro
