// settings and doctor with a policy. The program takes it from /etc only, so the commands run
// within the test, with another place; whoever runs it stands for root.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/failure.h"
#include "cli/session.h"
#include "tests/support/private_home.h"

namespace talvane::test {
namespace {

struct Output {
  std::string out;
  std::string err;
  int exit_code = 0;
};

class PolicyInCommands : public testing::Test {
 protected:
  PolicyInCommands() {
    std::filesystem::create_directory(home.root() + "/etc");
    EXPECT_EQ(chmod((home.root() + "/etc").c_str(), 0755), 0);
    writeFile(home.home() + "/tasofttoken.ini", "AllowHTTP=true\nAllowManual=true\n");
  }
  void setPolicy(const std::string& text, mode_t mode = 0644) const {
    writeFile(policy(), text);
    EXPECT_EQ(chmod(policy().c_str(), mode), 0);
  }
  [[nodiscard]] std::string policy() const { return home.root() + "/etc/policy.ini"; }

  template <typename Make>
  [[nodiscard]] Output run(Make make, const std::string& arguments) const {
    SessionOptions options;
    options.keychain = "vault";
    options.folders = {home.home(), home.root() + "/none", home.root() + "/none", policy(),
                       geteuid()};
    CLI::App line;
    const std::unique_ptr<Command> command = make();
    command->addTo(line);
    Output output;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    try {
      line.parse(arguments);
      Session session(options);
      command->run(session);
    } catch (const Failure& failure) {
      output.exit_code = failure.code();
    }
    std::fflush(stdout);
    output.out = testing::internal::GetCapturedStdout();
    output.err = testing::internal::GetCapturedStderr();
    return output;
  }

  PrivateHome home;
};

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST_F(PolicyInCommands, SettingsShowTheSource) {
  setPolicy("AllowHTTP=false\nLoginItems=on\n");
  const Output table = run(makeSettingsCommand, "settings");
  EXPECT_EQ(table.err, "");
  EXPECT_TRUE(has(table.out, "Policy: " + policy() + "\n")) << table.out;
  EXPECT_TRUE(has(table.out, "AllowHTTP               policy   false\n")) << table.out;
  EXPECT_TRUE(has(table.out, "AllowManual             file     true\n")) << table.out;
  EXPECT_TRUE(has(table.out, "LoginItems              policy   on\n")) << table.out;
  const Output json = run(makeSettingsCommand, "settings --json");
  EXPECT_TRUE(has(json.out, "\"policy\": \"" + policy() + "\"")) << json.out;
  EXPECT_TRUE(has(json.out, "\"file\": \"" + policy() + "\"")) << json.out;
}

TEST_F(PolicyInCommands, WithoutOneNothingIsSaidOfIt) {
  for (const char* arguments : {"settings", "settings --json"}) {
    const Output output = run(makeSettingsCommand, arguments);
    EXPECT_FALSE(has(output.out, "olicy")) << output.out;
    EXPECT_EQ(output.err, "");
  }
  EXPECT_FALSE(has(run(makeDoctorCommand, "doctor").out, "policy"));
}

TEST_F(PolicyInCommands, DoctorShowsItAndItsMistakes) {
  setPolicy("AllowHTTP=false\n");
  const Output good = run(makeDoctorCommand, "doctor");
  EXPECT_EQ(good.exit_code, 0) << good.out;
  EXPECT_TRUE(has(good.out, "ok policy              " + policy() + "\n")) << good.out;
  setPolicy("AllowHTTP=flase\nEnrolUrl=http://srv.example\n");
  const Output bad = run(makeDoctorCommand, "doctor");
  EXPECT_EQ(bad.exit_code, 1);
  EXPECT_TRUE(has(bad.out, "!! policy              " + policy() + ":1: AllowHTTP=flase"))
      << bad.out;
  EXPECT_TRUE(has(bad.out, policy() + ":2: EnrolURL: http://srv.example is not allowed"))
      << bad.out;
}

TEST_F(PolicyInCommands, OneThatIsIgnoredIsAFault) {
  setPolicy("AllowHTTP=false\n", 0666);
  const Output doctor = run(makeDoctorCommand, "doctor");
  EXPECT_EQ(doctor.exit_code, 1);
  EXPECT_TRUE(has(doctor.out, "!! policy              The policy " + policy() + " is ignored"))
      << doctor.out;
  const Output settings = run(makeSettingsCommand, "settings");
  EXPECT_TRUE(has(settings.err, "The policy " + policy() + " is ignored")) << settings.err;
  EXPECT_TRUE(has(settings.out, "AllowHTTP               file     true\n")) << settings.out;
}

}  // namespace
}  // namespace talvane::test
