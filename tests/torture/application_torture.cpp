// The application with one call of the system failing after the other: opening its panel, copying a
// passcode, closing the panel. The calls are counted from the moment of the action on.

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>

#include "tests/desktop/desktop.h"
#include "tests/torture/fault_control.h"
#include "tests/torture/rows.h"

namespace talvane::test {
namespace {

using namespace std::chrono_literals;
using torture::Call;
using torture::FaultControl;
using torture::Row;

// A loaded machine takes its time; what is awaited ends the wait.
constexpr auto patience = 10s;
constexpr auto between_keys = 700ms;

struct Kind {
  const char* name;
  Call call;
  int error;
};

constexpr Kind kinds[] = {
    {"open", Call::open, EMFILE},
    {"open (denied)", Call::open, EACCES},
    {"read", Call::read, EIO},
    {"write", Call::write, ENOSPC},
    {"mmap", Call::mmap, ENOMEM},
    {"stat", Call::stat, EACCES},
    {"lock", Call::lock, ENOLCK},
    {"passwd", Call::passwd, EIO},
    {"passwd (nobody)", Call::passwd, 0},
    {"malloc", Call::malloc, ENOMEM},
};

// Libraries of the desktop that end the program, or go on with what they were not given: what they
// ask for does not fail. Named in the table.
constexpr const char* spared =
    "libQt6* libqxcb* libxcb* libX* libxkb* libGL* libEGL* libglib-2.0.so.0 libgobject-2.0.so.0 "
    "libgio-2.0.so.0 libfontconfig.so.1 libfreetype.so.6 libharfbuzz.so.0 libdbus-1.so.3 "
    "libplist-2.0.so.3";

// The file that tells the program which of its calls fail.
class Control {
 public:
  explicit Control(const std::string& path) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    EXPECT_EQ(ftruncate(file, sizeof(FaultControl)), 0);
    void* memory = mmap(nullptr, sizeof(FaultControl), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    control_ = static_cast<FaultControl*>(memory);
  }
  ~Control() { munmap(control_, sizeof(FaultControl)); }
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  void arm(const Kind& kind, long number) {
    *control_ = {};
    std::strncpy(control_->spared, spared, sizeof(control_->spared) - 1);
    control_->error = kind.error;
    control_->first = control_->last = number;
    std::atomic_ref(control_->call).store(kind.call);
  }
  void disarm() { std::atomic_ref(control_->call).store(Call::none); }
  const FaultControl& get() const { return *control_; }

 private:
  FaultControl* control_ = nullptr;
};

class ApplicationTorture : public DesktopTest {
 protected:
  ApplicationTorture() {
    setSettings("AllowManual=true\nRollupSteps=0\n");
    add("Mail", seed_16);
    add("Bank", other_seed_16);
  }
  void TearDown() override {}

  // Starts the program with the library before the C library, and nothing else so.
  void startWithFaults() {
    // The bar keeps the icon of a killed program for a moment.
    ASSERT_TRUE(until([&] { return !icon() && !panel(); }));
    control_.disarm();
    more_environment_ = {"LD_PRELOAD=" + std::string(FAULT_LIBRARY),
                         "SOFTTOKEN_FAULTS=" + path("control")};
    launch();
    more_environment_.clear();
    ASSERT_TRUE(until([&] { return icon().has_value(); })) << programOutput();
    // The first opening does far more than the others: too much to look at each of its calls.
    clickIcon();
    ASSERT_TRUE(comesOpen());
    comeToRest();
  }

  [[nodiscard]] bool isOpen() const { return panel().has_value(); }
  bool comesOpen() {
    return until([&] { return isOpen() || hasEndedOrSaysWhy(); }, patience) && isOpen();
  }
  bool comesClosed() {
    return until([&] { return !isOpen() || hasEndedOrSaysWhy(); }, patience) && !isOpen();
  }
  bool hasEndedOrSaysWhy() { return !program_.runs() || !alertParts().empty(); }

  // With the panel closed: it opens and shows the right passcode, as copying it proves.
  bool worksAgain(std::string* why) {
    clickIcon();
    if (!comesOpen()) return *why = "the panel does not open again", false;
    if (!copies(why)) return false;
    return true;
  }

  // A panel that has just come may not have the keyboard yet.
  void pressCopyKey() {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (isOpen() && !hasEndedOrSaysWhy() && std::chrono::steady_clock::now() < end) {
      screen().key("1");
      until([&] { return !isOpen(); }, between_keys);
    }
  }

  // With the panel open: copies, and says whether the right passcode is on the clipboard.
  bool copies(std::string* why) {
    const std::int64_t before = std::time(nullptr);
    pressCopyKey();
    if (!comesClosed()) return *why = "copying does not close the panel", false;
    if (!program_.runs()) return *why = "the program ended", false;
    return isOnClipboard(before, why);
  }

  bool isOnClipboard(std::int64_t before, std::string* why) {
    const std::string found = clipboard();
    if (found == passcodeOf(seed_16, 30, before)) return true;
    if (found == passcodeOf(seed_16, 30, std::time(nullptr))) return true;
    *why = "the clipboard holds \"" + found + '"';
    return false;
  }

  // Closes what is open, an alert too, as a user does.
  void comeToRest() {
    const auto at_rest = [&] { return !isOpen() && alertParts().empty(); };
    for (int i = 0; i < 5 && program_.runs() && !at_rest(); ++i) {
      screen().key("Escape");
      until(at_rest, 300ms);
    }
  }

  enum class Action { open, copy, close };

  // The action with this call failing; empty: all is as it should be.
  std::string perform(Action action, const Kind& kind, long number) {
    std::string why;
    if (action != Action::open) {
      clickIcon();
      if (!comesOpen()) return "the panel does not open";
    }
    const std::int64_t before = std::time(nullptr);
    control_.arm(kind, number);
    if (action == Action::copy) {
      pressCopyKey();
    } else {
      clickIcon();
    }
    const bool done = action == Action::open ? comesOpen() : comesClosed();
    control_.disarm();
    if (!program_.runs()) return "the program ended";
    if (!done && alertParts().empty()) {
      return action == Action::open ? "the panel does not open, and nothing is said"
                                    : "the panel does not close, and nothing is said";
    }
    // A closed panel says that the passcode was copied.
    if (action == Action::copy && done && !isOnClipboard(before, &why)) return why;
    comeToRest();
    return worksAgain(&why) ? "" : why;
  }

  void run(Action action, const char* name, const Kind& kind) {
    Row row(std::string(name) + ": " + kind.name);
    long step = 1;
    for (long number = 1;; number += step) {
      if (!program_.runs()) startWithFaults();
      const std::string wrong = perform(action, kind, number);
      const FaultControl result = control_.get();
      row.run();
      row.hit(result.hits);
      if (!wrong.empty()) {
        row.fail(wrong, std::string(kind.name) + " number " + std::to_string(number) + " at " +
                            std::string(result.where).substr(0, 300));
        program_.kill();
      }
      if (result.hits == 0) {
        if (result.spared_calls > 0) {
          row.note(std::to_string(result.spared_calls) + " calls spared, of " + spared);
        }
        break;
      }
      // A fault may end the action, so that few calls are counted.
      if (torture::isShort() && number >= 3) step = std::max(step, result.calls / 8);
    }
  }

  void runAll(Action action, const char* name) {
    startWithFaults();
    for (const Kind& kind : kinds) run(action, name, kind);
    // What is stored is what it was.
    EXPECT_EQ(storedNames(), (Strings{"Mail", "Bank"}));
  }

  Control control_{path("control")};
};

TEST_F(ApplicationTorture, Open) {
  runAll(Action::open, "open");
}

TEST_F(ApplicationTorture, Copy) {
  runAll(Action::copy, "copy");
}

TEST_F(ApplicationTorture, Close) {
  runAll(Action::close, "close");
}

}  // namespace
}  // namespace talvane::test
