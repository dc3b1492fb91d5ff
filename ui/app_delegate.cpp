#include "ui/app_delegate.h"

#include <QApplication>
#include <QFontMetrics>
#include <QUrl>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "config/read_settings.h"
#include "engine/soft_token_info.h"
#include "engine/vane.h"
#include "platform/qr_image.h"
#include "store/new_token.h"
#include "ui/kit/alert.h"
#include "ui/kit/fields.h"
#include "ui/kit/look.h"
#include "ui/panel/soft_token_window.h"
#include "ui/start.h"
#include "ui/views/add_view.h"
#include "ui/views/address_view.h"
#include "ui/views/authentication_view.h"
#include "ui/views/help_view.h"
#include "ui/views/management_view.h"
#include "ui/views/manual_view.h"
#include "ui/views/questions_view.h"
#include "ui/views/response_view.h"
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
}

SoftTokenOSXAppDelegate::~SoftTokenOSXAppDelegate() {
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
  parts_.show_status_item();
  promptForLoginItem();
}

void SoftTokenOSXAppDelegate::loadInterface() {
  if (response_ != nullptr) return;
  response_ = &panel_.add(std::make_unique<ResponseView>(panel_));
  panel_.add(std::make_unique<TokenView>(panel_, *this, ini, gateway_));
  panel_.add(std::make_unique<ManagementView>(panel_, *this, ini, store_));
  panel_.add(std::make_unique<AddView>(panel_));
  panel_.add(std::make_unique<ManualView>(panel_, *this, ini, store_, *response_));
  panel_.add(std::make_unique<HelpView>(panel_, *this, ini,
                                        HelpView::Parts{parts_.make_login_item, parts_.open_url}));
  auto& evgu = panel_.add(std::make_unique<AddressView>(panel_, ini, flow_));
  auto& eva = panel_.add(std::make_unique<AuthenticationView>(panel_, *this, ini, flow_, evgu));
  auto& evgi = panel_.add(std::make_unique<QuestionsView>(panel_, *this, ini, flow_));
  enrolment_views_.join(eva, evgi, evgu);
  // Loads the fonts, so that the first opening does not wait for them.
  for (const int size : {12, 13, 24}) QFontMetrics(panelFont(size)).horizontalAdvance('0');
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
  switch (Alert::ask(nullptr, QString::fromStdString(ini.StrStartupAdd) + QLatin1Char('?'))) {
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
  QMetaObject::invokeMethod(
      this, [this] { iconClicked2(); }, Qt::QueuedConnection);
  vane::log("APP: Icon clicked: end");
}

void SoftTokenOSXAppDelegate::iconClicked2() {
  if (Wait::isOn()) {
    Wait::leave([this] { panel_.closeclicked(); });
    return;
  }
  if (Alert::isOpen()) return;
  loadInterface();
  if (!panel_.isOpen()) {
    panel_.openWindow(panel_.window("tv"), -1, -1, true);
  } else if (panel_.openPanel() == nullptr) {
    vane::log("APP: Icon clicked: Unexpected ow Nil");
  } else {
    panel_.closeWindow(panel_.openPanel(), true);
  }
}

void SoftTokenOSXAppDelegate::menuExit() {
  QApplication::quit();
}

void SoftTokenOSXAppDelegate::addclicked(SoftTokenWindow* fromWindow) {
  if (ini.bAllowManual) {
    panel_.switchViewfrom(fromWindow, panel_.window(ini.bAllowTaEnrol ? "av" : "mv"));
  } else if (ini.bAllowTaEnrol) {
    panel_.switchViewfrom(fromWindow, panel_.window("eva"));
  } else {
    vane::log("APP: addclicked: unexpected");
  }
}

void SoftTokenOSXAppDelegate::simpleMessageBox(const QString& text) {
  // The user knows: they have ended it.
  if (Wait::isLeaving()) return;
  Alert::tell(panel_.openPanel(), text);
}

void SoftTokenOSXAppDelegate::perform(const QString& request) {
  const QLatin1String open(request::open);
  if (request == QLatin1String(request::quit)) {
    menuExit();
  } else if (request.startsWith(open)) {
    importLink(request.mid(open.size()));
  } else {
    iconClicked();
  }
}

void SoftTokenOSXAppDelegate::importLink(const QString& link) {
  if (Wait::isOn()) {
    Wait::later(this, [this, link] { importLink(link); });
    return;
  }
  if (Alert::isOpen()) return;
  loadInterface();
  if (mayAddTokens()) offerToken(secretText(link.trimmed()));
}

void SoftTokenOSXAppDelegate::importImage(const QString& path) {
  if (Alert::isOpen()) return;
  loadInterface();
  if (reads_image_ || !mayAddTokens()) return;
  reads_image_ = true;
  image_readers_.start([this, path = path.toStdString()] {
    const auto image = std::make_shared<QrImage>(readQrImage(path));
    QMetaObject::invokeMethod(
        this, [this, image] { takeImage(*image); }, Qt::QueuedConnection);
  });
}

void SoftTokenOSXAppDelegate::takeImage(const QrImage& image) {
  reads_image_ = false;
  image_readers_.joinFinished();
  if (Alert::isOpen()) return;
  if (!image.error.empty()) {
    simpleMessageBox(QString::fromStdString(image.error));
    return;
  }
  offerToken(image.text.get());
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
          QStringLiteral("Drop an otpauth:// link here, or an image of its QR code (PNG or JPEG)"));
    }
  });
}

bool SoftTokenOSXAppDelegate::mayAddTokens() {
  if (ini.bAllowManual) return true;
  simpleMessageBox(
      QStringLiteral("You cannot add tokens this way: the setting AllowManual is off. Ask your "
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
  if (Alert::ask(panel_.openPanel(), question) != Alert::Result::alternate_return) return;
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
  if (added.response) response_->setCode(*added.response);
  SoftTokenWindow* next = panel_.window(added.response ? "rv" : "tv");
  if (panel_.isOpen()) {
    panel_.switchViewfrom(panel_.openPanel(), next);
  } else {
    panel_.openWindow(next, -1, -1, true);
  }
}

}  // namespace talvane
