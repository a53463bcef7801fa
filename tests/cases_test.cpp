// Runs the one-line command cases of tests/cases/*.jsonl through the server's
// request path, exactly as a client of `tessaro serve` would.
//
// A case: {"call": SELECTOR, "args": [...], "expect": ENVELOPE,
//          "errorOut": false, "env": {"TZ": "..."}}
// The actual envelope must have the same keys as ENVELOPE and print each
// value identically; a "failure" expected without "message" checks the kind
// only. Lines starting with '#' are comments.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <simdjson.h>

#include "platform/platform_test_support.hpp"
#include "tessaro/environment.hpp"
#include "tessaro/notation.hpp"
#include "tessaro/server.hpp"

namespace tessaro {
namespace {

struct Case {
  std::string file;
  int line = 0;
  std::string text;
};

std::vector<Case> loadCases() {
  std::vector<Case> cases;
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(TESSARO_CASES_DIR))
    if (entry.path().extension() == ".jsonl") files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  for (const auto& path : files) {
    std::ifstream in(path);
    std::string text;
    int line = 0;
    while (std::getline(in, text)) {
      ++line;
      std::size_t first = text.find_first_not_of(" \t");
      if (first == std::string::npos || text[first] == '#') continue;
      cases.push_back({path.stem().string(), line, text});
    }
  }
  return cases;
}

std::string rawJson(simdjson::ondemand::value v) {
  simdjson::ondemand::json_type type = v.type();
  std::string_view text;
  if (type == simdjson::ondemand::json_type::object)
    text = v.get_object().value().raw_json();
  else if (type == simdjson::ondemand::json_type::array)
    text = v.get_array().value().raw_json();
  else
    text = v.raw_json_token();
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
  return std::string(text);
}

struct ParsedCase {
  std::string call, args = "[]", errorOut, expect;
  std::vector<std::pair<std::string, std::string>> env;
};

ParsedCase parseCase(const std::string& text) {
  simdjson::ondemand::parser parser;
  simdjson::padded_string padded(text);
  simdjson::ondemand::document doc = parser.iterate(padded);
  ParsedCase c;
  for (auto field : doc.get_object()) {
    std::string_view key = field.unescaped_key();
    simdjson::ondemand::value value = field.value();
    if (key == "call") c.call = rawJson(value);
    else if (key == "args") c.args = rawJson(value);
    else if (key == "errorOut") c.errorOut = rawJson(value);
    else if (key == "expect") c.expect = rawJson(value);
    else if (key == "env") {
      for (auto var : value.get_object())
        c.env.emplace_back(std::string(std::string_view(var.unescaped_key())),
                           std::string(std::string_view(var.value().get_string())));
    } else
      throw std::runtime_error("unknown case key " + std::string(key));
  }
  return c;
}

// Sets variables for one case and puts the old ones back afterwards.
class ScopedEnvironment {
 public:
  explicit ScopedEnvironment(const std::vector<std::pair<std::string, std::string>>& vars) {
    for (const auto& [name, value] : vars) saved_.push_back(std::make_unique<platform::testing::ScopedEnv>(name.c_str(), value));
    if (!vars.empty()) reloadEnvironmentDefaults();
  }
  ~ScopedEnvironment() {
    if (saved_.empty()) return;
    saved_.clear();  // puts the old values back
    reloadEnvironmentDefaults();
  }

 private:
  std::vector<std::unique_ptr<platform::testing::ScopedEnv>> saved_;
};

// Every case starts from the same environment, whatever the machine's: a
// case names the variables it depends on, and nothing else leaks in.
class BaselineEnvironment : public testing::Environment {
 public:
  void SetUp() override {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LC_TIME", "TESSARO_STARTUP_VOLUME", "TESSARO_VOLUMES_DIR"})
      unsetenv(name);
    setenv("LANG", "en_US.UTF-8", 1);
    setenv("TZ", "UTC", 1);
    reloadEnvironmentDefaults();
  }
};
testing::Environment* const baseline = testing::AddGlobalTestEnvironment(new BaselineEnvironment);

void PrintTo(const Case& c, std::ostream* os) { *os << c.file << ".jsonl:" << c.line; }

class CommandCase : public testing::TestWithParam<Case> {};

TEST_P(CommandCase, AnswersAsExpected) {
  const Case& testCase = GetParam();
  ParsedCase c = parseCase(testCase.text);
  std::string request = "{\"call\": " + c.call + ", \"args\": " + c.args;
  if (!c.errorOut.empty()) request += ", \"errorOut\": " + c.errorOut;
  request += "}";

  std::string answer;
  {
    ScopedEnvironment env(c.env);
    answer = answerRequestLine(request);
  }
  Value actual = readNotation(answer);
  Value expected = readNotation(c.expect);
  ASSERT_TRUE(expected.isRecord()) << "expect must be an envelope object";
  ASSERT_TRUE(actual.isRecord()) << answer;
  SCOPED_TRACE(testCase.file + ".jsonl:" + std::to_string(testCase.line) + "\n  request: " + request +
               "\n  answer:  " + answer);

  for (const auto& [key, want] : expected.asRecord().entries()) {
    const Value* got = actual.asRecord().find(key.asString());
    ASSERT_NE(got, nullptr) << "missing " << key.toUtf8();
    if (key.asString() == u"failure" && want.isRecord() && !want.asRecord().find(u"message")) {
      const Value* kind = got->isRecord() ? got->asRecord().find(u"kind") : nullptr;
      ASSERT_NE(kind, nullptr);
      EXPECT_EQ(printNotation(*kind), printNotation(*want.asRecord().find(u"kind")));
      continue;
    }
    EXPECT_EQ(printNotation(*got), printNotation(want)) << "in " << key.toUtf8();
  }
  for (const auto& entry : actual.asRecord().entries())
    EXPECT_NE(expected.asRecord().find(entry.first.asString()), nullptr) << "unexpected " << entry.first.toUtf8();
}

std::string caseName(const testing::TestParamInfo<Case>& info) {
  std::string name = info.param.file + "_" + std::to_string(info.param.line);
  for (char& ch : name)
    if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
  return name;
}

INSTANTIATE_TEST_SUITE_P(Cases, CommandCase, testing::ValuesIn(loadCases()), caseName);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(CommandCase);

}  // namespace
}  // namespace tessaro
