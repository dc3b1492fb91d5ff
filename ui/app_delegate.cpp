#include "ui/app_delegate.h"

#include <QApplication>
#include <QFontMetrics>
#include <QUrl>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "config/clipboard_time.h"
#include "config/read_settings.h"
#include "engine/log.h"
#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "engine/vane.h"
#include "platform/qr_image.h"
#include "platform/translation.h"
#include "store/name_search.h"
#include "store/new_token.h"
#include "store/stored_tokens.h"
#include "ui/desktop/item_place.h"
#include "ui/desktop/pasteboard.h"
#include "ui/desktop/shortcut_choice.h"
#include "ui/kit/accessible.h"
#include "ui/kit/alert.h"
#include "ui/kit/fields.h"
#include "ui/kit/look.h"
#include "ui/kit/ui_text.h"
#include "ui/panel/soft_token_window.h"
#include "ui/start.h"
#include "ui/views/add_view.h"
#include "ui/views/help_view.h"
#include "ui/views/management_view.h"
#include "ui/views/manual_view.h"
#include "ui/views/response_view.h"
#include "ui/views/shell.h"
#include "ui/views/token_view.h"
#include "ui/wait/wait.h"

namespace talvane {
namespace {

constexpr const char* prompt_done_key = "LoginItemPromptDone";

}  // namespace

SoftTokenOSXAppDelegate::SoftTokenOSXAppDelegate(AppParts parts)
    : parts_(std::move(parts)),
      ini(*parts_.ini),
      gateway_(*parts_.keychain, *parts_.identifiers, parts_.clock),
      store_(gateway_, *parts_.keychain, parts_.defaults, parts_.patience, parts_.blocking),
      panel_(ini, store_),
      enrolment_views_(panel_, *this),
      flow_({&enrolment_views_, &ini, &store_, &gateway_, parts_.make_loader,
             [this](std::function<void()> work) { Wait::later(this, std::move(work)); }}) {
  gateway_.setConsole(parts_.console);
  panel_.dropped = [this](const QMimeData& content) { takeDropped(content); };
  panel_.turned = [this](bool open) { panelTurned(open); };
  passcode_goes_.setSingleShot(true);
  passcode_goes_.setTimerType(Qt::PreciseTimer);
  connect(&passcode_goes_, &QTimer::timeout, this, [] { clearSecret(); });
  connect(qApp, &QCoreApplication::aboutToQuit, this, [this] { clearPasscode(); });
}

SoftTokenOSXAppDelegate::~SoftTokenOSXAppDelegate() {
  clearPasscode();
  // Its worker still writes to the log.
  flow_.end();
  image_readers_.join();
  vane::SetInterface(nullptr);
}

void SoftTokenOSXAppDelegate::applicationDidFinishLaunching() {
  gateway_.log("APP: launching...\n");
  vane::SetInterface(&gateway_);
  vane::InitColors();
  readSettingsWithTrace(ini, parts_.trace_path);
  if (!parts_.in_background) comeForward();
}

void SoftTokenOSXAppDelegate::comeForward() {
  parts_.in_background = false;
  if (parts_.came_forward) parts_.came_forward();
  parts_.show_status_item();
  if (parts_.shortcut != nullptr) parts_.shortcut->start(ini.Shortcut);
  switch (ini.atLogin()) {
    case Ini::AtLogin::ask:
      promptForLoginItem();
      break;
    case Ini::AtLogin::on:
      setLoginItem(true);
      break;
    case Ini::AtLogin::off:
      setLoginItem(false);
      break;
  }
}

void SoftTokenOSXAppDelegate::loadInterface() {
  if (response_ != nullptr) return;
  response_ = &panel_.add(std::make_unique<ResponseView>(panel_));
  panel_.add(std::make_unique<TokenView>(panel_, *this, ini, gateway_));
  panel_.add(std::make_unique<ManagementView>(panel_, *this, ini, store_, *response_));
  panel_.add(std::make_unique<AddView>(panel_));
  panel_.add(std::make_unique<ManualView>(panel_, *this, ini, store_, *response_));
  panel_.add(std::make_unique<HelpView>(
      panel_, *this, ini,
      HelpView::Parts{parts_.make_login_item, parts_.open_url, parts_.shortcut}));
  panel_.addLater([this] { enrolment_views_.add(ini, flow_); });
  // Loads the fonts, so that the first opening does not wait for them.
  for (const int size : {12, 13, 24}) QFontMetrics(panelFont(size)).horizontalAdvance('0');
}

// As the administrator has decided.
void SoftTokenOSXAppDelegate::setLoginItem(bool launch) {
  vane::log("APP: LoginItems: {}", launch ? "on" : "off");
  const auto item = parts_.make_login_item();
  if (item->launchAtLogin() != launch) item->setLaunchAtLogin(launch);
}

void SoftTokenOSXAppDelegate::promptForLoginItem() {
  vane::log("APP: checking for LoginItemPromptDone user preference...");
  std::string value;
  switch (parts_.defaults->string(prompt_done_key, &value)) {
    case UserDefaults::Found::yes:
      vane::log("APP: LoginItemPromptDone:  value:{}", value);
      return;
    case UserDefaults::Found::unreadable:
      vane::log("APP: LoginItemPromptDone:  not found");
      return;  // there is an answer, although it cannot be read now
    case UserDefaults::Found::no:
      vane::log("APP: LoginItemPromptDone:  not found");
      break;
  }
  switch (Alert::ask(panel_.alertSite(),
                     QString::fromStdString(translatedWith("{}?", ini.StrStartupAdd)))) {
    case Alert::Result::alternate_return:
      vane::log("APP: add to login items?  YES");
      parts_.make_login_item()->setLaunchAtLogin(true);
      break;
    case Alert::Result::default_return:
      vane::log("APP: add to login items?  NO");
      break;
    case Alert::Result::other:
      vane::log("APP: add to login items?  unexpected response");
      break;
  }
  static_cast<void>(parts_.defaults->setString(prompt_done_key, "YES"));
}

void SoftTokenOSXAppDelegate::iconClicked() {
  vane::log("APP: Icon clicked: begin");
  const ItemPlace item = itemPlace();
  QMetaObject::invokeMethod(
      this, [this, item] { iconClicked2(item); }, Qt::QueuedConnection);
  vane::log("APP: Icon clicked: end");
}

void SoftTokenOSXAppDelegate::iconClicked2(const ItemPlace& item) {
  if (Wait::isOn()) {
    Wait::leave([this] { panel_.closeclicked(); });
    return;
  }
  if (!isReady([this, item] { iconClicked2(item); })) return;
  if (!panel_.isOpen()) {
    openPanel(item, "tv");
  } else if (panel_.openPanel() == nullptr) {
    vane::log("APP: Icon clicked: Unexpected ow Nil");
  } else if (panel_.mayLeave()) {
    panel_.closeWindow(panel_.openPanel(), true);
  }
}

void SoftTokenOSXAppDelegate::iconDoubleClicked() {
  const ItemPlace item = itemPlace();
  // After the first click, whose work is put off as well.
  QMetaObject::invokeMethod(
      this, [this, item] { stayOpen(item); }, Qt::QueuedConnection);
}

void SoftTokenOSXAppDelegate::stayOpen(const ItemPlace& item) {
  if (Wait::isOn() || !isReady([this, item] { stayOpen(item); })) return;
  if (!panel_.isOpen()) openPanel(item, "tv");
}

ItemPlace SoftTokenOSXAppDelegate::itemPlace() const {
  return parts_.item_place ? parts_.item_place() : ItemPlace();
}

bool SoftTokenOSXAppDelegate::isReady(std::function<void()> again) {
  if (panel_.isRolling()) {
    after_roll_.push_back(std::move(again));
    return false;
  }
  if (Alert::isOpen()) return false;
  loadInterface();
  return true;
}

void SoftTokenOSXAppDelegate::panelTurned(bool open) {
  for (auto& work : std::exchange(after_roll_, {})) {
    QMetaObject::invokeMethod(this, std::move(work), Qt::QueuedConnection);
  }
  if (parts_.panel_turned) parts_.panel_turned(open);
}

void SoftTokenOSXAppDelegate::openPanel(const ItemPlace& item, const char* view) {
  panel_.setItemPlace(item);
  panel_.openWindow(panel_.window(view), -1, -1, true);
}

void SoftTokenOSXAppDelegate::menuOpen() {
  iconClicked();
}

void SoftTokenOSXAppDelegate::menuAdd() {
  const char* view = addView();
  if (view != nullptr) showFromMenu(itemPlace(), view);
}

void SoftTokenOSXAppDelegate::menuHelp() {
  showFromMenu(itemPlace(), "hv");
}

void SoftTokenOSXAppDelegate::showFromMenu(const ItemPlace& item, const char* view) {
  if (Wait::isOn()) {
    Wait::leave([this, item, view] { showFromMenu(item, view); });
    return;
  }
  if (!isReady([this, item, view] { showFromMenu(item, view); })) return;
  if (panel_.isOpen()) {
    if (panel_.mayLeave()) panel_.switchViewfrom(panel_.openPanel(), panel_.window(view));
  } else {
    openPanel(item, view);
  }
}

void SoftTokenOSXAppDelegate::menuExit() {
  QApplication::quit();
}

// The way to add a token that the settings allow; null if they allow none.
const char* SoftTokenOSXAppDelegate::addView() const {
  if (ini.bAllowManual) return ini.bAllowTaEnrol ? "av" : "mv";
  return ini.bAllowTaEnrol ? "eva" : nullptr;
}

void SoftTokenOSXAppDelegate::addclicked(SoftTokenWindow* fromWindow) {
  if (const char* view = addView()) {
    panel_.switchViewfrom(fromWindow, panel_.window(view));
  } else {
    vane::log("APP: addclicked: unexpected");
  }
}

void SoftTokenOSXAppDelegate::simpleMessageBox(const QString& text) {
  // The user knows: they have ended it.
  if (Wait::isLeaving()) return;
  Alert::tell(panel_.alertSite(), text);
}

void SoftTokenOSXAppDelegate::copyPasscode(const PasscodeToCopy& passcode) {
  copySecret(passcode.digits);
  const std::int64_t seconds =
      secondsInClipboard(ini.ClipboardSeconds, passcode.expires - gateway_.CurrentTime());
  passcode_goes_.stop();
  if (seconds > 0) passcode_goes_.start(std::chrono::seconds(seconds));
  const std::string name = shownName(passcode.token);
  const QString words =
      QString::fromStdString(passcode.is_next ? translatedWith("Next passcode for {} copied", name)
                                              : translatedWith("Passcode for {} copied", name));
  if (panel_.openPanel() != nullptr) announce(*panel_.openPanel(), words);
  if (!parts_.notify) return;
  // After the panel has closed.
  QMetaObject::invokeMethod(
      this, [this, words] { parts_.notify(words); }, Qt::QueuedConnection);
}

// The program ends: whoever asks for the passcode later would not get it cleared.
void SoftTokenOSXAppDelegate::clearPasscode() {
  if (!passcode_goes_.isActive()) return;
  passcode_goes_.stop();
  clearSecret();
}

void SoftTokenOSXAppDelegate::perform(const QString& request) {
  const QLatin1String open(request::open);
  if (request == QLatin1String(request::background)) return;
  if (request == QLatin1String(request::quit)) {
    menuExit();
    return;
  }
  if (parts_.in_background) {
    comeForward();
    // As the first start, which opens nothing either.
    if (request == QLatin1String(request::start)) return;
  }
  if (request.startsWith(open)) {
    importLink(request.mid(open.size()));
  } else {
    iconClicked();
  }
}

void SoftTokenOSXAppDelegate::withTokens(std::function<void(const StoredTokens* tokens)> work) {
  token_readers_.push_back(std::move(work));
  // One reading serves all that come meanwhile.
  if (token_readers_.size() > 1) return;
  const auto read = [this](bool readable) {
    const auto readers = std::exchange(token_readers_, {});
    const auto stored = [&]() -> std::optional<StoredTokens> {
      const EngineLog::Pause quiet;
      if (!readable) return std::nullopt;
      if (auto found = store_.read()) return std::move(*found);
      return std::nullopt;
    }();
    for (const auto& reader : readers) reader(stored ? &*stored : nullptr);
  };
  if (parts_.read_ahead) {
    parts_.read_ahead(this, read);
  } else {
    read(true);
  }
}

void SoftTokenOSXAppDelegate::findNames(
    const std::string& query, std::function<void(const std::vector<std::string>& names)> found) {
  withTokens([query, found = std::move(found)](const StoredTokens* tokens) {
    std::vector<std::string> names;
    if (tokens != nullptr) {
      for (const auto& token : tokens->list) {
        names.push_back(token->currentDescription().value_or(""));
      }
    }
    found(matchingNames(names, query));
  });
}

void SoftTokenOSXAppDelegate::copyByName(const std::string& name) {
  withTokens([this, name](const StoredTokens* tokens) {
    if (tokens != nullptr) {
      for (const auto& token : tokens->list) {
        if (token->currentDescription() != name) continue;
        const EngineLog::Pause quiet;
        const std::string_view seed = token->seed32 ? token->seed32->get() : std::string_view();
        const std::int64_t counter = token->counterAt(gateway_.CurrentTime());
        const auto code = vane::GeneratePasscode(seed, counter);
        if (!code) break;
        copyPasscode({QString::fromStdString(*code), name, (counter + 1) * token->period, false});
        return;
      }
    }
    // It says what is wrong.
    Wait::later(this, [this] { showPanel(); });
  });
}

void SoftTokenOSXAppDelegate::showPanel() {
  if (parts_.in_background) comeForward();
  if (!panel_.isOpen()) iconClicked();
}

void SoftTokenOSXAppDelegate::importLink(const QString& link) {
  if (Wait::isOn()) {
    Wait::later(this, [this, link] { importLink(link); });
    return;
  }
  if (!isReady([this, link] { importLink(link); })) return;
  if (mayAddTokens()) offerToken(secretText(link.trimmed()));
}

void SoftTokenOSXAppDelegate::importImage(const QString& path) {
  if (!isReady([this, path] { importImage(path); })) return;
  if (reads_image_ || !mayAddTokens()) return;
  reads_image_ = true;
  image_readers_.start([this, path = path.toStdString()] {
    const auto image = std::make_shared<QrImage>(readQrImage(path));
    QMetaObject::invokeMethod(
        this, [this, image] { takeImage(image); }, Qt::QueuedConnection);
  });
}

void SoftTokenOSXAppDelegate::takeImage(const std::shared_ptr<const QrImage>& image) {
  if (panel_.isRolling()) {
    after_roll_.emplace_back([this, image] { takeImage(image); });
    return;
  }
  reads_image_ = false;
  image_readers_.joinFinished();
  if (Alert::isOpen()) return;
  if (!image->error.empty()) {
    simpleMessageBox(QString::fromStdString(image->error));
    return;
  }
  offerToken(image->text.get());
}

void SoftTokenOSXAppDelegate::takeDropped(const QMimeData& content) {
  QString link;
  QString file;
  for (const QUrl& url : content.urls()) {
    if (url.isLocalFile()) file = url.toLocalFile();
  }
  const QString text = content.text().trimmed();
  if (text.startsWith(QLatin1String("otpauth://"), Qt::CaseInsensitive)) link = text;
  // The drag is over before the question is asked.
  Wait::later(this, [this, link, file] {
    if (!link.isEmpty()) {
      importLink(link);
    } else if (!file.isEmpty()) {
      importImage(file);
    } else {
      simpleMessageBox(
          uiText("Drop an otpauth:// link here, or an image of its QR code (PNG or JPEG)"));
    }
  });
}

bool SoftTokenOSXAppDelegate::mayAddTokens() {
  if (ini.bAllowManual) return true;
  simpleMessageBox(
      uiText("You cannot add tokens this way: the setting AllowManual is off. Ask your "
             "administrator how to get a token"));
  return false;
}

void SoftTokenOSXAppDelegate::offerToken(const std::string& url) {
  const auto parsed = tokenFromUrl(url);
  const auto plan = parsed.and_then([this](const auto& found) { return store_.plan(*found); });
  if (!plan) {
    simpleMessageBox(QString::fromStdString(plan.error().words));
    return;
  }
  const SoftTokenInfo& token = **parsed;
  const QString question = QString::fromStdString(questionBefore(token, plan->replaces));
  if (Alert::ask(panel_.alertSite(), question) != Alert::Result::alternate_return) return;
  // Another program may have stored a token meanwhile, which the question did not name.
  const auto same_name =
      plan->replaces ? TokenStore::SameName::replace : TokenStore::SameName::refuse;
  if (const auto added = store_.add(token, same_name)) {
    showAdded(*added);
  } else {
    simpleMessageBox(QString::fromStdString(added.error().words));
  }
}

void SoftTokenOSXAppDelegate::showAdded(const TokenStore::Added& added) {
  panel_.setAdded(added.slot);
  if (added.response) response_->setCode(*added.response);
  const char* next = added.response ? "rv" : "tv";
  if (panel_.isOpen()) {
    if (panel_.mayLeave()) panel_.switchViewfrom(panel_.openPanel(), panel_.window(next));
  } else {
    openPanel(itemPlace(), next);
  }
}

}  // namespace talvane
