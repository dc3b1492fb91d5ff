// What the user's panel does while something else does not answer: how long it goes without
// painting a frame, and how long until it obeys.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <thread>

#include "tests/desktop/desktop.h"
#include "tests/enrol/loopback_server.h"
#include "tests/torture/frames.h"
#include "tests/torture/rows.h"

namespace talvane::test {
namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using torture::Row;

using Clock = std::chrono::steady_clock;

constexpr milliseconds longest_without_a_frame = 100ms;
// From a key press, or from the start of another program that passes a request on, until it is seen
// to be obeyed. The program itself has 100 ms of it.
constexpr milliseconds longest_for_a_key = 300ms;
constexpr milliseconds longest_for_a_request = 1000ms;
constexpr milliseconds watching = 3s;

milliseconds patience() {
  return torture::isShort() ? 4s : 15s;
}

const char* const seed = "MFRGGZDFMZTWQ2LK";

std::string inMilliseconds(milliseconds time) {
  return std::to_string(time.count()) + " ms";
}

enum class Stage { first_request, sign_in, completion };
enum class Manner { silent, slow, stalled, endless };

const char* nameOf(Stage stage) {
  switch (stage) {
    case Stage::first_request:
      return "first request";
    case Stage::sign_in:
      return "sign-in";
    case Stage::completion:
      break;
  }
  return "completion";
}

const char* nameOf(Manner manner) {
  switch (manner) {
    case Manner::silent:
      return "silent";
    case Manner::slow:
      return "a byte a second";
    case Manner::stalled:
      return "stalled";
    case Manner::endless:
      break;
  }
  return "endless";
}

Stage stageOf(const std::string& request) {
  if (lineOf(request).starts_with("GET")) return Stage::first_request;
  return bodyOf(request).find("CHECKCODE=") == std::string::npos ? Stage::sign_in
                                                                 : Stage::completion;
}

std::string goodReply(Stage stage) {
  switch (stage) {
    case Stage::first_request:
      return response("200 OK", "RESULT:OK\r\nVERSION:7200\r\nPASSWORD:False\r\n");
    case Stage::sign_in:
      return response("200 OK", std::string("RESULT:OK,GETINFO\r\nINPUT:SOFTTOKENURL=otpauth://"
                                            "totp/Slow?secret=") +
                                    seed + "&period=30\r\n");
    case Stage::completion:
      break;
  }
  return response("200 OK", "RESULT:OK,COMPLETE\r\n");
}

void torment(LoopbackServer::Connection& connection, Manner manner) {
  const std::string head = "HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\n";
  switch (manner) {
    case Manner::silent:
      connection.hang();
      break;
    case Manner::slow:
      connection.send(head + "Content-Length: 100000\r\n\r\n");
      while (connection.send("#")) std::this_thread::sleep_for(1s);
      break;
    case Manner::stalled:
      connection.send(head + "Content-Length: 100000\r\n\r\nRESULT:");
      connection.hang();
      break;
    case Manner::endless:
      connection.send(head + "\r\n");
      while (connection.send(std::string(4096, '#'))) {
      }
      break;
  }
}

class HangTorture : public DesktopTest {
 protected:
  // What the program has to say about its trouble is not judged here.
  void TearDown() override {}

  std::function<std::optional<unsigned long>()> panelWindow() {
    return [this]() -> std::optional<unsigned long> {
      const auto shown = panel();
      if (!shown) return std::nullopt;
      return shown->id;
    };
  }

  milliseconds gap(milliseconds time = watching) { return frames_.longestGap(panelWindow(), time); }

  // What the machine itself adds, measured on the panel as it is before the trouble.
  void measureNoise() { noise_ = gap(1s); }

  void judgeGap(Row& row, milliseconds longest, const std::string& when) {
    row.note(when + ": " + inMilliseconds(longest) + " without a frame (" + inMilliseconds(noise_) +
             " without trouble)");
    if (longest > longest_without_a_frame + 2 * noise_) {
      row.fail("no frame was painted for " + inMilliseconds(longest), when);
    }
  }

  // Does it, and waits until what is wanted has come.
  void judgeReaction(Row& row, const std::string& what, milliseconds limit,
                     const std::function<void()>& act, const std::function<bool()>& obeyed) {
    const auto before = Clock::now();
    act();
    const bool came = until(obeyed, patience());
    const auto time = std::chrono::duration_cast<milliseconds>(Clock::now() - before);
    row.note(what + (came ? ": obeyed after " : ": not obeyed in ") + inMilliseconds(time));
    if (!came || time > limit + 2 * noise_) row.fail(what + " takes " + inMilliseconds(time));
  }

  // Each of the ways out of a view by its name.
  void judgeWayOut(Row& row, const std::string& way) {
    const auto before = panel();
    const auto has_changed = [&] {
      const auto now = panel();
      return !now || !before || now->id != before->id || !(now->place == before->place);
    };
    if (way == "Escape") {
      judgeReaction(
          row, way, longest_for_a_key, [] { screen().key("Escape"); }, has_changed);
    } else if (way == "close button") {
      judgeReaction(
          row, way, longest_for_a_key, [&] { click(close_button_); }, [&] { return !panel(); });
    } else if (way == "icon") {
      judgeReaction(
          row, way, longest_for_a_request, [&] { clickIcon(); }, [&] { return !panel(); });
    } else if (way == "--toggle") {
      judgeRequest(row, way, [&] { return !panel(); });
    } else {
      judgeRequest(row, way, [&] { return !program_.runs(); });
    }
  }

  void judgeRequest(Row& row, const std::string& request, const std::function<bool()>& obeyed) {
    Program sender;
    judgeReaction(
        row, request, longest_for_a_request,
        [&] {
          sender = Program({SOFTTOKEN, request}, environment(), path("sender.log"));
        },
        obeyed);
  }

  torture::FrameWatch frames_{screen().name()};
  milliseconds noise_{};
  Thing close_button_;
};

// Servers.

class ServerTorture : public HangTorture {
 protected:
  void run(Stage stage, Manner manner, const std::string& way, Row& row) {
    LoopbackServer server([&](LoopbackServer::Connection& connection, const std::string& request) {
      if (stageOf(request) == stage) {
        torment(connection, manner);
      } else {
        connection.send(goodReply(stageOf(request)));
      }
    });
    setSettings("AllowManual=yes\nAllowHTTP=yes\nEnrolURL=" + server.url() + '\n');
    start();
    openPanel();
    measureNoise();
    clickButton("Add");
    ASSERT_TRUE(comesToShow(Role::push_button, "Enrol from a server"));
    close_button_ = button("Close");
    clickButton("Enrol from a server");
    if (stage != Stage::first_request) {
      ASSERT_TRUE(focusComesTo("Username"));
      close_button_ = button("Close");
      screen().type("ann");
      screen().key("Return");
    }
    row.run();
    if (!until([&] { return hasCome(server, stage); })) {
      row.fail("the request did not come");
      return;
    }
    row.hit();
    judgeGap(row, gap(), way);
    judgeWayOut(row, way);
    program_.kill();
  }

  static bool hasCome(const LoopbackServer& server, Stage stage) {
    for (const std::string& request : server.requests()) {
      if (stageOf(request) == stage) return true;
    }
    return false;
  }
};

TEST_F(ServerTorture, ServersThatDoNotAnswer) {
  const std::vector<Manner> manners =
      torture::isShort()
          ? std::vector{Manner::silent}
          : std::vector{Manner::silent, Manner::slow, Manner::stalled, Manner::endless};
  const Strings ways = torture::isShort()
                           ? Strings{"Escape", "--quit"}
                           : Strings{"Escape", "close button", "icon", "--toggle", "--quit"};
  for (const Stage stage : {Stage::first_request, Stage::sign_in, Stage::completion}) {
    for (const Manner manner : manners) {
      Row row(std::string(nameOf(stage)) + ": " + nameOf(manner) + " server");
      for (const std::string& way : ways) run(stage, manner, way, row);
    }
  }
}

// Keyrings and the bus.

class KeyringTorture : public HangTorture {
 protected:
  KeyringTorture() {
    session_.startDaemon("open sesame");
    for (const char* name : {"Mail", "Bank"}) {
      const Ended ended =
          commandLine({"--keychain", "secret-service", "add", name}, seed + std::string("\n"));
      EXPECT_EQ(ended.exit_code, 0) << ended.err;
    }
  }

  void openTheView() {
    start();
    openPanel();
    ASSERT_TRUE(comesToShow(Role::push_button, "Copy: Mail"));
    measureNoise();
    close_button_ = button("Close");
  }

  // The manage view reads the tokens again.
  void judge(Row& row, const std::string& way) {
    const Thing edit = button("Edit");
    makeTrouble(row);
    click(edit);
    judgeGap(row, gap(), "Edit, then " + way);
    judgeWayOut(row, way);
  }

  void makeTrouble(Row& row) {
    row.run();
    row.hit();
    trouble_();
  }

  std::function<void()> trouble_;
};

TEST_F(KeyringTorture, AKeyringThatIsStopped) {
  Row row("keyring: stopped");
  trouble_ = [&] { session_.daemon().signal(SIGSTOP); };
  openTheView();
  judge(row, "--quit");
  session_.daemon().signal(SIGCONT);
}

TEST_F(KeyringTorture, AKeyringThatIsGone) {
  Row row("keyring: gone");
  trouble_ = [&] { session_.daemon().kill(); };
  openTheView();
  judge(row, "--quit");
}

TEST_F(KeyringTorture, AKeyringThatIsStoppedBeforeThePanelOpens) {
  Row row("keyring: stopped before the panel opens");
  start();
  session_.daemon().signal(SIGSTOP);
  row.run();
  row.hit();
  judgeReaction(
      row, "the icon", 2500ms, [&] { clickIcon(); },
      [&] {
        const auto shown = panel();
        return shown && shown->place.y >= 22;
      });
  measureNoise();
  judgeWayOut(row, "--quit");
  session_.daemon().signal(SIGCONT);
}

TEST_F(KeyringTorture, ABusThatIsStoppedBeforeTheStart) {
  Row row("bus: stopped before the start");
  session_.bus().signal(SIGSTOP);
  row.run();
  row.hit();
  const auto before = Clock::now();
  launch();
  const bool came = until([&] { return icon().has_value(); }, patience());
  row.note(std::string(came ? "the icon came after " : "no icon in ") +
           inMilliseconds(std::chrono::duration_cast<milliseconds>(Clock::now() - before)));
  if (!came) row.fail("the icon does not come");
  judgeRequest(row, "--toggle", [&] { return panel().has_value(); });
  judgeRequest(row, "--quit", [&] { return !program_.runs(); });
  session_.bus().signal(SIGCONT);
}

// Other programs of the user.

TEST_F(HangTorture, AnotherProgramHoldsTheStore) {
  Row row("store: held by a stopped program");
  setSettings("AllowManual=yes\nAllowTaEnrol=no\n");
  add("Mail");
  start();
  openPanel();
  measureNoise();
  clickButton("Add");
  ASSERT_TRUE(focusComesTo("Enter a description"));
  close_button_ = button("Close");
  fill("Enter a description", "Work");
  fill("Enter your 13 or 16 character key", seed);
  const int lock =
      open(path("data/softtoken/store.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(lock, 0);
  ASSERT_EQ(flock(lock, LOCK_EX), 0);
  row.run();
  row.hit();
  const auto before = Clock::now();
  clickButton("OK");
  // Less than the program waits: its alert then covers the panel.
  judgeGap(row, gap(1700ms), "OK");
  const bool told = until([&] { return !alertParts().empty(); }, patience());
  const auto time = std::chrono::duration_cast<milliseconds>(Clock::now() - before);
  row.note(std::string(told ? "told after " : "not told in ") + inMilliseconds(time));
  if (!told || time > 3s) row.fail("nothing is said in time", inMilliseconds(time));
  close(lock);
}

TEST_F(HangTorture, IdleConnections) {
  Row row("20 idle connections to the running program");
  start();
  openPanel();
  measureNoise();
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(path("run"))) {
    if (entry.is_socket() && entry.path().string().find("softtoken") != std::string::npos &&
        entry.path().filename().string().starts_with("instance")) {
      std::strcpy(address.sun_path, entry.path().c_str());
    }
  }
  std::vector<int> idle;
  for (int i = 0; i < 20; ++i) {
    idle.push_back(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    ASSERT_EQ(connect(idle.back(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }
  row.run();
  row.hit();
  judgeGap(row, gap(), "20 connections");
  judgeRequest(row, "--toggle", [&] { return !panel(); });
  for (const int one : idle) close(one);
}

}  // namespace
}  // namespace talvane::test
