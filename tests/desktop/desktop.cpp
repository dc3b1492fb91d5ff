#include "tests/desktop/desktop.h"

#include <chrono>
#include <regex>
#include <thread>

#include "tests/support/sanitizer_options.h"
#include "ui/desktop/tray.h"
#include "ui/panel/panel_geometry.h"

namespace talvane::test {
namespace {

std::unique_ptr<Screen>& sharedScreen() {
  static std::unique_ptr<Screen> screen;
  return screen;
}

class SharedScreen : public ::testing::Environment {
 public:
  void SetUp() override {
    adoptOrphans();
    sharedScreen() = std::make_unique<Screen>();
  }
  void TearDown() override {
    sharedScreen().reset();
    const Strings left = killLeftovers();
    EXPECT_TRUE(left.empty()) << "left behind: " << left.front();
  }
};

[[maybe_unused]] const auto* const shared_screen =
    ::testing::AddGlobalTestEnvironment(new SharedScreen);

constexpr int largest_icon = 64;

constexpr const char* tray_settings =
    "rounded = 0\nborder_width = 0\nbackground_color = #224466 100\nborder_color = #000000 100\n"
    "panel_items = S\npanel_position = top right horizontal\npanel_size = 100 22\n"
    "panel_background_id = 1\nsystray_padding = 2 2 2\nsystray_sort = ascending\n"
    "systray_icon_size = 18\nstrut_policy = follow_size\npanel_dock = 0\nautohide = 0\n";

}  // namespace

std::string passcodeOf(const std::string& seed, int period, std::int64_t time) {
  const Ended ended = runProcess({"oathtool", "--totp", "-b", "-s", std::to_string(period) + "s",
                                  "--now", '@' + std::to_string(time), "-"},
                                 {"PATH=/usr/bin:/bin", "LC_ALL=C"}, {.input = seed});
  EXPECT_EQ(ended.exit_code, 0) << "oathtool is needed: " << ended.err;
  return ended.out.substr(0, ended.out.find('\n'));
}

DesktopTest::DesktopTest() {
  session_.startBus();
  setSettings("AllowManual=true\n");
  std::filesystem::create_directory(path("config/softtoken"));
  writeFile(path("config/softtoken/defaults.conf"), "[softtoken]\nLoginItemPromptDone=YES\n");
  screen().calm();
  accessibility_ = Program({"/usr/libexec/at-spi-bus-launcher", "--launch-immediately"},
                           environment(), path("accessibility.log"));
  startTray();
  reader_ = std::make_unique<ScreenReader>("unix:path=" + path("run/bus"));
}

DesktopTest::~DesktopTest() {
  program_.kill();
  tray_.kill();
  reader_.reset();
  // It ends its bus when it is asked to.
  accessibility_.signal(15);
  accessibility_.end(std::chrono::seconds(2));
  accessibility_.kill();
}

void DesktopTest::TearDown() {
  EXPECT_EQ(programOutput(), "");
}

Screen& DesktopTest::screen() {
  return *sharedScreen();
}

Strings DesktopTest::environment() const {
  Strings result = {"HOME=" + path("home"), "XDG_DATA_HOME=" + path("data"),
                    "XDG_CONFIG_HOME=" + path("config"), "XDG_CACHE_HOME=" + path("cache"),
                    "XDG_RUNTIME_DIR=" + path("run"),
                    "DBUS_SESSION_BUS_ADDRESS=unix:path=" + path("run/bus"),
                    "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + path("run/none"),
                    "DISPLAY=" + screen().name(), "QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1",
                    // Newer toolkits remark that the reader asks for what has just gone.
                    "QT_LOGGING_RULES=qt.accessibility.atspi.warning=false",
                    "QT_SCALE_FACTOR=" + std::to_string(scale_), "GSETTINGS_BACKEND=memory",
                    "LC_ALL=" + locale_, "PATH=" + path("bin") + ":/usr/bin:/bin"};
  result.insert(result.end(), more_environment_.begin(), more_environment_.end());
  const Strings options = sanitizerOptions();
  result.insert(result.end(), options.begin(), options.end());
  return result;
}

std::string DesktopTest::path(std::string_view below) const {
  return session_.folder() / below;
}

void DesktopTest::startTray() {
  writeFile(path("tray.conf"), tray_settings);
  tray_ = Program({"tint2", "-c", path("tray.conf")}, environment(), path("tray.log"));
  ASSERT_TRUE(until([] { return screen().hasTray(); })) << readFile(path("tray.log"));
}

void DesktopTest::stopTray() {
  tray_.kill();
  ASSERT_TRUE(until([] { return !screen().hasTray(); }));
}

void DesktopTest::setSettings(std::string_view text) const {
  writeFile(path("home/tasofttoken.ini"), text);
}

void DesktopTest::forgetAnswers() const {
  std::filesystem::remove_all(path("config/softtoken"));
}

Ended DesktopTest::commandLine(const Strings& arguments, std::string_view input) const {
  Strings line = {SOFTTOKEN_CLI};
  line.insert(line.end(), arguments.begin(), arguments.end());
  return runProcess(line, environment(), {.input = input});
}

void DesktopTest::add(const std::string& name, const std::string& seed, int period) const {
  const Ended ended = commandLine(
      {"--keychain", "vault", "add", "--period", std::to_string(period), "--", name}, seed + '\n');
  ASSERT_EQ(ended.exit_code, 0) << ended.err;
}

Strings DesktopTest::storedNames() const {
  const Ended ended = commandLine({"list", "--json"});
  EXPECT_EQ(ended.exit_code, 0) << ended.err;
  Strings names;
  const std::regex name("\"name\": *\"([^\"]*)\"");
  for (std::sregex_iterator it(ended.out.begin(), ended.out.end(), name), end; it != end; ++it) {
    names.push_back((*it)[1]);
  }
  return names;
}

void DesktopTest::launch(const Strings& arguments) {
  Strings line = {SOFTTOKEN, "--no-console-log"};
  line.insert(line.end(), arguments.begin(), arguments.end());
  program_ = Program(line, environment(), path("program.log"));
}

void DesktopTest::start(const Strings& arguments) {
  launch(arguments);
  if (!screen().hasTray()) {
    ASSERT_TRUE(until([&] {
      return std::filesystem::exists(path("run/softtoken/instance" + screen().name() + ".socket"));
    })) << programOutput();
    return;
  }
  ASSERT_TRUE(until([&] { return icon().has_value(); })) << programOutput();
}

Ended DesktopTest::startAgain(const Strings& arguments) const {
  Strings line = {SOFTTOKEN};
  line.insert(line.end(), arguments.begin(), arguments.end());
  return runProcess(line, environment(), {}, std::chrono::seconds(20));
}

std::string DesktopTest::programOutput() const {
  return readFile(path("program.log"));
}

Strings DesktopTest::autostartEntries() const {
  Strings result;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(path("config/autostart"), error)) {
    result.push_back(entry.path());
  }
  return result;
}

std::optional<ShownWindow> DesktopTest::icon() const {
  for (const ShownWindow& window : screen().windowsOf("softtoken")) {
    if (window.place.height <= largest_icon) return window;
  }
  return std::nullopt;
}

std::optional<ShownWindow> DesktopTest::panel() const {
  for (const ShownWindow& window : screen().windowsOf("softtoken")) {
    if (window.place.width == panel_width * scale_) return window;
  }
  return std::nullopt;
}

bool DesktopTest::opens() {
  return until([&] {
    const auto shown = panel();
    // On a slow machine a sign stands at the panel's place while the tokens are read.
    return shown && shown->place.y == menu_bar_height * scale_ &&
           !shows(Role::label, "Please wait...");
  });
}

bool DesktopTest::closes() const {
  return until([&] { return !panel(); });
}

void DesktopTest::awaitSingleClick() const {
  std::this_thread::sleep_until(last_click_ + 2 * Tray::double_click);
  last_click_ = std::chrono::steady_clock::now();
}

void DesktopTest::clickIcon() const {
  // A tray that has just taken it in may move it still.
  std::optional<ShownWindow> shown;
  ASSERT_TRUE(until([&] {
    const auto before = icon();
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    shown = icon();
    return before && shown && before->place == shown->place;
  }));
  awaitSingleClick();
  const Rectangle& place = shown->place;
  screen().click(place.x + place.width / 2, place.y + place.height / 2);
}

void DesktopTest::openPanel() {
  clickIcon();
  ASSERT_TRUE(opens()) << (panel() ? "the panel's top is " + std::to_string(panel()->place.y)
                                   : std::string("there is no panel"));
}

}  // namespace talvane::test
