// softtoken-cli settings, and the settings that the command line obeys.

#include <gtest/gtest.h>

#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

nlohmann::json settings(const CliHome& home) {
  const Ended ended = home.run({"settings", "--json"});
  expectSuccess(ended);
  return nlohmann::json::parse(ended.out, nullptr, false);
}

nlohmann::json entry(const nlohmann::json& settings, const std::string& key) {
  for (const auto& each : settings.at("settings")) {
    if (each.at("key") == key) return each;
  }
  return nullptr;
}

TEST(Settings, EveryKeyIsListedOnceInTheDocumentedOrder) {
  const CliHome home;
  const Strings expected = {"EnrolURL",
                            "Debug",
                            "AllowManual",
                            "AllowTaEnrol",
                            "AllowHTTP",
                            "CopyButton",
                            "CloseOnCopy",
                            "RollupSteps",
                            "RollupInterval",
                            "GettingStartedURL",
                            "ButtonFontSize",
                            "ProtocolVersion",
                            "StrMenuOpen",
                            "StrMenuAdd",
                            "StrMenuExit",
                            "StrUsername",
                            "StrPassword",
                            "StrPasscode",
                            "StrAccessDenied",
                            "StrGetURL",
                            "StrGettingStarted",
                            "StrManage",
                            "StrPleaseWait",
                            "StrEnrolPrompt",
                            "StrErrNoEnrolURL",
                            "StrButtonEdit",
                            "StrButtonHelp",
                            "StrButtonAdd",
                            "StrButtonHome",
                            "StrButtonCancel",
                            "StrButtonDelete",
                            "StrButtonSubmit",
                            "StrButtonOK",
                            "StrButtonCopy",
                            "StrDeletePleaseSelect",
                            "StrDeleteAreYouSure",
                            "StrManualDesc",
                            "StrManualSeed",
                            "StrSecretQuestions",
                            "StrStartupAdd",
                            "StrStartupRemove",
                            "ClipboardSeconds",
                            "LoginItems",
                            "Shortcut",
                            "AllowSearch"};
  Strings keys;
  const auto found = settings(home);
  for (const auto& each : found.at("settings")) keys.push_back(each.at("key"));
  EXPECT_EQ(keys, expected);
}

TEST(Settings, DefaultsAndWhatTheFileSaysAreToldApart) {
  const CliHome home;
  home.setSettings("debug=no\nROLLUPSTEPS= 7x\nStrPassword=Pass=word \nStrPasscode=\n");
  const auto found = settings(home);
  const std::string file = home.settingsFile();
  EXPECT_EQ(found.at("file"), file);
  const auto expect = [&](const char* key, const char* value, const nlohmann::json& from) {
    EXPECT_EQ(entry(found, key), (nlohmann::json{{"key", key}, {"value", value}, {"file", from}}));
  };
  expect("Debug", "false", file);
  expect("RollupSteps", "7", file);
  expect("StrPassword", "Pass=word ", file);
  expect("StrPasscode", "Passcode", nullptr);
  expect("AllowManual", "false", nullptr);
  expect("AllowTaEnrol", "true", nullptr);
  expect("ProtocolVersion", "7200", nullptr);
}

TEST(Settings, TableNamesTheFile) {
  const CliHome home;
  const Ended ended = home.run({"settings"});
  expectSuccess(ended);
  EXPECT_NE(ended.out.find(home.settingsFile()), std::string::npos) << ended.out;
  const std::size_t line = ended.out.find("\nAllowManual ");
  ASSERT_NE(line, std::string::npos) << ended.out;
  const std::string text = ended.out.substr(line + 1, ended.out.find('\n', line + 1) - line - 1);
  EXPECT_NE(text.find("file"), std::string::npos) << text;
  EXPECT_NE(text.find("true"), std::string::npos) << text;
}

TEST(Settings, WithoutAFileAllAreDefaults) {
  if (exists("/etc/tasofttoken.ini")) GTEST_SKIP() << "this computer has a settings file";
  const CliHome home;
  std::filesystem::remove(home.settingsFile());
  const auto found = settings(home);
  EXPECT_EQ(found.at("file"), nullptr);
  for (const auto& each : found.at("settings")) EXPECT_EQ(each.at("file"), nullptr);
}

TEST(Settings, ValuesDoNotSteerTheTerminal) {
  const CliHome home;
  home.setSettings("StrPasscode=\x1b[2Jwiped\x07\n");
  const Ended ended = home.run({"settings"});
  expectSuccess(ended);
  EXPECT_EQ(ended.out.find_first_of("\x1b\x07"), std::string::npos);
  EXPECT_EQ(entry(settings(home), "StrPasscode").at("value"), "\x1b[2Jwiped\x07");
}

TEST(Settings, NeedNoKeychain) {
  CliHome home;
  home.keychain = "secret-service";
  expectSuccess(home.run({"settings"}));
}

TEST(Settings, OtherFilesThanTextAreNotRead) {
  const CliHome home;
  home.setSettings("AllowManual=true\nStrMenuAdd=\xFF\n");
  if (exists("/etc/tasofttoken.ini")) GTEST_SKIP() << "this computer has a settings file";
  const auto shown = nlohmann::json::parse(home.run({"settings", "--json"}).out, nullptr, false);
  EXPECT_EQ(entry(shown, "AllowManual").at("value"), "false");
  expectFailure(home.run({"add", "Mail"}, seed_16), 1, "AllowManual");
}

TEST(Settings, FileThatCannotBeReadIsTold) {
  const CliHome home;
  home.setSettings("AllowManual=true\n");
  EXPECT_EQ(home.run({"settings"}).err, "");
  home.setSettings("\xFF");
  for (const Strings& command : {Strings{"settings"}, Strings{"settings", "--json"}}) {
    EXPECT_EQ(home.run(command).err, "softtoken-cli: " + home.settingsFile() +
                                         " is not readable UTF-8 text; fix it or remove it\n");
  }
}

TEST(Settings, DebugWritesAPrivateTraceAndNothingElse) {
  const CliHome home;
  home.setSettings("AllowManual=true\nDebug=yes\n");
  home.add("Mail");
  ASSERT_TRUE(exists(home.traceFile()));
  EXPECT_EQ(modeOf(home.traceFile()), 0600);
  const std::string trace = readFile(home.traceFile());
  EXPECT_NE(trace.find("Debug started"), std::string::npos);
  EXPECT_NE(trace.find("  vane::WriteToken: key: TalvaneSoftToken5020"), std::string::npos);
  EXPECT_EQ(home.names(), Strings{"Mail"});
}

TEST(Settings, NoTraceWithoutDebug) {
  const CliHome home;
  home.add("Mail");
  EXPECT_FALSE(exists(home.traceFile()));
}

TEST(Settings, CheckOfAGoodFile) {
  const CliHome home;
  const Ended ended = home.run({"settings", "--check", home.settingsFile()});
  expectSuccess(ended);
  EXPECT_EQ(ended.out, "No problems found.\n");
}

TEST(Settings, CheckTellsLineAndReason) {
  const CliHome home;
  home.setSettings("Debug=1\nColour=blue\n");
  const Ended ended = home.run({"settings", "--check", home.settingsFile()});
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_EQ(ended.out, home.settingsFile() + ":2: Unknown key \"Colour\"\n");
  EXPECT_EQ(ended.err, "softtoken-cli: Found 1 problem; fix the line above\n");
}

TEST(Settings, CheckOfAFileThatIsNotThere) {
  const CliHome home;
  expectFailure(home.run({"settings", "--check", home.path("none.ini")}), 1, "Cannot read ");
}

}  // namespace
}  // namespace talvane::test
