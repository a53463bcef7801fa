// How commands fail. A command with an `error:` out-parameter fills a
// CommandError when the caller supplied one; failures raised by the host
// inside an operation leave the command as a HostFailure exception.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tessaro {

inline constexpr std::string_view kErrorDomain = "KRVErrorDomain";
inline constexpr std::int64_t kErrorCode = -10000;
// The user-information key under which a CommandError's message is stored.
inline constexpr std::string_view kLocalizedDescriptionKey = "NSLocalizedDescription";

struct CommandError {
  std::string domain;
  std::int64_t code = 0;
  std::string message;  // the localized description
  friend bool operator==(const CommandError&, const CommandError&) = default;
};

// The library's bundle identifier: the domain of the argument errors of copy
// and move, the metadata query and the keyring lookup.
std::string_view bundleIdentifier() noexcept;

// Fills `*error` when the caller supplied an out-parameter; a no-op otherwise.
inline void fail(CommandError* error, std::string_view domain, std::int64_t code, std::string_view message) {
  if (error) *error = CommandError{std::string(domain), code, std::string(message)};
}
// The list commands' convention: "KRVErrorDomain", -10000.
inline void fail(CommandError* error, std::string_view message) {
  fail(error, kErrorDomain, kErrorCode, message);
}

enum class FailureKind : std::uint8_t {
  range,                 // an index or range outside a list or string
  invalidArgument,       // no value inserted into a list or record, other refused arguments
  unrecognizedSelector,  // a value asked for something it does not answer
  compare,               // two values that cannot be ordered with each other
};

std::string_view failureKindName(FailureKind kind) noexcept;

// A failure raised by the host platform inside an operation. The library does
// not catch these: they leave the command and the caller reports them.
class HostFailure : public std::runtime_error {
 public:
  HostFailure(FailureKind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}
  FailureKind kind() const noexcept { return kind_; }

 private:
  FailureKind kind_;
};

[[noreturn]] void throwFailure(FailureKind kind, const std::string& message);

}  // namespace tessaro
