#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "tessaro/errors.hpp"
#include "tessaro/notation.hpp"
#include "tessaro/server.hpp"

namespace tessaro {
namespace {

std::string argumentListError(std::string_view text) {
  try {
    readArgumentList(text);
  } catch (const NotationError& e) {
    return e.what();
  }
  return "(read)";
}

TEST(ArgumentList, ItemsReadAsArgumentsInOnePass) {
  std::vector<Value> args =
      readArgumentList(R"( [1, {"$nothing": true}, "a", [2.0, {"$url": "file:///x"}], {"$record": {"$nothing": 1}}] )");
  ASSERT_EQ(args.size(), 5u);
  EXPECT_EQ(args[0], Value::integer(1));
  EXPECT_TRUE(args[1].isNothing());
  EXPECT_EQ(args[2], Value::string(u"a"));
  EXPECT_EQ(printNotation(args[3]), R"([2.0, {"$url": "file:///x"}])");
  EXPECT_EQ(printNotation(args[4]), R"({"$record": {"$nothing": 1}})");
  EXPECT_TRUE(readArgumentList("[]").empty());
  // Nothing is a whole argument, never part of one.
  for (const char* deeper : {R"([[{"$nothing": true}]])", R"([{"a": {"$nothing": true}}])", R"({"$nothing": true})"})
    EXPECT_THROW(readArgumentList(deeper), NotationError) << deeper;
  EXPECT_EQ(argumentListError(R"([{"$nothing": false}])"), "$nothing takes true");
  EXPECT_EQ(argumentListError("[1, 01]").rfind("malformed number", 0), 0u);
  for (const char* bad : {"", "5", "{}", "\"[1]\"", "[1", "[1] 2", "[1,]", "[1]]"})
    EXPECT_THROW(readArgumentList(bad), NotationError) << bad;
  // The reader's state does not carry over from a list to a single value or back.
  EXPECT_THROW(readArgumentList(R"([1, [2, tru]])"), NotationError);
  EXPECT_THROW(readNotation(R"({"$nothing": true})"), NotationError);
  EXPECT_EQ(readArgumentList("[3]").at(0), Value::integer(3));
}

Request request(std::string_view line, std::optional<std::string>& id) { return readRequest(line, id); }

std::string requestError(std::string_view line, std::optional<std::string>& id) {
  try {
    readRequest(line, id);
  } catch (const NotationError& e) {
    return e.what();
  }
  return "(read)";
}

TEST(Server, RequestsReadTheirArguments) {
  std::optional<std::string> id;
  Request r = request(R"({"id": [7], "call": "x:y:", "args": [{"$nothing": true}, {"$date": 1}], "errorOut": false})", id);
  EXPECT_EQ(id, "[7]");
  EXPECT_EQ(r.call, "x:y:");
  ASSERT_EQ(r.args.size(), 2u);
  EXPECT_TRUE(r.args[0].isNothing());
  EXPECT_EQ(r.args[1], Value::date(1));
  EXPECT_FALSE(r.errorOut);
  EXPECT_TRUE(request(R"({"call": "x"})", id).args.empty());

  id.reset();
  EXPECT_EQ(requestError(R"({"id": 3, "call": "x:", "args": 5})", id), "\"args\" must be a list");
  EXPECT_EQ(id, "3");
  EXPECT_EQ(requestError(R"({"call": "x:", "args": {"a": 1}})", id), "\"args\" must be a list");
  EXPECT_EQ(requestError(R"({"call": "x:", "args": [[{"$nothing": true}]]})", id),
            "{\"$nothing\": true} is only allowed as a whole argument");
  EXPECT_EQ(requestError(R"({"call": "x:", "args": [1e400]})", id).rfind("real out of range", 0), 0u);
}

TEST(Server, FaultsOfTheRequestItself) {
  std::optional<std::string> id;
  // Text after a complete request: the id is still known.
  EXPECT_EQ(requestError(R"({"id": 1, "call": "frameworkVersion"} x)", id), "trailing characters after the request");
  EXPECT_EQ(id, "1");
  id.reset();
  EXPECT_EQ(requestError(R"({"id": [2], "call": "frameworkVersion"}})", id), "trailing characters after the request");
  EXPECT_EQ(id, "[2]");
  // A key is quoted in full, escaped, whatever it holds.
  EXPECT_EQ(requestError(R"({"a\u0000b": 1, "call": "x"})", id), R"(unknown request key "a\u0000b")");
  EXPECT_EQ(requestError(R"({"call": 3})", id), "\"call\" must be a string");
  EXPECT_EQ(requestError(R"({"call": "x", "errorOut": 1})", id), "\"errorOut\" must be true or false");
  EXPECT_EQ(requestError(R"({"id": 4})", id), "the request has no \"call\"");
  EXPECT_EQ(requestError(R"([1])", id), "a request is a JSON object");
  // The id is found even when a fault comes before it.
  id.reset();
  requestError(R"({"args": [1,], "id": "late"})", id);
  EXPECT_EQ(id, R"("late")");
  // Repeated keys: the last one counts.
  Request r = request(R"({"call": "a", "call": "b", "args": [1], "args": [2, 3]})", id);
  EXPECT_EQ(r.call, "b");
  EXPECT_EQ(r.args.size(), 2u);
}

TEST(Server, EnvelopeStringsAreWrittenAsUtf8) {
  std::string out;
  printJsonString("a\"b\\c\n\x01\x7F \xC3\xA9 \xF0\x9F\x98\x80", out);
  EXPECT_EQ(out, "\"a\\\"b\\\\c\\n\\u0001\x7F \xC3\xA9 \xF0\x9F\x98\x80\"");
  out.clear();
  // Ill-formed UTF-8 becomes U+FFFD; what follows survives.
  printJsonString("x\xFFy\xC3", out);
  EXPECT_EQ(out, "\"x\xEF\xBF\xBDy\xEF\xBF\xBD\"");

  Outcome outcome;
  outcome.error = CommandError{"NSCocoaErrorDomain", 4, "no \"file\"\n\xE2\x9C\x93"};
  EXPECT_EQ(envelopeJson(outcome, "1"),
            "{\"id\": 1, \"error\": {\"domain\": \"NSCocoaErrorDomain\", \"code\": 4, "
            "\"message\": \"no \\\"file\\\"\\n\xE2\x9C\x93\"}}");
  Outcome failed;
  failed.failure = HostFailure(FailureKind::range, "index 5 \t beyond");
  EXPECT_EQ(envelopeJson(failed), "{\"failure\": {\"kind\": \"range\", \"message\": \"index 5 \\t beyond\"}}");
}

}  // namespace
}  // namespace tessaro

namespace tessaro {
namespace {

TEST(Server, IdsAreEchoedOnlyWhenTheyAreJson) {
  auto answer = [](const std::string& id) {
    return answerRequestLine(R"({"id": )" + id + R"(, "call": "frameworkVersion", "args": []})");
  };
  // Any JSON value comes back as written, even one the notation would refuse.
  for (const char* id : {R"({"$nothing": true})", "99999999999999999999", "1e999", "-0.5e-3", R"("a\u0000")",
                         R"([1, {"b": null}])"})
    EXPECT_EQ(answer(id), std::string(R"({"id": )") + id + R"(, "result": "0.1.0"})") << id;
  // Lone surrogates are JSON too; an id written over several lines comes
  // back in one line, so that no client's line reader splits the answer.
  EXPECT_EQ(answer(R"("\ud800")"), R"({"id": "\ud800", "result": "0.1.0"})");
  EXPECT_EQ(answer("[1,\r\t2, {\"a\" :\r\"x y\"}]"), R"({"id": [1, 2, {"a": "x y"}], "result": "0.1.0"})");
  // Anything else makes the line unusable, and is not echoed.
  for (const char* id : {"213e", "[1 2]", "06", "tru", R"("a\q")", "1.", "0x10", "[1,]", R"({"a" 1})"})
    EXPECT_EQ(answer(id), R"({"usage": "\"id\" is not well-formed JSON"})") << id;
}

}  // namespace
}  // namespace tessaro
