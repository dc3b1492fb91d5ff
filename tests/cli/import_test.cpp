// softtoken-cli import.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

std::string url(const std::string& rest) {
  return "otpauth://totp/" + rest;
}

std::string fixture(const std::string& name) {
  return std::string(CLI_FIXTURES) + '/' + name;
}

// Expects that the import fails and that all is as it was before.
void expectRefused(const CliHome& home, const std::string& source, std::string_view words) {
  const nlohmann::json before = home.list();
  expectFailure(home.run({"import", source}), 1, words);
  EXPECT_EQ(home.list(), before) << source;
}

void expectPasscode(const CliHome& home, const std::string& name, const std::string& seed,
                    int period) {
  const auto [ended, time] = inOneStep(period, [&] { return home.run({"code", "--", name}); });
  expectSuccess(ended);
  EXPECT_EQ(ended.out, oathPasscode(seed, period, time) + '\n') << name;
}

TEST(Import, NamesThatDoNotShowAreRefused) {
  const CliHome home;
  const std::string secret = "?secret=JBSWY3DPEHPK3PXP";
  for (const std::string& url :
       {"otpauth://totp/a%E2%80%AEb" + secret, "otpauth://totp/a" + secret + "&display=x%0Ay"}) {
    expectFailure(home.run({"import", url}), 1, "are invisible");
  }
  EXPECT_EQ(home.names(), Strings{});
}

TEST(Import, UrlFromAnArgument) {
  const CliHome home;
  const Ended ended = home.run({"import", url("Work%20mail?secret=JBSWY3DPEHPK3PXP&period=60")});
  expectSuccess(ended);
  EXPECT_EQ(ended.out, "Stored \"Work mail\" in slot 0.\n");
  expectPasscode(home, "Work mail", seed_16, 60);
}

TEST(Import, UrlFromStandardInput) {
  const CliHome home;
  const std::string line = url("Mail?secret=JBSWY3DPEHPK3PXP") + "\r\n";
  expectSuccess(home.run({"import"}, line));
  expectSuccess(home.run({"import", "-", "--replace"}, line));
  EXPECT_EQ(home.names(), Strings{"Mail"});
  expectPasscode(home, "Mail", seed_16, 30);
}

TEST(Import, BlanksAroundAPastedUrlDoNoHarm) {
  const CliHome home;
  expectSuccess(home.run({"import"}, "  " + url("Mail?secret=JBSWY3DPEHPK3PXP") + " \n"));
  expectPasscode(home, "Mail", seed_16, 30);
}

TEST(Import, PngPicture) {
  const CliHome home;
  expectSuccess(home.run({"import", fixture("token.png")}));
  expectPasscode(home, "From picture", seed_16, 60);
}

TEST(Import, IsRefusedWithoutAllowManual) {
  const CliHome home;
  home.setSettings("AllowManual=no\n");
  const auto before = home.files();
  for (const std::string& source : {url("Mail?secret=JBSWY3DPEHPK3PXP"), fixture("token.png")}) {
    expectFailure(home.run({"import", source}), 1, "AllowManual");
  }
  EXPECT_EQ(home.changedSince(before), Strings{});
}

TEST(Import, DisplayAttributeIsTheName) {
  const CliHome home;
  expectSuccess(home.run({"import", url("Work?secret=JBSWY3DPEHPK3PXP&display=My+Mail%20%7Cbox")}));
  const auto list = home.list();
  EXPECT_EQ(list[0]["created_as"], "Work");
  EXPECT_EQ(list[0]["name"], "My Mail ");
  expectPasscode(home, "Work", seed_16, 30);
}

TEST(Import, ThirteenCharacterSecretYieldsTheResponseCode) {
  const CliHome home;
  const Ended ended = home.run({"import", url("Mail?secret=MFRGGZDFMZTWQ")});
  expectSuccess(ended);
  EXPECT_NE(ended.out.find("Response code: "), std::string::npos) << ended.out;
}

TEST(Import, OtherUrlsAreRefused) {
  const CliHome home;
  home.add("Present");
  expectRefused(home, "otpauth://hotp/Mail?secret=JBSWY3DPEHPK3PXP&counter=1", "totp");
  expectRefused(home, "https://www.example.org/", "otpauth");
  expectRefused(home, url("Mail"), "secret");
  expectRefused(home, url("Mail?secret=JBSWY3DPEHPK3PX"), "13 or 16");
}

TEST(Import, PasscodesOfAnotherKindAreRefusedWithTheReason) {
  const CliHome home;
  const std::string secret = "Mail?secret=JBSWY3DPEHPK3PXP";
  expectRefused(home, url(secret + "&digits=8&algorithm=SHA256"), "8 digits");
  expectRefused(home, url(secret + "&algorithm=SHA512"), "algorithm SHA512");
  expectRefused(home, url(secret + "&period=45"), "30 nor 60");
  expectSuccess(home.run({"import", url(secret + "&digits=6&algorithm=SHA1&period=30")}));
}

TEST(Import, SecretThatCannotWorkIsRefusedBeforeTheNameThatIsTaken) {
  const CliHome home;
  home.add("Mail");
  expectRefused(home, url("Mail?secret=JBSWY3DPEHPK3PXPJBSWY3DP"), "Invalid seed length");
}

TEST(Import, NameInUseIsRefusedUnlessReplaced) {
  const CliHome home;
  home.add("Mail");
  home.add("Bank");
  const std::string source = url("Mail?secret=GEZDGNBVGY3TQOJQ");
  expectRefused(home, source, "--replace");
  expectPasscode(home, "Mail", seed_16, 30);
  expectSuccess(home.run({"import", source, "--replace"}));
  EXPECT_EQ(home.names(), (Strings{"Mail", "Bank"}));
  expectPasscode(home, "Mail", other_seed_16, 30);
}

TEST(Import, FilesThatAreNoPictures) {
  const CliHome home;
  home.add("Present");
  const std::string text = home.path("text.png");
  writeFile(text, url("Mail?secret=JBSWY3DPEHPK3PXP"));
  expectRefused(home, text, text);
  const std::string empty = home.path("empty.jpg");
  writeFile(empty, "");
  expectRefused(home, empty, empty);
  expectRefused(home, home.path("missing.png"), "missing.png");
  expectRefused(home, home.root(), home.root());
  expectRefused(home, "/dev/zero", "/dev/zero");
}

TEST(Import, EmptyFileNameIsExplained) {
  const CliHome home;
  const Ended ended = home.run({"import", ""});
  EXPECT_NE(ended.exit_code, 0);
  EXPECT_EQ(ended.err.find("file ;"), std::string::npos) << ended.err;
}

TEST(Import, PipeInThePlaceOfAPictureDoesNotHang) {
  const CliHome home;
  const std::string pipe = home.path("pipe.png");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const Ended ended =
      runProcess(home.command({"import", pipe}), home.environment, {}, std::chrono::seconds(10));
  EXPECT_FALSE(ended.timed_out);
  expectFailure(ended, 1, pipe);
}

TEST(Import, PicturesWithoutExactlyOneTokenCode) {
  const CliHome home;
  home.add("Present");
  expectRefused(home, fixture("no_code.png"), "No QR code");
  expectRefused(home, fixture("two_codes.png"), "several");
  expectRefused(home, fixture("other_text.png"), "otpauth");
}

TEST(Import, MissingUrl) {
  const CliHome home;
  expectFailure(home.run({"import"}), 2, "Standard input is empty");
  expectFailure(home.run({"import"}, "\n"), 1, "otpauth");
}

TEST(Import, NoMessageRepeatsTheSecret) {
  const CliHome home;
  for (const std::string& source :
       {url("Mail?secret=JBSWY3DPEHPK3PXP&period=45"), std::string("otpauth:JBSWY3DPEHPK3PXP://"),
        url("?secret=JBSWY3DPEHPK3PXP")}) {
    const Ended ended = home.run({"import", source});
    EXPECT_NE(ended.exit_code, 0);
    EXPECT_EQ(ended.err.find(seed_16), std::string::npos) << ended.err;
  }
}

}  // namespace
}  // namespace talvane::test
