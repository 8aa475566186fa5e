#include "bootargs/boot_args.h"

#include <random>

#include "testing/unit_test.h"

namespace corvane {
namespace {

using corvane::testing::cfString;
using corvane::testing::readText;
using corvane::testing::text;
using host::VirtualDevice;

class BootArgsTest : public corvane::testing::UnitTest {
 protected:
  void start(const std::optional<std::string>& value) { _unit.setFacts({.bootArgs = value}); }
  std::string variables() const { return readText(_unit.folder() / "nvram.plist"); }
};

std::string bootArgs() { return text(CFRef<CFStringRef>(copyBootArgs()).get()); }
void add(const std::string& word) { addBootArg(cfString(word).get()); }
void remove(const std::string& word) { removeBootArg(cfString(word).get()); }
void set(const std::string& value) { setBootArgs(cfString(value).get()); }
bool has(const std::string& word) { return hasBootArg(cfString(word).get()); }

TEST_F(BootArgsTest, EditsWorkOnTheTextAndNotOnItsWords) {
  constexpr char kTwo[] = "alpha=1 beta=2";
  const struct {
    const char* before;
    void (*edit)(const std::string&);
    const char* word;
    const char* after;
  } cases[] = {
      {kTwo, add, "\t\xC2\xA0gamma\xE3\x80\x80", "alpha=1 beta=2 gamma"},
      {kTwo, add, "\u1680\u2000\u200A\u202F\u205F", "alpha=1 beta=2 "},
      {kTwo, add, "\u200B", "alpha=1 beta=2 \u200B"},
      {kTwo, add, "gamma\n", "alpha=1 beta=2 gamma\n"},
      {kTwo, add, "ALPHA", "alpha=1 beta=2 ALPHA"},
      {kTwo, set, "<&> \xC3\xA9", "<&> \xC3\xA9"},
  };
  for (const auto& c : cases) {
    start(c.before);
    c.edit(c.word);
    EXPECT_EQ(bootArgs(), c.after) << c.before << " / " << c.word;
  }
  EXPECT_EQ(VirtualDevice::openHandles(), 0u);
}

TEST_F(BootArgsTest, OnlySettingCreatesTheVariable) {
  start(std::nullopt);
  const std::string none = variables();
  add("gamma");
  remove("gamma");
  EXPECT_EQ(variables(), none);
  EXPECT_EQ(bootArgs(), "(absent)");
  set("gamma");
  EXPECT_EQ(bootArgs(), "gamma");
  const std::string some = variables();
  addBootArg(nullptr);
  setBootArgs(nullptr);
  EXPECT_EQ(variables(), some);
}

TEST_F(BootArgsTest, RemovingWritesEvenWhenNothingMatches) {
  start("alpha");
  VirtualDevice::setFaults("access@999999");  // Calls are counted while there are rules.
  remove("zeta");
  EXPECT_EQ(VirtualDevice::callsMade()["IORegistryEntrySetCFProperty"], 1u);
}

TEST_F(BootArgsTest, EachFailureLeavesTheVariable) {
  const struct {
    const char* rule;
    const char* read;
    std::vector<std::string> systemLog = {};
  } cases[] = {
      {"IORegistryEntryFromPath", "(absent)", {"No registry entry for IODeviceTree:/options"}},
      {"IORegistryEntryCreateCFProperty", "(absent)"},
      {"IOMasterPort", "alpha"},
      {"IOMasterPort=0", "alpha"},
      {"IOServiceGetMatchingService", "alpha"},
      {"IORegistryEntrySetCFProperty", "alpha"},
  };
  for (const auto& c : cases) {
    start("alpha");
    const std::string before = variables();
    const std::function<void()> works[] = {
        [&] { EXPECT_EQ(bootArgs(), c.read); },
        [&] { EXPECT_EQ(has("alpha"), c.read[0] == 'a'); },
        [] { add("gamma"); },
        [] { remove("alpha"); },
    };
    for (const auto& work : works) {
      const Trace trace = traceOf(c.rule, work);
      EXPECT_EQ(trace.systemLog, c.systemLog) << c.rule;
      EXPECT_TRUE(trace.log.empty()) << c.rule;
      EXPECT_EQ(variables(), before) << c.rule;
    }
  }
  corvane::testing::writeText(_unit.folder() / "nvram.plist",
                              "<plist><dict><key>boot-args</key><data>AQI=</data></dict></plist>");
  EXPECT_EQ(bootArgs(), "(absent)") << "a value that is not a text";
}

TEST_F(BootArgsTest, RandomEditsFollowPlainStringEditing) {
  std::mt19937 random(20261121);
  const auto randomText = [&](size_t longest) {
    std::string word;
    for (size_t left = random() % (longest + 1); left > 0; --left) word += "ab= -"[random() % 5];
    return word;
  };
  std::string model = "a=b";
  start(model);
  for (int step = 0; step < 400; ++step) {
    const std::string word = randomText(3);
    const auto kind = random() % 8;
    if (kind == 0) {
      model = randomText(30);
      set(model);
    } else if (kind < 3) {
      remove(word);
      for (size_t at = 0; !word.empty() && (at = model.find(word, at)) != std::string::npos;) {
        model.erase(at, word.size());
      }
    } else {
      add(word);
      const size_t start = std::min(word.find_first_not_of(' '), word.size());
      const std::string bare = word.substr(start, word.find_last_not_of(' ') + 1 - start);
      if (bare.empty() || model.find(bare) == std::string::npos) model += " " + bare;
    }
    ASSERT_EQ(bootArgs(), model) << "step " << step;
    ASSERT_EQ(has(word), !word.empty() && model.find(word) != std::string::npos) << word;
  }
}

}  // namespace
}  // namespace corvane
