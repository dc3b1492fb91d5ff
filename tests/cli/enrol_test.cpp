// softtoken-cli enrol, against the demo enrolment server on loopback.

#include <gtest/gtest.h>
#include <httplib.h>

#include <array>
#include <chrono>
#include <ctime>
#include <thread>

#include "tests/cli/cli_home.h"
#include "tests/support/demo_server.h"

namespace talvane::test {
namespace {

class Enrol : public testing::Test {
 protected:
  Enrol() { home.setSettings("AllowHTTP=1\nAllowManual=1\n"); }

  /// Enrols with one answer a line, and has the server check the new token's passcode.
  void expectEnrolled(const std::string& user, const std::string& answers,
                      const std::string& address) {
    const Ended ended = home.run({"enrol", address}, answers);
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(ended.out, "Stored \"Demo " + user + "\".\n");
    const Ended code = home.run({"code", "Demo " + user});
    expectSuccess(code);
    EXPECT_EQ(server.verdict(user, code.out.substr(0, 6)), "valid\n") << code.out;
  }

  /// Enrolling ends with these words, and nothing is stored.
  void expectRefused(const std::string& answers, const std::string& address,
                     const std::string& words) {
    const Ended ended = home.run({"enrol", address}, answers);
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_NE(ended.err.find("softtoken-cli: " + words), std::string::npos) << ended.err;
    EXPECT_EQ(home.names(), Strings());
  }

  TemporaryFolder folder;
  DemoServer server{folder};
  CliHome home;
};

TEST_F(Enrol, UserNameAlone) {
  expectEnrolled("anna", "anna\n", server.http());
}

TEST_F(Enrol, Password) {
  expectEnrolled("ben", "ben\nsecret\n", server.http() + "/password");
}

TEST_F(Enrol, WrongPasswordIsDeniedWithTheServersWords) {
  expectRefused("ben\nguess\n", server.http() + "/password", "Wrong password");
}

TEST_F(Enrol, PasscodeInAnOlderProtocol) {
  expectEnrolled("carla", "carla\n1234\n", server.http() + "/old");
}

TEST_F(Enrol, DeniedWithAMessage) {
  expectRefused("fred\n", server.http(), "Your account is locked");
}

TEST_F(Enrol, DeniedWithoutAMessage) {
  expectRefused("gina\n", server.http(), "Access Denied");
}

TEST_F(Enrol, PinWithLetters) {
  expectEnrolled("hans", "hans\nAb1234\n", server.http());
}

TEST_F(Enrol, WeakPin) {
  expectRefused("lea\n1234\n1\nfido\n1\nblue\n", server.http(),
                "Pin must not be a raising sequence, this is too weak");
}

TEST_F(Enrol, PinIsCheckedBeforeTheQuestions) {
  expectRefused("hans\nAb12\n", server.http(), "The PIN has 4 characters; it must have 6");
  expectRefused("hans\nab1234\n", server.http(),
                "The PIN must have at least 1 uppercase and at least 1 lowercase letters");
  expectRefused("kim\n11111111\n", server.http(),
                "Pin must not use all the same characters, this is too weak");
}

TEST_F(Enrol, RefusedPinIsAskedForAgainOnATerminalAndEachPinTwice) {
  const auto terminal = home.runOnTerminal({"enrol", server.http()});
  ASSERT_TRUE(terminal->await("Username: "));
  terminal->type("hans\n");
  const auto type = [&](const char* prompt, const char* pin) {
    ASSERT_TRUE(terminal->await(prompt)) << terminal->shown();
    ASSERT_TRUE(terminal->awaitUnseen());
    terminal->type(pin);
  };
  type("PIN: ", "Ab12\n");
  EXPECT_TRUE(terminal->await("The PIN has 4 characters; it must have 6"));
  type("PIN: ", "ab1234\n");
  EXPECT_TRUE(terminal->await("at least 1 uppercase"));
  type("PIN: ", "Ab1234\n");
  type("PIN again: ", "Ab1235\n");
  EXPECT_TRUE(terminal->await("The PINs do not match"));
  type("PIN: ", "Ab1234\n");
  type("PIN again: ", "Ab1234\n");
  EXPECT_TRUE(terminal->await("Stored \"Demo hans\"."));
  EXPECT_EQ(terminal->shown().find("Ab1"), std::string::npos);
  EXPECT_EQ(terminal->finish().exit_code, 0);
}

TEST_F(Enrol, TwoQuestions) {
  expectEnrolled("ines", "ines\n1\nfido\n2\nblue\n", server.http());
}

TEST_F(Enrol, ThreeQuestionsWithA13CharacterSeedOf60Seconds) {
  expectEnrolled("jan", "jan\n1\nfido\n1\nschool\n1\nblue\n", server.http());
}

TEST_F(Enrol, PinAndThreeQuestions) {
  expectEnrolled("kim", "kim\n19283746\n1\nfido\n2\nblue\n1\nschool\n", server.http());
}

TEST_F(Enrol, PinAndTwoQuestionsWithA13CharacterSeed) {
  expectEnrolled("lea", "lea\n1243\n1\nfido\n1\nblue\n", server.http());
}

TEST_F(Enrol, TokenThatWasTypedInIsReplacedOnlyOnDemand) {
  home.add("Demo anna", other_seed_16);
  expectSuccess(home.run({"rename", "Demo anna", "Mine"}));
  const Ended refused = home.run({"enrol", server.http()}, "anna\n");
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_NE(refused.err.find("would replace \"Mine\", which does not come from this server; add "
                             "--replace"),
            std::string::npos)
      << refused.err;
  EXPECT_EQ(home.names(), Strings{"Mine"});
  const Ended ended = home.run({"enrol", server.http(), "--replace"}, "anna\n");
  EXPECT_EQ(ended.exit_code, 0) << ended.err;
  EXPECT_EQ(home.names(), Strings{"Demo anna"});
}

TEST_F(Enrol, TokenOfTheSameServerIsReplacedWithoutAsking) {
  for (int i = 0; i < 2; ++i) expectEnrolled("anna", "anna\n", server.http());
  EXPECT_EQ(home.names(), Strings{"Demo anna"});
  // The same program, by another name.
  std::string elsewhere = server.http();
  elsewhere.replace(elsewhere.find("127.0.0.1"), 9, "localhost");
  EXPECT_EQ(home.run({"enrol", elsewhere}, "anna\n").exit_code, 1);
  EXPECT_EQ(home.run({"delete", "--yes", "Demo anna"}).exit_code, 0);
  EXPECT_EQ(readFile(home.choiceFile()).find("Demo"), std::string::npos) << "forgotten with it";
}

TEST_F(Enrol, ShortAnswer) {
  expectRefused("ines\n1\nab\n1\nblue\n", server.http(),
                "Answer to secret questions must be at least 3 characters long.");
}

TEST_F(Enrol, ChallengesAreAnsweredOneAfterTheOther) {
  const auto terminal = home.runOnTerminal({"enrol", server.http()});
  ASSERT_TRUE(terminal->await("Username: "));
  terminal->type("eva\n");
  std::string answered;
  for (int round = 0; round < 3; ++round) {
    const std::string prompt = "Enter the letters ";
    const auto asked = [&] {
      const std::string& shown = terminal->shown();
      const std::size_t at = shown.rfind(prompt);
      return at == std::string::npos || at + prompt.size() + 4 > shown.size()
                 ? std::string()
                 : shown.substr(at + prompt.size(), 4);
    };
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while ((asked().empty() || asked() == answered) && std::chrono::steady_clock::now() < end) {
      static_cast<void>(terminal->await(prompt));
    }
    answered = asked();
    ASSERT_TRUE(terminal->awaitUnseen());
    terminal->type(answered + "\n");
  }
  EXPECT_TRUE(terminal->await("Stored \"Demo eva\"."));
}

TEST_F(Enrol, HttpsWithACertificateThatIsTrusted) {
  home.environment.push_back("SSL_CERT_FILE=" + server.certificate());
  expectEnrolled("anna", "anna\n", server.https());
}

TEST_F(Enrol, HttpsWithACertificateThatIsNotTrusted) {
  expectRefused("anna\n", server.https(), "The server cannot be reached: SSL certificate problem");
}

TEST_F(Enrol, ServerThatDemandsHttpsIsAskedThereAgain) {
  home.environment.push_back("SSL_CERT_FILE=" + server.certificate());
  expectEnrolled("anna", "anna\n", server.http() + "/https");
}

TEST_F(Enrol, HttpWhereTheSettingsForbidIt) {
  home.setSettings("");
  expectRefused("anna\n", server.http(), "Error: Http not allowed");
}

TEST_F(Enrol, NobodyListens) {
  expectRefused("anna\n", "http://127.0.0.1:9", "The server cannot be reached: ");
}

TEST_F(Enrol, SwitchedOff) {
  home.setSettings("AllowTaEnrol=0\n");
  expectRefused("anna\n", server.http(), "The setting AllowTaEnrol does not allow enrolment");
}

TEST_F(Enrol, NoAddress) {
  const Ended ended = home.run({"enrol"}, "anna\n");
  expectFailure(ended, 1, "No enrol URL configured");
}

TEST_F(Enrol, AddressFromTheSettings) {
  home.setSettings("AllowHTTP=1\nEnrolURL=" + server.http() + "\n");
  const Ended ended = home.run({"enrol"}, "anna\n");
  EXPECT_EQ(ended.exit_code, 0) << ended.err;
  EXPECT_EQ(home.names(), Strings{"Demo anna"});
}

TEST_F(Enrol, SecondTimeReplacesTheToken) {
  expectEnrolled("anna", "anna\n", server.http());
  expectEnrolled("anna", "anna\n", server.http());
  EXPECT_EQ(home.names(), Strings{"Demo anna"});
}

TEST_F(Enrol, SecretsAreNotShownOnTheTerminal) {
  const auto terminal = home.runOnTerminal({"enrol", server.http() + "/password"});
  ASSERT_TRUE(terminal->await("Username: "));
  terminal->type("ben\n");
  ASSERT_TRUE(terminal->await("Microsoft Password: "));
  ASSERT_TRUE(terminal->awaitUnseen());
  terminal->type("secret\n");
  EXPECT_TRUE(terminal->await("Stored \"Demo ben\"."));
  EXPECT_EQ(terminal->shown().find("secret"), std::string::npos);
}

TEST_F(Enrol, NoPlaceForTheTokenIsToldBeforeTheServerIsAsked) {
  for (int i = 0; i < 32; ++i) home.add("Token " + std::to_string(i));
  expectFailure(home.run({"enrol", "http://127.0.0.1:9"}, "anna\n"), 1, "All 32 slots hold tokens");
}

TEST_F(Enrol, DamagedRecordIsToldBeforeTheServerIsAsked) {
  home.add("A");
  home.damage(0);
  expectFailure(home.run({"enrol", "http://127.0.0.1:9"}, "anna\n"), 4, "delete 0");
}

// A server that listens while it lives.
class Listening {
 public:
  explicit Listening(httplib::Server& server)
      : server_(server),
        port_(server.bind_to_any_port("127.0.0.1")),
        thread_([&server] { server.listen_after_bind(); }) {
    while (!server_.is_running()) std::this_thread::yield();
  }
  ~Listening() {
    server_.stop();
    thread_.join();
  }
  Listening(const Listening&) = delete;
  Listening& operator=(const Listening&) = delete;
  [[nodiscard]] std::string address() const { return "http://127.0.0.1:" + std::to_string(port_); }

 private:
  httplib::Server& server_;
  int port_;
  std::thread thread_;
};

TEST_F(Enrol, StatusesOtherThan200AreTold) {
  httplib::Server busy;
  busy.Get("/busy.*", [](const httplib::Request& /*request*/, httplib::Response& response) {
    response.status = 503;
  });
  busy.Get("/ready.*", [](const httplib::Request& /*request*/, httplib::Response& response) {
    response.set_content("RESULT:OK\r\nVERSION:7200\r\n", "text/plain");
  });
  const Listening listening(busy);
  expectRefused("anna\n", listening.address() + "/busy",
                "The server answered with HTTP status 503; try again");
  expectRefused("anna\n", listening.address() + "/ready",
                "The server answered with HTTP status 404; try again");
}

// The server wants something done elsewhere, for as long as it is asked.
TEST_F(Enrol, ChallengeWithoutAFieldWaitsForTheUser) {
  httplib::Server elsewhere;
  int posts = 0;
  elsewhere.Get(".*", [](const httplib::Request& /*request*/, httplib::Response& response) {
    response.set_content("RESULT:OK\r\nVERSION:7200\r\n", "text/plain");
  });
  elsewhere.Post(".*", [&posts](const httplib::Request& /*request*/, httplib::Response& response) {
    ++posts;
    response.set_content(
        "RESULT:OK,CHALLENGE\r\nPASSCODE:False\r\nPROMPT:Confirm on your phone\r\n"
        "INPUT:STATE=1\r\n",
        "text/plain");
  });
  Ended ended;
  {
    const Listening listening(elsewhere);
    ended = home.run({"enrol", listening.address()}, "anna\n\n");
  }
  EXPECT_EQ(ended.exit_code, 2) << ended.err;
  EXPECT_NE(ended.err.find("Confirm on your phone"), std::string::npos) << ended.err;
  // The user's name, and one Return.
  EXPECT_EQ(posts, 2);
}

// A server that says what time it is by its own clock, which is off by so many seconds.
class OffClockServer {
 public:
  explicit OffClockServer(std::int64_t ahead) {
    server_.Get(".*", [ahead](const httplib::Request& /*request*/, httplib::Response& response) {
      const std::time_t time = std::time(nullptr) + ahead;
      std::tm parts{};
      gmtime_r(&time, &parts);
      std::array<char, 64> text{};
      strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S GMT", &parts);
      response.set_header("Date", text.data());
      response.set_content("RESULT:OK\r\n", "text/plain");
    });
    listening_.emplace(server_);
  }
  [[nodiscard]] std::string address() const { return listening_->address(); }

 private:
  httplib::Server server_;
  std::optional<Listening> listening_;
};

Ended doctorWithServer(const std::string& address) {
  const CliHome home;
  home.setSettings("AllowHTTP=1\nEnrolURL=" + address + "\n");
  return home.run({"doctor"});
}

TEST(DoctorServer, ClockThatAgrees) {
  const OffClockServer server(0);
  const Ended ended = doctorWithServer(server.address());
  EXPECT_EQ(ended.exit_code, 0) << ended.out;
  EXPECT_NE(ended.out.find("agrees with this computer's"), std::string::npos) << ended.out;
}

TEST(DoctorServer, ClockThatIsBehindTheServers) {
  const OffClockServer server(300);
  const Ended ended = doctorWithServer(server.address());
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_NE(ended.out.find("!! server's clock      This computer's clock is "), std::string::npos)
      << ended.out;
  EXPECT_NE(ended.out.find(" minutes behind the server's."), std::string::npos) << ended.out;
}

TEST(DoctorServer, ClockThatIsAheadOfTheServers) {
  const OffClockServer server(-60);
  const Ended ended = doctorWithServer(server.address());
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_NE(ended.out.find(" seconds ahead of the server's."), std::string::npos) << ended.out;
}

TEST(DoctorServer, NobodyAnswers) {
  const Ended ended = doctorWithServer("http://127.0.0.1:9");
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_NE(ended.out.find("cannot be reached: "), std::string::npos) << ended.out;
}

TEST(DoctorServer, NobodyIsAskedWhereEnrollingIsSwitchedOff) {
  const CliHome home;
  const OffClockServer server(0);
  home.setSettings("AllowTaEnrol=0\nEnrolURL=" + server.address() + "\n");
  const Ended ended = home.run({"doctor"});
  EXPECT_EQ(ended.out.find("enrolment server"), std::string::npos) << ended.out;
}

}  // namespace
}  // namespace talvane::test
