// The rules that pick enabled engines and the layout source, and what the
// input-source commands answer when no IBus daemon can be reached. The
// commands against a running daemon are checked by the inputsources test.
#include <gtest/gtest.h>

#include <filesystem>

#include "../platform/platform_test_support.hpp"
#include "services/input_sources.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"

namespace tessaro {
namespace {

using platform::EngineInfo;
using services::enabledEngines;
using services::layoutSourceFor;

const std::vector<EngineInfo> kInstalled = {
    {"xkb:us::eng", "us", ""},        {"xkb:de::deu", "de", ""},       {"xkb:de:nodeadkeys:deu", "de", "nodeadkeys"},
    {"pinyin", "us", ""},             {"anthy", "jp", ""},              {"xkb:jp::jpn", "jp", ""},
    {"hangul", "kr", "kr104"},        {"xkb:fr::fra", "fr", ""},        {"mozc", "default", ""},
    {"xkb:kr:kr104:kor", "kr", "kr104"}, {"xkb:us::eng", "gb", ""},
};

std::vector<std::string> namesOf(const std::vector<EngineInfo>& engines) {
  std::vector<std::string> names;
  for (const EngineInfo& e : engines) names.push_back(e.name);
  return names;
}

TEST(InputSourceRules, EnabledEnginesFollowTheListSkippingUnknownAndRepeatedNames) {
  std::vector<std::string> list = {"xkb:fr::fra", "gone-engine", "pinyin", "xkb:fr::fra", "", "xkb:us::eng"};
  std::vector<EngineInfo> enabled = enabledEngines(kInstalled, list);
  EXPECT_EQ(namesOf(enabled), (std::vector<std::string>{"xkb:fr::fra", "pinyin", "xkb:us::eng"}));
  // Two installed engines share "xkb:us::eng": the first in the daemon's order stands for it.
  EXPECT_EQ(enabled.back().layout, "us");
  EXPECT_TRUE(enabledEngines(kInstalled, {}).empty());
  EXPECT_TRUE(enabledEngines({}, list).empty());
}

TEST(InputSourceRules, LayoutSourceOfALayoutEngineIsItself) {
  std::vector<EngineInfo> enabled = enabledEngines(kInstalled, std::vector<std::string>{"xkb:us::eng"});
  EXPECT_EQ(layoutSourceFor(EngineInfo{"xkb:de:nodeadkeys:deu", "de", "nodeadkeys"}, enabled, kInstalled),
            "xkb:de:nodeadkeys:deu");
  // Even one that is neither installed nor enabled: it is what the daemon says is current.
  EXPECT_EQ(layoutSourceFor(EngineInfo{"xkb:xx::yyy", "xx", ""}, {}, {}), "xkb:xx::yyy");
}

TEST(InputSourceRules, LayoutSourceOfAnInputMethodMatchesLayoutAndVariant) {
  std::vector<std::string> list = {"xkb:us::eng", "xkb:de:nodeadkeys:deu", "anthy", "hangul"};
  std::vector<EngineInfo> enabled = enabledEngines(kInstalled, list);
  // Enabled first: "de" without a variant is not "de" with "nodeadkeys", so
  // the installed plain German layout is found among all installed ones.
  EXPECT_EQ(layoutSourceFor(EngineInfo{"ime-de", "de", ""}, enabled, kInstalled), "xkb:de::deu");
  EXPECT_EQ(layoutSourceFor(EngineInfo{"ime-de", "de", "nodeadkeys"}, enabled, kInstalled), "xkb:de:nodeadkeys:deu");
  EXPECT_EQ(layoutSourceFor(EngineInfo{"hangul", "kr", "kr104"}, enabled, kInstalled), "xkb:kr:kr104:kor");
  EXPECT_EQ(layoutSourceFor(EngineInfo{"anthy", "jp", ""}, enabled, kInstalled), "xkb:jp::jpn");
  // An enabled match wins over an earlier installed one.
  std::vector<EngineInfo> frenchFirst = enabledEngines(kInstalled, std::vector<std::string>{"xkb:fr::fra"});
  std::vector<EngineInfo> twoFrench = kInstalled;
  twoFrench.insert(twoFrench.begin(), EngineInfo{"xkb:fr:oss:fra", "fr", ""});
  EXPECT_EQ(layoutSourceFor(EngineInfo{"ime-fr", "fr", ""}, frenchFirst, twoFrench), "xkb:fr::fra");
  EXPECT_EQ(layoutSourceFor(EngineInfo{"ime-fr", "fr", ""}, {}, twoFrench), "xkb:fr:oss:fra");
}

TEST(InputSourceRules, LayoutSourceFallsBackToTheFirstEnabledLayoutEngine) {
  std::vector<std::string> list = {"mozc", "pinyin", "xkb:fr::fra", "xkb:us::eng"};
  std::vector<EngineInfo> enabled = enabledEngines(kInstalled, list);
  // "default" names no layout engine's layout.
  EXPECT_EQ(layoutSourceFor(EngineInfo{"mozc", "default", ""}, enabled, kInstalled), "xkb:fr::fra");
  EXPECT_EQ(layoutSourceFor(std::nullopt, enabled, kInstalled), "xkb:fr::fra");
  std::vector<EngineInfo> onlyMethods = enabledEngines(kInstalled, std::vector<std::string>{"mozc", "pinyin"});
  EXPECT_EQ(layoutSourceFor(EngineInfo{"mozc", "default", ""}, onlyMethods, kInstalled), std::nullopt);
  EXPECT_EQ(layoutSourceFor(std::nullopt, {}, kInstalled), std::nullopt);
}

// IBUS_ADDRESS names a socket nobody listens on, so the user's own IBus (if
// any) is never reached.
TEST(InputSourceCommands, WithoutAReachableIBusListingsAreEmptyAndNothingIsCurrent) {
  std::filesystem::path nowhere = std::filesystem::temp_directory_path() / "tessaro-no-ibus-here" / "socket";
  platform::testing::ScopedEnv address("IBUS_ADDRESS", "unix:path=" + nowhere.string());
  for (const char* selector : {"availableInputSourceIDs", "allAvailableInputSourceIDs"}) {
    Outcome o = registry().find(selector)->invoke({});
    ASSERT_FALSE(o.failure) << selector;
    EXPECT_EQ(o.result, Value::list({})) << selector;
  }
  for (const char* selector : {"currentKeyboardInputSourceID", "currentKeyboardLayoutInputSourceID"}) {
    Outcome o = registry().find(selector)->invoke({});
    EXPECT_FALSE(o.failure) << selector;
    EXPECT_TRUE(o.result.isNothing()) << selector;
  }
  const Command* change = registry().find("changeInputSourceTo:");
  for (const Value& id : {Value::fromUtf8("xkb:us::eng"), Value::fromUtf8(""), Value::integer(3), Value(),
                          Value::list({Value::fromUtf8("xkb:us::eng")})}) {
    Outcome o = change->invoke(std::span<const Value>(&id, 1));
    EXPECT_FALSE(o.failure);
    EXPECT_EQ(o.result, Value::boolean(false));
  }
}

}  // namespace
}  // namespace tessaro
