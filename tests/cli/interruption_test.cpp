// Ctrl-C during softtoken-cli enrol: what it says about the token.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>

#include "tests/cli/cli_home.h"
#include "tests/cli/terminal_process.h"
#include "tests/enrol/loopback_server.h"

namespace talvane::test {
namespace {

using Connection = LoopbackServer::Connection;

enum class Stage { first, sign_in, completion };

Stage stageOf(const std::string& request) {
  if (lineOf(request).starts_with("GET")) return Stage::first;
  return bodyOf(request).find("CHECKCODE=") == std::string::npos ? Stage::sign_in
                                                                 : Stage::completion;
}

std::string replyFor(Stage stage) {
  switch (stage) {
    case Stage::first:
      return response("200 OK", "RESULT:OK\r\nVERSION:7200\r\n");
    case Stage::sign_in:
      return response("200 OK",
                      "RESULT:OK,GETINFO\r\nINPUT:SOFTTOKENURL=otpauth://totp/Work?"
                      "secret=GEZDGNBVGY3TQOJQ&period=30\r\n");
    default:
      return response("200 OK", "RESULT:OK,COMPLETE\r\n");
  }
}

class Interruption : public testing::Test {
 protected:
  Interruption() { home.setSettings("AllowHTTP=1\nAllowManual=1\n"); }

  /// Enrols up to the request of that stage, which the server does not answer, and interrupts.
  Ended interruptAt(Stage silent) {
    LoopbackServer server([silent](Connection& connection, const std::string& request) {
      if (stageOf(request) == silent) {
        connection.hang();
      } else {
        connection.send(replyFor(stageOf(request)));
      }
    });
    const auto terminal = home.runOnTerminal({"enrol", server.url()});
    if (silent != Stage::first) {
      EXPECT_TRUE(terminal->await("Username"));
      terminal->type("ada\n");
    }
    for (int tries = 0; tries < 2000 && !hasCome(server, silent); ++tries) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    terminal->type("\x03");
    return terminal->finish();
  }

  static bool hasCome(const LoopbackServer& server, Stage stage) {
    for (const std::string& request : server.requests()) {
      if (stageOf(request) == stage) return true;
    }
    return false;
  }

  CliHome home;
};

TEST_F(Interruption, OfTheFirstRequestSaysThatNothingWasStored) {
  const Ended ended = interruptAt(Stage::first);
  EXPECT_FALSE(ended.timed_out);
  EXPECT_EQ(ended.signal, SIGINT);
  EXPECT_NE(ended.out.find("softtoken-cli: Interrupted; nothing was stored\r\n"), std::string::npos)
      << ended.out;
}

TEST_F(Interruption, OfTheSignInSaysThatNothingWasStored) {
  const Ended ended = interruptAt(Stage::sign_in);
  EXPECT_FALSE(ended.timed_out);
  EXPECT_NE(ended.out.find("softtoken-cli: Interrupted; nothing was stored\r\n"), std::string::npos)
      << ended.out;
  EXPECT_EQ(home.names(), Strings());
}

TEST_F(Interruption, OfTheFinalRequestSaysThatTheServerMayHaveIssuedTheToken) {
  const Ended ended = interruptAt(Stage::completion);
  EXPECT_FALSE(ended.timed_out);
  EXPECT_NE(ended.out.find("nothing was stored, though the server may have issued the token; "
                           "enrol again"),
            std::string::npos)
      << ended.out;
  EXPECT_EQ(home.names(), Strings());
}

TEST_F(Interruption, AtAHiddenPromptSaysSoToo) {
  LoopbackServer server([](Connection& connection, const std::string&) {
    connection.send(response("200 OK", "RESULT:OK\r\nVERSION:7200\r\nPASSWORD:True\r\n"));
  });
  const auto terminal = home.runOnTerminal({"enrol", server.url()});
  ASSERT_TRUE(terminal->await("Username"));
  terminal->type("ada\n");
  ASSERT_TRUE(terminal->await("Password"));
  ASSERT_TRUE(terminal->awaitUnseen());
  terminal->type("\x03");
  const Ended ended = terminal->finish();
  EXPECT_EQ(ended.signal, SIGINT);
  EXPECT_NE(ended.out.find("Interrupted; nothing was stored"), std::string::npos) << ended.out;
  EXPECT_TRUE(terminal->echoes());
}

TEST_F(Interruption, AfterAHiddenPromptSaysSoToo) {
  LoopbackServer server([](Connection& connection, const std::string& request) {
    if (stageOf(request) == Stage::first) {
      connection.send(response("200 OK", "RESULT:OK\r\nVERSION:7200\r\nPASSWORD:True\r\n"));
    } else {
      connection.hang();
    }
  });
  const auto terminal = home.runOnTerminal({"enrol", server.url()});
  ASSERT_TRUE(terminal->await("Username"));
  terminal->type("ada\n");
  ASSERT_TRUE(terminal->await("Password"));
  ASSERT_TRUE(terminal->awaitUnseen());
  terminal->type("secret\n");
  for (int tries = 0; tries < 2000 && !hasCome(server, Stage::sign_in); ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  terminal->type("\x03");
  const Ended ended = terminal->finish();
  EXPECT_EQ(ended.signal, SIGINT);
  EXPECT_NE(ended.out.find("Interrupted; nothing was stored"), std::string::npos) << ended.out;
}

}  // namespace
}  // namespace talvane::test
