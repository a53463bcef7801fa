#include <gtest/gtest.h>

#include <memory>

#include "tessaro/errors.hpp"
#include "tessaro/host_objects.hpp"
#include "tessaro/notation.hpp"

namespace tessaro {
namespace {

// A script whose handlers run `body` with /bin/sh: $0 is the handler's name,
// $1… its arguments in the notation.
Value shell(const std::string& body) {
  auto script = std::make_unique<ScriptTarget>();
  script->command = {"/bin/sh", "-c", body};
  return Value::object(script.release());
}

Value call(const Value& script, std::string_view handler, std::span<const Value> args = {}) {
  return script.objectAs<ScriptTarget>()->call(handler, args);
}

FailureKind failureOf(const Value& script, std::string_view handler) {
  try {
    call(script, handler);
  } catch (const HostFailure& f) {
    return f.kind();
  }
  ADD_FAILURE() << "the call did not fail";
  return FailureKind::range;
}

TEST(ScriptTarget, PassesTheHandlerAndNotatedArgumentsAndReadsTheAnswer) {
  Value echo = shell(R"(printf '["%s", %s, %s, %s]' "$0" "$1" "$2" "$3")");
  Value args[] = {Value::integer(1), Value::string(u"x \"y\""), readNotation(R"({"$date": 2.5})")};
  Value answer = call(echo, "add:to:", args);
  EXPECT_EQ(printNotation(answer), R"(["add:to:", 1, "x \"y\"", {"$date": 2.5}])");
}

TEST(ScriptTarget, AnswersOfAnyKindAndSize) {
  EXPECT_TRUE(call(shell(R"(printf '{"$nothing": true}')"), "h").isNothing());
  // Standard input is empty rather than the caller's.
  EXPECT_EQ(call(shell(R"sh(printf '"%s"' "$(cat)")sh"), "h"), Value::string(u""));
  Value large = call(shell(R"(printf '"'; head -c 300000 /dev/zero | tr '\000' a; printf '"\n')"), "h");
  EXPECT_EQ(large.asString().size(), 300000u);
}

TEST(ScriptTarget, FailuresAreHostFailures) {
  EXPECT_EQ(failureOf(readNotation(R"({"$script": {}})"), "anything"), FailureKind::unrecognizedSelector);
  EXPECT_EQ(failureOf(shell("echo 1; exit 3"), "h"), FailureKind::invalidArgument);
  EXPECT_EQ(failureOf(shell("echo not json"), "h"), FailureKind::invalidArgument);
  EXPECT_EQ(failureOf(shell("true"), "h"), FailureKind::invalidArgument);  // no answer at all
  EXPECT_EQ(failureOf(shell("kill -9 $$"), "h"), FailureKind::invalidArgument);
  EXPECT_EQ(failureOf(readNotation(R"({"$script": {"command": ["/nonexistent/tessaro-handler"]}})"), "h"),
            FailureKind::invalidArgument);
  try {
    call(shell("exit 7"), "h");
    ADD_FAILURE() << "exit 7 did not fail";
  } catch (const HostFailure& f) {
    EXPECT_NE(std::string(f.what()).find("exit status 7"), std::string::npos) << f.what();
  }
}

}  // namespace
}  // namespace tessaro
