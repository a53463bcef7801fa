// The input-source commands against a real ibus-daemon. Run only under
// with_private_ibus.sh, which starts a private daemon and session bus and
// keeps the settings in a scratch folder.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/ibus_engines.hpp"
#include "tessaro/krv_forder.hpp"
#include "tessaro/registry.hpp"

namespace tessaro {
namespace {

std::vector<std::string> strings(const Value& list) {
  std::vector<std::string> out;
  if (!list.isList()) return out;
  for (const Value& v : list.asList()) out.push_back(v.isString() ? v.toUtf8() : "<not a string>");
  return out;
}

bool contains(const std::vector<std::string>& list, const std::string& s) {
  return std::find(list.begin(), list.end(), s) != list.end();
}

Value call(const char* selector, std::vector<Value> args = {}) {
  const Command* command = registry().find(selector);
  if (!command) ADD_FAILURE() << selector << " is not registered";
  if (!command) return Value();
  Outcome o = command->invoke(args);
  EXPECT_FALSE(o.failure) << selector << ": " << (o.failure ? o.failure->what() : "");
  EXPECT_FALSE(o.error) << selector;
  return o.result;
}

std::string currentSource() {
  Value v = call("currentKeyboardInputSourceID");
  return v.isString() ? v.toUtf8() : "<no value>";
}

// What a reader in another process finds in the settings.
std::string preloadEnginesAsAnotherProcessSeesThem() {
  std::string out;
  FILE* pipe = ::popen("gsettings get org.freedesktop.ibus.general preload-engines", "r");
  if (!pipe) return out;
  std::array<char, 4096> buffer{};
  while (std::fgets(buffer.data(), int(buffer.size()), pipe)) out += buffer.data();
  ::pclose(pipe);
  return out;
}

class OnPrivateIBus : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(std::getenv("IBUS_ADDRESS"), nullptr) << "run under with_private_ibus.sh";
    installed_ = strings(call("allAvailableInputSourceIDs"));
    for (const char* name : {"xkb:us::eng", "xkb:fr::fra", "xkb:de::deu"})
      ASSERT_TRUE(contains(installed_, name)) << name << " is not installed";
  }
  std::vector<std::string> installed_;
};

TEST_F(OnPrivateIBus, ListsInstalledAndEnabledEnginesByIdentifier) {
  // Identifiers are unique in the daemon's list of engines.
  std::vector<std::string> sorted = installed_;
  std::sort(sorted.begin(), sorted.end());
  EXPECT_EQ(std::adjacent_find(sorted.begin(), sorted.end()), sorted.end());
  EXPECT_GT(installed_.size(), 10u);

  // The enabled list in its stored order; names no engine has are left out.
  ASSERT_TRUE(platform::storeEnabledEngineNames({"xkb:de::deu", "no-such-engine", "xkb:us::eng"}));
  EXPECT_EQ(strings(call("availableInputSourceIDs")), (std::vector<std::string>{"xkb:de::deu", "xkb:us::eng"}));

  ASSERT_TRUE(platform::storeEnabledEngineNames({}));
  Value none = call("availableInputSourceIDs");
  EXPECT_EQ(none, Value::list({}));
}

TEST_F(OnPrivateIBus, SwitchingEnablesAnInstalledSourceThenSelectsIt) {
  ASSERT_TRUE(platform::storeEnabledEngineNames({"xkb:us::eng"}));
  ASSERT_EQ(call("changeInputSourceTo:", {Value::fromUtf8("xkb:us::eng")}), Value::boolean(true));
  EXPECT_EQ(currentSource(), "xkb:us::eng");

  // Not enabled yet: appended to the end of the enabled list, then selected.
  EXPECT_EQ(call("changeInputSourceTo:", {Value::fromUtf8("xkb:fr::fra")}), Value::boolean(true));
  EXPECT_EQ(currentSource(), "xkb:fr::fra");
  EXPECT_EQ(strings(call("availableInputSourceIDs")), (std::vector<std::string>{"xkb:us::eng", "xkb:fr::fra"}));
  EXPECT_EQ(preloadEnginesAsAnotherProcessSeesThem(), "['xkb:us::eng', 'xkb:fr::fra']\n");

  // Already enabled: selected without touching the list.
  EXPECT_EQ(call("changeInputSourceTo:", {Value::fromUtf8("xkb:us::eng")}), Value::boolean(true));
  EXPECT_EQ(currentSource(), "xkb:us::eng");
  EXPECT_EQ(strings(call("availableInputSourceIDs")), (std::vector<std::string>{"xkb:us::eng", "xkb:fr::fra"}));
}

TEST_F(OnPrivateIBus, AnUnknownIdentifierChangesNothing) {
  ASSERT_TRUE(platform::storeEnabledEngineNames({"xkb:us::eng"}));
  ASSERT_EQ(call("changeInputSourceTo:", {Value::fromUtf8("xkb:us::eng")}), Value::boolean(true));
  for (const Value& id : {Value::fromUtf8("xkb:no::such"), Value::fromUtf8(""), Value::fromUtf8("XKB:US::ENG"),
                          Value::string(u"xkb:us::eng\xD800"), Value::integer(1), Value(), Value::null()}) {
    EXPECT_EQ(call("changeInputSourceTo:", {id}), Value::boolean(false));
  }
  EXPECT_EQ(currentSource(), "xkb:us::eng");
  EXPECT_EQ(strings(call("availableInputSourceIDs")), (std::vector<std::string>{"xkb:us::eng"}));
}

TEST_F(OnPrivateIBus, TheLayoutSourceOfALayoutEngineIsThatEngine) {
  ASSERT_TRUE(platform::storeEnabledEngineNames({"xkb:us::eng", "xkb:de::deu"}));
  ASSERT_EQ(call("changeInputSourceTo:", {Value::fromUtf8("xkb:de::deu")}), Value::boolean(true));
  EXPECT_EQ(call("currentKeyboardLayoutInputSourceID"), Value::fromUtf8("xkb:de::deu"));
  ASSERT_EQ(call("changeInputSourceTo:", {Value::fromUtf8("xkb:fr::fra")}), Value::boolean(true));
  EXPECT_EQ(call("currentKeyboardLayoutInputSourceID"), Value::fromUtf8("xkb:fr::fra"));
}

// The global engine comes with the layout its description declares, which
// the layout-source rule reads for engines that are not layouts themselves.
TEST_F(OnPrivateIBus, TheCurrentSourceIsTheGlobalEngine) {
  ASSERT_EQ(call("changeInputSourceTo:", {Value::fromUtf8("xkb:de::deu")}), Value::boolean(true));
  platform::IBusSession session;
  ASSERT_TRUE(session.connected());
  std::optional<platform::EngineInfo> global = session.globalEngine();
  ASSERT_TRUE(global);
  EXPECT_EQ(global->name, "xkb:de::deu");
  EXPECT_EQ(global->layout, "de");
}

}  // namespace
}  // namespace tessaro
