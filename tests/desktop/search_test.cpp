// The desktop's search: GNOME's search provider and KRunner's runner.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <regex>
#include <sstream>

#include "tests/desktop/desktop.h"
#include "tests/secret_service/bus_client.h"

namespace talvane::test {
namespace {

using std::chrono::milliseconds;
using talvane::testing::BusClient;
using talvane::testing::BusMonitor;
using talvane::testing::Variant;

constexpr const char* bus_name = "example.talvane.softtoken";
constexpr const char* object = "/example/talvane/softtoken/search";
constexpr const char* gnome = "org.gnome.Shell.SearchProvider2";
constexpr const char* krunner = "org.kde.krunner1";

GVariant* listOf(const Strings& words) {
  GVariantBuilder list;
  g_variant_builder_init(&list, G_VARIANT_TYPE("as"));
  for (const std::string& word : words) g_variant_builder_add(&list, "s", word.c_str());
  return g_variant_builder_end(&list);
}

Strings stringsIn(GVariant* answer) {
  const Variant list(g_variant_get_child_value(answer, 0));
  Strings result;
  for (gsize i = 0; i < g_variant_n_children(list.get()); ++i) {
    const Variant item(g_variant_get_child_value(list.get(), i));
    result.emplace_back(g_variant_get_string(item.get(), nullptr));
  }
  return result;
}

std::string printed(GVariant* value) {
  char* const text = g_variant_print(value, FALSE);
  const std::string result = text;
  g_free(text);
  return result;
}

class SearchTest : public DesktopTest {
 protected:
  [[nodiscard]] bool isServed() {
    const Variant answer =
        client_.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                     "NameHasOwner", g_variant_new("(s)", bus_name));
    gboolean has_owner = FALSE;
    g_variant_get(answer.get(), "(b)", &has_owner);
    return has_owner != FALSE;
  }
  void startServing(const Strings& arguments = {}) {
    if (arguments.empty()) {
      start();
    } else {
      launch(arguments);
    }
    ASSERT_TRUE(until([&] { return isServed(); })) << programOutput();
  }
  Variant ask(const char* interface, const char* method, GVariant* parameters) {
    return client_.call(bus_name, object, interface, method, parameters);
  }
  Strings found(const Strings& terms) {
    return stringsIn(
        ask(gnome, "GetInitialResultSet", g_variant_new("(@as)", listOf(terms))).get());
  }
  std::string matches(const char* query) {
    return printed(ask(krunner, "Match", g_variant_new("(s)", query)).get());
  }
  void choose(const char* name) {
    ask(gnome, "ActivateResult", g_variant_new("(s@asu)", name, listOf({"mail"}), 0U));
  }
  [[nodiscard]] bool clipboardComesToHold(const std::string& seed) {
    return until([&] {
      const auto now = std::chrono::duration_cast<std::chrono::seconds>(
                           std::chrono::system_clock::now().time_since_epoch())
                           .count();
      const std::string text = clipboardIfAny();
      return text == passcodeOf(seed, 30, now) || text == passcodeOf(seed, 30, now - 5);
    });
  }
  [[nodiscard]] std::string clipboardIfAny() const {
    return runProcess({"xclip", "-selection", "clipboard", "-o"}, environment(), {},
                      std::chrono::seconds(10))
        .out;
  }

  BusClient client_;
};

TEST_F(SearchTest, GnomeFindsNamesAndCopies) {
  add("Work mail");
  add("Bank", other_seed_16);
  add("B\xC3\xBCro mail", other_seed_16);
  startServing();
  EXPECT_EQ(found({"MAIL"}), (Strings{"Work mail", "B\xC3\xBCro mail"}));
  EXPECT_EQ(found({"ma", "buro"}), (Strings{"B\xC3\xBCro mail"}));
  EXPECT_EQ(found({}), Strings());
  EXPECT_EQ(found({"x"}), Strings());
  const Variant narrowed =
      ask(gnome, "GetSubsearchResultSet",
          g_variant_new("(@as@as)", listOf({"Work mail", "B\xC3\xBCro mail"}), listOf({"work"})));
  EXPECT_EQ(stringsIn(narrowed.get()), Strings{"Work mail"});
  const Variant metas = ask(gnome, "GetResultMetas", g_variant_new("(@as)", listOf({"Work mail"})));
  EXPECT_STREQ(g_variant_get_type_string(metas.get()), "(aa{sv})");
  EXPECT_EQ(printed(metas.get()),
            "([{'description': <'Copy the passcode'>, 'gicon': <'softtoken'>, 'id': <'Work mail'>, "
            "'name': <'Work mail'>}],)");
  choose("Work mail");
  EXPECT_TRUE(clipboardComesToHold(seed_16));
  EXPECT_EQ(clipboard("x-kde-passwordManagerHint"), "secret");
  EXPECT_FALSE(panel().has_value());
}

TEST_F(SearchTest, KRunnerFindsNamesAndCopies) {
  add("Work mail");
  add("Bank", other_seed_16);
  startServing();
  const Variant actions = ask(krunner, "Actions", nullptr);
  EXPECT_STREQ(g_variant_get_type_string(actions.get()), "(a(sss))");
  EXPECT_EQ(matches("bank"),
            "([('Bank', 'Bank', 'softtoken', 30, 0.80000000000000004, {'subtext': <'Copy the "
            "passcode'>})],)");
  const Variant none = ask(krunner, "Match", g_variant_new("(s)", "x"));
  EXPECT_STREQ(g_variant_get_type_string(none.get()), "(a(sssida{sv}))");
  EXPECT_EQ(g_variant_n_children(none.get()), 1U);
  ask(krunner, "Run", g_variant_new("(ss)", "Bank", ""));
  EXPECT_TRUE(clipboardComesToHold(other_seed_16));
}

TEST_F(SearchTest, OnlyNamesLeaveTheProgram) {
  add("Work mail");
  startServing();
  const auto code = [] {
    return passcodeOf(seed_16, 30,
                      std::chrono::duration_cast<std::chrono::seconds>(
                          std::chrono::system_clock::now().time_since_epoch())
                          .count());
  };
  BusMonitor monitor;
  const std::string before = code();
  EXPECT_EQ(found({"work"}), Strings{"Work mail"});
  EXPECT_NE(matches("work"), "");
  choose("Work mail");
  EXPECT_TRUE(clipboardComesToHold(seed_16));
  EXPECT_TRUE(monitor.saw("Work mail"));
  for (const std::string& secret : {std::string(seed_16), before, code()}) {
    EXPECT_FALSE(monitor.saw(secret));
  }
}

TEST_F(SearchTest, ATokenThatHasGoneOpensThePanel) {
  add("Work mail");
  startServing();
  choose("Bank");
  EXPECT_TRUE(opens());
  EXPECT_EQ(clipboardIfAny(), "");
}

TEST_F(SearchTest, TheProgramItselfCanBeChosen) {
  startServing();
  ask(gnome, "LaunchSearch", g_variant_new("(@asu)", listOf({"mail"}), 0U));
  EXPECT_TRUE(opens());
  // Again, it stays.
  ask(gnome, "LaunchSearch", g_variant_new("(@asu)", listOf({"mail"}), 0U));
  EXPECT_FALSE(until([&] { return !panel().has_value(); }, milliseconds(500)));
}

TEST_F(SearchTest, CanBeSwitchedOff) {
  add("Work mail");
  setSettings("AllowManual=true\nAllowSearch=false\n");
  start();
  openPanel();
  EXPECT_FALSE(isServed());
}

TEST_F(SearchTest, StrangeCallsAreRefused) {
  add("Work mail");
  startServing();
  EXPECT_THROW(ask(gnome, "GetInitialResultSet", g_variant_new("(s)", "work")), std::runtime_error);
  EXPECT_THROW(ask(gnome, "ActivateResult", nullptr), std::runtime_error);
  EXPECT_THROW(ask(krunner, "Delete", g_variant_new("(s)", "work")), std::runtime_error);
  EXPECT_EQ(found({"work"}), Strings{"Work mail"});
}

// The user's tokens are in the desktop's keyring.
class SearchInKeyringTest : public SearchTest {
 protected:
  SearchInKeyringTest() {
    session_.startDaemon("open sesame");
    const Ended ended =
        commandLine({"--keychain", "secret-service", "add", "Mail"}, seed_16 + std::string("\n"));
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
  }
};

TEST_F(SearchInKeyringTest, ALockedOneGivesNothingAndAsksNothing) {
  startServing();
  EXPECT_EQ(found({"mail"}), Strings{"Mail"});
  client_.lock(client_.defaultCollection());
  {
    BusMonitor monitor;
    EXPECT_EQ(found({"mail"}), Strings());
    EXPECT_EQ(matches("mail"), "([],)");
    EXPECT_EQ(monitor.calls("Prompt"), 0);
  }
  client_.unlock(client_.defaultCollection(), "open sesame");
  EXPECT_EQ(found({"mail"}), Strings{"Mail"});
}

TEST_F(SearchInKeyringTest, AHungOneGivesNothingInTimeAndLeavesThePanelFree) {
  startServing();
  session_.daemon().signal(SIGSTOP);
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(found({"mail"}), Strings());
  const std::chrono::duration<double> lasted = std::chrono::steady_clock::now() - before;
  EXPECT_LT(lasted.count(), 3);
  session_.daemon().signal(SIGCONT);
  EXPECT_TRUE(until([&] { return found({"mail"}) == Strings{"Mail"}; }));
}

// The program as a search starts it.
class BackgroundTest : public SearchTest {};

TEST_F(BackgroundTest, ShowsNothingUntilAnotherStart) {
  forgetAnswers();
  add("Work mail");
  startServing({"--background"});
  EXPECT_EQ(found({"mail"}), Strings{"Work mail"});
  choose("Work mail");
  EXPECT_TRUE(clipboardComesToHold(seed_16));
  EXPECT_FALSE(until([&] { return icon() || panel(); }, milliseconds(500)));
  EXPECT_EQ(startAgain({"--background"}).exit_code, 0);
  EXPECT_EQ(startAgain().exit_code, 0);
  answer("Add to \"Login Items\"?", "NO");
  EXPECT_TRUE(until([&] { return icon().has_value(); }));
  EXPECT_FALSE(panel().has_value());
  // Now it is as any other.
  openPanel();
}

TEST_F(BackgroundTest, AWishIsFulfilledAtOnce) {
  add("Work mail");
  startServing({"--background"});
  EXPECT_EQ(startAgain({"--toggle"}).exit_code, 0);
  EXPECT_TRUE(opens());
  EXPECT_TRUE(icon().has_value());
}

TEST_F(BackgroundTest, EndsWhereSearchIsSwitchedOff) {
  setSettings("AllowSearch=false\n");
  launch({"--background"});
  EXPECT_EQ(program_.end(), 0);
}

// By the files that are installed.
TEST_F(BackgroundTest, TheBusStartsIt) {
  add("Work mail");
  std::string service = readFile(RESOURCES "/desktop/example.talvane.softtoken.service.in");
  ASSERT_NE(service.find("Name=" + std::string(bus_name) + "\n"), std::string::npos);
  service = std::regex_replace(service, std::regex("Exec=.*/softtoken "), "Exec=" SOFTTOKEN " ");
  writeFile(session_.services() / (std::string(bus_name) + ".service"), service);
  GVariantBuilder variables;
  g_variant_builder_init(&variables, G_VARIANT_TYPE("a{ss}"));
  for (const std::string& variable : environment()) {
    const std::size_t equals = variable.find('=');
    g_variant_builder_add(&variables, "{ss}", variable.substr(0, equals).c_str(),
                          variable.substr(equals + 1).c_str());
  }
  client_.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
               "UpdateActivationEnvironment",
               g_variant_new("(@a{ss})", g_variant_builder_end(&variables)));
  EXPECT_FALSE(isServed());
  // As a search's first call does.
  client_.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
               "StartServiceByName", g_variant_new("(su)", bus_name, 0U));
  EXPECT_EQ(found({"work"}), Strings{"Work mail"});
  EXPECT_FALSE(icon() || panel());
  EXPECT_EQ(startAgain({"--quit"}).exit_code, 0);
  EXPECT_TRUE(until([&] { return !isServed(); }));
}

// What the desktops read names what the program serves.
TEST(SearchFiles, NameTheServiceAndItsObject) {
  const std::string provider =
      readFile(RESOURCES "/desktop/example.talvane.softtoken.search-provider.ini");
  EXPECT_NE(provider.find("BusName=" + std::string(bus_name) + "\n"), std::string::npos);
  EXPECT_NE(provider.find("ObjectPath=" + std::string(object) + "\n"), std::string::npos);
  EXPECT_NE(provider.find("DesktopId=softtoken.desktop\n"), std::string::npos);
  const std::string runner = readFile(RESOURCES "/desktop/softtoken-krunner.desktop");
  EXPECT_NE(runner.find("X-Plasma-DBusRunner-Service=" + std::string(bus_name) + "\n"),
            std::string::npos);
  EXPECT_NE(runner.find("X-Plasma-DBusRunner-Path=" + std::string(object) + "\n"),
            std::string::npos);
}

}  // namespace
}  // namespace talvane::test
