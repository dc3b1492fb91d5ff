// What is left in the memory of the application after its panel has closed.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

#include "tests/desktop/desktop.h"
#include "tests/enrol/loopback_server.h"
#include "tests/support/writable_memory.h"
#include "tests/torture/rows.h"

namespace talvane::test {
namespace {

using namespace std::chrono_literals;
using torture::Row;

constexpr const char* stored_seed = "KRUGKIDROVUWG2ZA";
constexpr const char* typed_seed = "MJZG653OEBTG66BA";
constexpr const char* typed_and_cancelled_seed = "NJ2W24DTEBXXMZLS";
constexpr const char* enrolled_seed = "ORUGKIDMMF5HSIDE";
constexpr const char* cancelled_seed = "N5TSAYLOMQQHG2DF";
constexpr const char* password = "Pw7Torture7Xk";
constexpr const char* passcode = "Pc5Torture5Qz";
constexpr const char* pin = "Kx47bQ92";
constexpr const char* first_answer = "HippoOne77";
constexpr const char* second_answer = "ZebraTwo88";

constexpr const char* body_of_sign_in = "userid=torturuser";
constexpr const char* body_of_completion = "answer1=HippoOne77";

const std::pair<const char*, const char*> secrets[] = {
    {"seed of a stored token", stored_seed},
    {"seed that was typed", typed_seed},
    {"seed that was typed and given up", typed_and_cancelled_seed},
    {"seed that was enrolled", enrolled_seed},
    {"seed of an enrolment that was given up", cancelled_seed},
    {"password", password},
    {"passcode of the sign-in", passcode},
    {"PIN", pin},
    {"first answer", first_answer},
    {"second answer", second_answer},
    {"request body of the sign-in", body_of_sign_in},
    {"request body of the completion", body_of_completion},
};

std::string inUtf16(std::string_view text) {
  std::string wide;
  for (const char c : text) {
    wide += c;
    wide += '\0';
  }
  return wide;
}

long countIn(std::string_view memory, std::string_view text) {
  long count = 0;
  for (std::size_t at = memory.find(text); at != std::string_view::npos;
       at = memory.find(text, at + 1)) {
    ++count;
  }
  return count;
}

// Calls `look` with each piece of memory that the process can write to.
template <typename Look>
void forEachPiece(pid_t process, Look look) {
  const int memory =
      open(("/proc/" + std::to_string(process) + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(memory, 0);
  std::string bytes;
  for (const WritableMemory& piece : writableMemory(process)) {
    bytes.resize(piece.end - piece.begin);
    const ssize_t size = pread(memory, bytes.data(), bytes.size(), static_cast<off_t>(piece.begin));
    if (size > 0) look(std::string_view(bytes.data(), static_cast<std::size_t>(size)), piece.line);
  }
  close(memory);
}

std::string completeReply(const std::string& url_seed) {
  return "RESULT:OK,GETINFO\r\nINPUT:USERCREATEPIN=True\r\nPINLENGTH:8\r\nUPPERCASE:\r\n"
         "LOWERCASE:\r\nINPUT:ENROL=True\r\nQUESTIONS1:First pet?, First school?\r\n"
         "QUESTIONS2:First pet?, First school?\r\nQUESTIONS3:\r\n"
         "INPUT:SOFTTOKENURL=otpauth://totp/Torture?secret=" +
         url_seed + "&period=30\r\n";
}

// The enrolment server: the first enrolment asks for a password, the second for a passcode too.
class Server {
 public:
  Server()
      : server_([this](auto& connection, const auto& request) { answer(connection, request); }) {}
  [[nodiscard]] std::string url() const { return server_.url(); }
  [[nodiscard]] std::size_t count() const { return server_.requests().size(); }

 private:
  void answer(LoopbackServer::Connection& connection, const std::string& request) {
    const bool is_first = lineOf(request).starts_with("GET");
    const bool is_last = bodyOf(request).find("CHECKCODE=") != std::string::npos;
    if (is_first) ++enrolments_;
    if (is_first) {
      connection.send(response("200 OK", std::string("RESULT:OK\r\nPASSWORD:True\r\n") +
                                             (enrolments_ == 1 ? "VERSION:7200\r\n" : "")));
    } else if (is_last) {
      connection.send(response("200 OK", "RESULT:OK,COMPLETE\r\n"));
    } else {
      connection.send(
          response("200 OK", completeReply(enrolments_ == 1 ? enrolled_seed : cancelled_seed)));
    }
  }

  int enrolments_ = 0;
  LoopbackServer server_;
};

// A walk through the views. It is made twice: first with a screen reader, which finds the controls
// but makes the program send its texts around, then blindly by where they were.
class MemoryTorture : public DesktopTest {
 protected:
  MemoryTorture() {
    setSettings("AllowManual=yes\nAllowHTTP=yes\nRollupSteps=0\nEnrolURL=" + server_.url() + '\n');
    add("Stored", stored_seed);
  }
  void TearDown() override {}

  void press(std::string_view name) {
    clickPlace(isBlind() ? next() : placeOf(Role::push_button, name));
  }
  void typeInto(std::string_view field, std::string_view text, Role role = Role::text) {
    clickPlace(isBlind() ? next() : placeOf(role, field));
    screen().key("ctrl+a");
    screen().type(text);
    settle();
  }
  void typeSecretInto(std::string_view field, std::string_view text) {
    typeInto(field, text, Role::password_text);
  }

  void walk() {
    // Typed by hand and stored.
    press("Add");
    press("Enter manually");
    typeInto("Enter a description", "Typed");
    typeInto("Enter your 13 or 16 character key", typed_seed);
    press("OK");
    // Typed by hand and given up.
    press("Add");
    press("Enter manually");
    typeInto("Enter a description", "Never");
    typeInto("Enter your 13 or 16 character key", typed_and_cancelled_seed);
    press("Cancel");
    reopen();
    // Enrolled.
    signIn();
    press("Submit");
    waitForRequests(isBlind() ? 2 + first_count_ : 2);
    typeSecretInto("Please choose an 8-character PIN.", pin);
    typeSecretInto("Type the PIN again", pin);
    typeInto("Answer 1", first_answer);
    typeInto("Answer 2", second_answer);
    press("Submit");
    waitForRequests(isBlind() ? 3 + first_count_ : 3);
    reopen();
    // Given up after the server has sent a seed.
    signIn();
    typeSecretInto("Passcode", passcode);
    press("Submit");
    waitForRequests(isBlind() ? 5 + first_count_ : 5);
    press("Cancel");
    reopen();
  }

  void signIn() {
    press("Add");
    press("Enrol from a server");
    settle(600ms);
    typeInto("Username", "torturuser");
    typeSecretInto("Microsoft Password", password);
  }

  // Whatever view shows: the panel closes and shows the tokens when it opens again.
  void reopen() {
    settle();
    EXPECT_EQ(startAgain({"--toggle"}).exit_code, 0);
    EXPECT_TRUE(closes());
    EXPECT_EQ(startAgain({"--toggle"}).exit_code, 0);
    EXPECT_TRUE(opens());
    settle();
  }

  void waitForRequests(std::size_t count) {
    EXPECT_TRUE(until([&] { return server_.count() >= count; })) << server_.count();
    settle(600ms);
  }

  static void settle(std::chrono::milliseconds time = 250ms) { std::this_thread::sleep_for(time); }

  [[nodiscard]] bool isBlind() const { return !places_.empty() && at_ < places_.size(); }
  Rectangle next() { return places_[at_++]; }
  Rectangle placeOf(Role role, std::string_view name) {
    const Thing found = thing(role, name);
    recorded_.push_back(found.place);
    return found.place;
  }
  void clickPlace(const Rectangle& place) {
    screen().click(place.x + place.width / 2, place.y + place.height / 2);
    settle();
  }

  void startBlind() {
    Strings environment_of_program;
    for (const std::string& variable : environment()) {
      if (!variable.starts_with("QT_LINUX_ACCESSIBILITY"))
        environment_of_program.push_back(variable);
    }
    environment_of_program.push_back("NO_AT_BRIDGE=1");
    program_ =
        Program({SOFTTOKEN, "--no-console-log"}, environment_of_program, path("program.log"));
    ASSERT_TRUE(until([&] { return icon().has_value(); })) << programOutput();
  }

  Server server_;
  std::vector<Rectangle> recorded_;
  std::vector<Rectangle> places_;
  std::size_t at_ = 0;
  std::size_t first_count_ = 0;
};

TEST_F(MemoryTorture, NothingIsLeftAMinuteLater) {
  const std::string kept = path("kept");
  std::filesystem::copy(path("data"), kept, std::filesystem::copy_options::recursive);
  start();
  openPanel();
  walk();
  program_.kill();
  ASSERT_FALSE(HasFailure());
  std::filesystem::remove_all(path("data"));
  std::filesystem::copy(kept, path("data"), std::filesystem::copy_options::recursive);

  places_ = recorded_;
  first_count_ = server_.count();
  startBlind();
  openPanel();
  walk();
  EXPECT_EQ(startAgain({"--toggle"}).exit_code, 0);
  ASSERT_TRUE(closes());
  EXPECT_EQ(storedNames(), (Strings{"Stored", "Typed", "Torture"}));
  std::this_thread::sleep_for(torture::isShort() ? 10s : 60s);

  // The search finds what is there.
  long arguments = 0;
  forEachPiece(program_.id(), [&](std::string_view memory, const std::string& /*map*/) {
    arguments += countIn(memory, "--no-console-log");
  });
  EXPECT_GT(arguments, 0);
  for (const auto& [name, text] : secrets) {
    Row row(name);
    row.run();
    long ascii = 0;
    long wide = 0;
    std::string where;
    forEachPiece(program_.id(),
                 [&, secret = text](std::string_view memory, const std::string& map) {
                   const long plain = countIn(memory, secret);
                   const long in_utf16 = countIn(memory, inUtf16(secret));
                   ascii += plain;
                   wide += in_utf16;
                   if (plain + in_utf16 > 0 && where.empty()) where = map;
                 });
    row.hit(ascii + wide);
    if (ascii + wide > 0) {
      row.fail(std::to_string(ascii) + " in ASCII and " + std::to_string(wide) + " in UTF-16",
               where);
    }
  }
}

}  // namespace
}  // namespace talvane::test
