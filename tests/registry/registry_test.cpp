#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <regex>
#include <sstream>

#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"

namespace tessaro {
namespace {

TEST(Registry, EverySelectorIsKnownWithItsVisibility) {
  std::ifstream in(TESSARO_SELECTORS_FILE);
  if (!in) GTEST_SKIP() << "no selector list beside the checkout";
  std::map<std::string, std::string> known;
  std::string selector, visibility;
  while (in >> selector >> visibility) known[selector] = visibility;
  ASSERT_GT(known.size(), 150u);

  const auto commands = registry().commands();
  ASSERT_FALSE(commands.empty());
  bool seenPrivate = false;
  for (const Command& c : commands) {
    SCOPED_TRACE(c.selector());
    auto it = known.find(c.selector());
    ASSERT_NE(it, known.end()) << "not a selector of the library";
    EXPECT_EQ(it->second, c.isPrivate() ? "private" : "public");
    EXPECT_EQ(c.isPrivate(), c.selector().rfind("KRV_", 0) == 0);
    // Public commands are listed before private ones.
    if (c.isPrivate()) seenPrivate = true;
    else EXPECT_FALSE(seenPrivate);
  }
}

TEST(Registry, ArgumentsAndOutParametersComeFromTheSelector) {
  Registry r;
  r.add<&KRVForder::KRV_fordOut_options_>("KRV_fordOut:options:", Visibility::privateOperation);
  r.seal();
  const Command* c = r.find("KRV_fordOut:options:");
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->argumentNames(), (std::vector<std::string>{"KRV_fordOut", "options"}));
  EXPECT_TRUE(c->outParameters().empty());
  EXPECT_FALSE(c->hasErrorOut());
  EXPECT_EQ(r.find("KRV_fordOut:"), nullptr);
}

Value takesErrorOut(const Value& v, CommandError* error) {
  if (v.isNull()) fail(error, "Bad.");
  return v.isNull() ? Value() : v;
}
Value takesOutKeys(const Value& v, Value* outKeys, CommandError*) {
  *outKeys = v;
  return Value();
}

TEST(Registry, SelectorsThatDoNotFitTheFunctionAreRefused) {
  Registry r;
  EXPECT_THROW(r.add<&KRVForder::KRV_fordOut_options_>("KRV_fordOut:"), std::logic_error);
  EXPECT_THROW(r.add<&takesErrorOut>("thing:other:"), std::logic_error);
  EXPECT_THROW(r.add<&takesOutKeys>("thing:error:outKeys:"), std::logic_error);
  r.add<&takesOutKeys>("thing:outKeys:error:");
  r.add<&takesOutKeys>("thing:outKeys:error:");
  EXPECT_THROW(r.seal(), std::logic_error);
}

TEST(Registry, InvokeFillsErrorOnlyWhenTheCallerSuppliesOne) {
  Registry r;
  r.add<&takesErrorOut>("check:error:");
  r.add<&takesOutKeys>("keys:outKeys:error:");
  r.seal();
  const Command* check = r.find("check:error:");
  ASSERT_NE(check, nullptr);
  Value null = Value::null();
  Outcome withOut = check->invoke({&null, 1}, true);
  ASSERT_TRUE(withOut.error.has_value());
  EXPECT_EQ(withOut.error->domain, "KRVErrorDomain");
  EXPECT_EQ(withOut.error->code, -10000);
  EXPECT_EQ(withOut.error->message, "Bad.");
  EXPECT_TRUE(withOut.result.isNothing());

  Outcome without = check->invoke({&null, 1}, false);
  EXPECT_FALSE(without.error.has_value());
  EXPECT_TRUE(without.result.isNothing());

  Value one = Value::integer(1);
  Outcome ok = check->invoke({&one, 1}, true);
  EXPECT_FALSE(ok.error.has_value());
  EXPECT_EQ(ok.result, one);
  EXPECT_THROW(check->invoke({}, true), std::invalid_argument);

  Outcome keys = r.find("keys:outKeys:error:")->invoke({&one, 1}, false);
  EXPECT_EQ(keys.outKeys, one);
}

Value integerOf(const Value& v) { return Value::integer(v.integerValue()); }

TEST(Registry, HostFailuresAreCaughtIntoTheOutcome) {
  const Command* c = registry().find("frameworkVersion");
  ASSERT_NE(c, nullptr);
  EXPECT_TRUE(c->invoke({}).result.isString());

  Registry r;
  r.add<&integerOf>("integerOf:");
  r.seal();
  Value list = Value::list({Value::integer(1)});
  Outcome o = r.find("integerOf:")->invoke({&list, 1});
  ASSERT_TRUE(o.failure.has_value());
  EXPECT_EQ(o.failure->kind(), FailureKind::unrecognizedSelector);
}

TEST(BridgeInfo, BuildDateLooksLikeTheCompilersDate) {
  Value date = KRVForder::frameworkDate();
  ASSERT_TRUE(date.isString());
  EXPECT_TRUE(std::regex_match(date.toUtf8(), std::regex(R"([A-Z][a-z]{2} [ 1-3][0-9] [0-9]{4}, [0-2][0-9]:[0-5][0-9]:[0-5][0-9])")))
      << date.toUtf8();
  EXPECT_EQ(KRVForder::frameworkDate(), date);
}

}  // namespace
}  // namespace tessaro
