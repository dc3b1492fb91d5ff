#include "tests/ui/app_test.h"

#include <QApplication>
#include <QFile>
#include <QPushButton>
#include <algorithm>
#include <map>
#include <utility>

#include "platform/trace.h"
#include "ui/kit/alert.h"
#include "ui/kit/icns.h"
#include "ui/kit/look.h"
#include "ui/wait/url_loader_in_background.h"
#include "ui/wait/wait.h"

namespace talvane {

namespace test {

class SharedLoginItems::View final : public LoginItemsList {
 public:
  explicit View(SharedLoginItems& shared) : shared_(shared) { shared_.views_.push_back(this); }
  ~View() override { std::erase(shared_.views_, this); }
  View(const View&) = delete;
  View& operator=(const View&) = delete;

  std::vector<LoginItemHandle> snapshot() override { return shared_.list.snapshot(); }
  std::optional<std::string> resolve(const LoginItem& item) override {
    return shared_.list.resolve(item);
  }
  void insertAtHead(const std::string& target) override { shared_.list.insertAtHead(target); }
  void remove(const LoginItem& item) override { shared_.list.remove(item); }
  std::optional<std::string> ownTarget() override { return shared_.list.ownTarget(); }
  void setChangeCallback(std::function<void()> callback) override {
    callback_ = std::move(callback);
  }
  void tell() const {
    if (callback_) callback_();
  }

 private:
  SharedLoginItems& shared_;
  std::function<void()> callback_;
};

SharedLoginItems::SharedLoginItems() {
  list.own_target = "/opt/softtoken/bin/softtoken";
  list.setChangeCallback([this] {
    for (View* view : std::vector<View*>(views_)) {
      // One may go while another is told.
      if (std::find(views_.begin(), views_.end(), view) != views_.end()) view->tell();
    }
  });
}

std::unique_ptr<talibobjc_LoginItem> SharedLoginItems::makeItem() {
  return std::make_unique<talibobjc_LoginItem>(std::make_unique<View>(*this), list.own_target);
}

AlertUser::AlertUser() {
  QObject::connect(&timer_, &QTimer::timeout, [this] { look(); });
  timer_.start(1);
}

void AlertUser::look() {
  auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
  if (box == nullptr || !box->isVisible()) {
    last_ = nullptr;
    return;
  }
  if (box == last_) return;
  last_ = box;
  Seen now;
  now.title = box->windowTitle().toStdString();
  now.text = box->informativeText().toStdString();
  for (const QAbstractButton* button : box->buttons()) {
    now.buttons.push_back(button->text().toStdString());
  }
  if (box->defaultButton() != nullptr) {
    now.default_button = box->defaultButton()->text().toStdString();
  }
  if (box->escapeButton() != nullptr) {
    now.escape_button = box->escapeButton()->text().toStdString();
  }
  now.icon = box->iconPixmap().toImage();
  now.window_icon = box->windowIcon().pixmap(64).toImage();
  seen.push_back(std::move(now));
  if (answers.empty()) {
    pressEscape(*box);
    return;
  }
  const auto answer = std::move(answers.front());
  answers.pop_front();
  answer(*box);
}

void AlertUser::expectIcon(const Seen& alert) {
  QFile file(QStringLiteral(":/softtoken/Icon.icns"));
  ASSERT_TRUE(file.open(QIODevice::ReadOnly));
  const QByteArray bytes = file.readAll();
  const auto pictures = icnsImages(bytes);
  const auto found = std::find_if(pictures.begin(), pictures.end(),
                                  [](const IcnsImage& picture) { return picture.width == 64; });
  ASSERT_NE(found, pictures.end());
  constexpr auto format = QImage::Format_ARGB32_Premultiplied;
  const QImage own = QImage::fromData(found->png).convertToFormat(format);
  ASSERT_FALSE(own.isNull());
  EXPECT_TRUE(alert.icon.convertToFormat(format) == own);
  EXPECT_TRUE(alert.window_icon.convertToFormat(format) == own);
}

Lines AlertUser::texts() const {
  Lines result;
  for (const Seen& alert : seen) result.push_back(alert.text);
  return result;
}

// To where the keyboard is within the box, as a user's keys go.
void AlertUser::pressReturn(QMessageBox& box) {
  QWidget* focus = box.focusWidget();
  QTest::keyClick(focus != nullptr ? focus : &box, Qt::Key_Return);
}

void AlertUser::pressEscape(QMessageBox& box) {
  QTest::keyClick(&box, Qt::Key_Escape);
}

std::function<void(QMessageBox&)> AlertUser::press(const std::string& button) {
  return [button](QMessageBox& box) {
    for (QAbstractButton* candidate : box.buttons()) {
      if (candidate->text().toStdString() == button) {
        QTest::mouseClick(candidate, Qt::LeftButton);
        return;
      }
    }
    ADD_FAILURE() << "no button " << button;
    pressEscape(box);
  };
}

}  // namespace test

AppTest::AppTest() {
  Alert::yes_delay = {};
  defaults.values["LoginItemPromptDone"] = "YES";
  keychain.fault = [this](test::FaultyKeychain::Call call, std::size_t /*number*/) {
    using Call = test::FaultyKeychain::Call;
    if (call == Call::add || call == Call::replace) ++writes_;
    return fault ? fault(call) : KeychainStatus::ok;
  };
  network.keepWaiting();
  setSettings("AllowManual=1\n");
}

AppTest::~AppTest() {
  end();
}

void AppTest::end() {
  app_.reset();
  turnEventLoop();
  // Waits for the call under way.
  keychain_thread_.reset();
}

void AppTest::setSettings(const std::string& text) {
  test::writeFile(home.home() + "/tasofttoken.ini", "Debug=yes\n" + text);
}

void AppTest::launch() {
  SettingsFolders folders;
  folders.home = home.home();
  folders.system = home.root() + "/none";
  folders.bundle = home.root() + "/none";
  app_.reset();
  ini_ = std::make_unique<Ini>(defaults, folders);
  AppParts parts;
  parts.keychain = &keychain;
  parts.identifiers = &identifiers;
  parts.defaults = &defaults;
  parts.ini = ini_.get();
  parts.clock = [this] { return clock; };
  parts.make_login_item = [this] { return login_items.makeItem(); };
  parts.make_loader = [this](std::string* /*error*/) { return network.makeLoader(); };
  parts.show_status_item = [this] { ++status_items_shown; };
  parts.panel_turned = [this](bool open) { told_open = open; };
  parts.notify = [this](const QString& text) { notifications.push_back(text.toStdString()); };
  parts.open_url = [this](const QString& address) {
    opened_pages.push_back(address.toStdString());
  };
  parts.patience = patience;
  parts.shortcut = shortcut;
  parts.in_background = for_search;
  if (in_background_) {
    keychain_thread_ = std::make_unique<BackgroundThread>();
    keychain_in_background_ = std::make_unique<KeychainInBackground>(keychain, *keychain_thread_);
    parts.keychain = keychain_in_background_.get();
    parts.read_ahead = [this](QObject* context, std::function<void(bool readable)> work) {
      std::vector<std::string> records;
      for (std::uint32_t slot = 0; slot < vane::max_tokens; ++slot) {
        records.push_back(vane::recordName(slot));
      }
      keychain_in_background_->readAhead(context, records, identifiers.read().login_name,
                                         std::move(work));
    };
    parts.blocking = [this](std::function<void()> work) {
      return Wait::run(*keychain_thread_, std::move(work), Wait::For::change);
    };
    parts.make_loader = [this](std::string* /*error*/) -> std::unique_ptr<UrlLoader> {
      return std::make_unique<UrlLoaderInBackground>(network.makeLoader());
    };
  }
  parts.trace_path = home.home() + "/softtoken.txt";
  parts.console = console;
  app_ = std::make_unique<SoftTokenOSXAppDelegate>(std::move(parts));
  app_->applicationDidFinishLaunching();
}

SoftTokenOSXAppDelegate& AppTest::app() {
  if (app_ == nullptr) launch();
  app_->loadInterface();
  return *app_;
}

void AppTest::show(const std::string& name) {
  static const std::map<std::string, test::Lines> ways{{"tv", {}},
                                                       {"cv", {"tvconfig"}},
                                                       {"av", {"tvadd"}},
                                                       {"hv", {"tvhelp"}},
                                                       {"mv", {"tvadd", "avmanual"}},
                                                       {"eva", {"tvadd", "avenrol"}},
                                                       {"evgu", {"tvadd", "avenrol"}}};
  app();
  if (panel() != nullptr) clickIcon();
  clickIcon();
  for (const std::string& step : ways.at(name)) {
    // Where there is one way only to add a token, the choice is left out.
    if (openView() != name) click(step);
  }
  ASSERT_EQ(openView(), name);
  EXPECT_TRUE(QTest::qWaitForWindowActive(panel()));
}

void AppTest::showResponse() {
  show("mv");
  type("mvdesc", "Response");
  type("mvseed", "UH7XKZFDVCTPT");
  click("mvok");
  ASSERT_EQ(openView(), "rv");
  EXPECT_TRUE(QTest::qWaitForWindowActive(panel()));
}

void AppTest::clickIcon() {
  app().iconClicked();
  turnEventLoop();
}

void AppTest::click(const std::string& name) {
  QAbstractButton* pressed = button(name);
  ASSERT_NE(pressed, nullptr);
  ASSERT_TRUE(pressed->isVisible()) << name;
  QTest::mouseClick(pressed, Qt::LeftButton);
  turnEventLoop();
}

void AppTest::type(QLineEdit* field, const std::string& text) {
  field->clear();
  QTest::keyClicks(field, QString::fromStdString(text));
  turnEventLoop();
}

void AppTest::type(const std::string& field, const std::string& text) {
  type(find<QLineEdit>(field), text);
}

void AppTest::turnEventLoop() {
  QCoreApplication::processEvents();
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  QCoreApplication::processEvents();
}

SoftTokenWindow* AppTest::panel() {
  for (QWidget* window : QApplication::topLevelWidgets()) {
    auto* panel = dynamic_cast<SoftTokenWindow*>(window);
    if (panel != nullptr && panel->isVisible()) return panel;
  }
  return nullptr;
}

std::string AppTest::openView() {
  return panel() == nullptr ? std::string() : panel()->objectName().toStdString();
}

QColor AppTest::colourOf(const std::string& label) {
  return dynamic_cast<TextLabel&>(*find<QLabel>(label)).textColour();
}

Frame AppTest::frameInPanel(const QWidget* widget) {
  return frameOf(
      QRect(widget->mapTo(static_cast<QWidget*>(panel()), QPoint(0, 0)), widget->size()));
}

test::Lines AppTest::codes() {
  test::Lines result;
  for (const QLabel* label : all<QLabel>("tvpasscode")) {
    result.push_back(label->text().toStdString());
  }
  return result;
}

void AppTest::tick(std::int64_t time) {
  clock = time;
  QMetaObject::invokeMethod(find<QTimer>("timer"), "timeout");
  turnEventLoop();
}

void AppTest::asAnotherProgram(const std::function<void()>& work) {
  Gateway* before = vane::interface();
  vaneinterface gateway(keychain.memory, identifiers);
  gateway.setConsole(false);
  const bool tracing = talibobjc_Trace::isOn();
  talibobjc_Trace::traceOn(false);
  vane::SetInterface(&gateway);
  work();
  vane::SetInterface(before);
  talibobjc_Trace::traceOn(tracing);
}

void AppTest::store(const std::string& name, const std::string& seed, int period) {
  asAnotherProgram([&] {
    SoftTokenInfo token;
    token.description = name;
    token.seed32 = seed;
    token.period = period;
    std::int32_t index = vane::first_free_slot;
    EXPECT_TRUE(vane::WriteToken(&index, token)) << name;
  });
}

void AppTest::storeMany(int count) {
  for (int i = 0; i < count; ++i) store("Token " + std::to_string(i));
}

test::Lines AppTest::storedNames() {
  test::Lines names;
  asAnotherProgram([&] {
    vane::TokenArray tokens;
    const std::int32_t count = vane::ReadAllTokens(tokens);
    for (std::int32_t i = 0; i < count; ++i) {
      names.push_back(*tokens[static_cast<std::size_t>(i)]->description);
    }
  });
  return names;
}

void AppTest::deleteStored(std::uint32_t slot) {
  asAnotherProgram([slot] {
    std::array<std::uint8_t, vane::max_tokens> selected{};
    selected[slot] = 1;
    vane::DeleteTokens(selected);
  });
}

void AppTest::renameStored(std::uint32_t slot, const std::string& name) {
  asAnotherProgram([&] {
    std::unique_ptr<SoftTokenInfo> token;
    ASSERT_TRUE(vane::ReadToken(slot, &token));
    token->updateDescription(name);
    auto index = static_cast<std::int32_t>(slot);
    EXPECT_TRUE(vane::WriteToken(&index, *token));
  });
}

test::Lines AppTest::traced(const test::Lines& beginnings) {
  test::Lines result;
  const std::string trace = test::readFile(home.home() + "/softtoken.txt");
  std::size_t begin = 0;
  for (std::size_t end = trace.find("\r\n"); end != std::string::npos;
       end = trace.find("\r\n", begin)) {
    const std::string line = trace.substr(begin, end - begin);
    begin = end + 2;
    // "HH:MM:SS [PID] "
    const std::size_t header = line.find("] ");
    if (header == std::string::npos) {
      ADD_FAILURE() << "no header: " << line;
      continue;
    }
    const std::string text = line.substr(header + 2);
    const bool wanted =
        std::any_of(beginnings.begin(), beginnings.end(),
                    [&text](const std::string& beginning) { return text.starts_with(beginning); });
    if (wanted) result.push_back(text);
  }
  return result;
}

void AppTest::clearTrace() {
  test::writeFile(home.home() + "/softtoken.txt", "");
}

}  // namespace talvane
