#include "ui/app_delegate.h"

#include <QApplication>
#include <QSocketNotifier>
#include <algorithm>
#include <utility>

#include "config/read_settings.h"
#include "ui/kit/alert.h"

namespace talvane {
namespace {

constexpr const char* prompt_done_key = "LoginItemPromptDone";

// Labels that the enrolment form's three rows begin with.
constexpr int label_room = 17;
constexpr int field_distance = 34;
constexpr int field_room = 51;

int widestText(const QFontMetrics& metrics, std::initializer_list<const std::string*> texts) {
  int widest = 0;
  for (const std::string* text : texts) {
    widest = std::max(widest, metrics.horizontalAdvance(QString::fromStdString(*text)));
  }
  return widest;
}

}  // namespace

SoftTokenOSXAppDelegate::SoftTokenOSXAppDelegate(AppParts parts)
    : parts_(std::move(parts)),
      ini(*parts_.ini),
      gateway_(*parts_.keychain, *parts_.identifiers),
      store_(gateway_, *parts_.keychain),
      flow_({this, &ini, &store_, &gateway_, parts_.make_loader}) {
  gateway_.setConsole(parts_.console);
}

SoftTokenOSXAppDelegate::~SoftTokenOSXAppDelegate() {
  timer.reset();
  windows_.clear();
  // Its worker still writes to the log.
  flow_.end();
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

void SoftTokenOSXAppDelegate::promptForLoginItem() {
  vane::log("APP: checking for LoginItemPromptDone user preference...");
  std::string value;
  switch (parts_.defaults->string(prompt_done_key, &value)) {
    case UserDefaults::Found::yes:
      vane::log("APP: LoginItemPromptDone:  value:{}", value);
      return;
    case UserDefaults::Found::unreadable:
      return;  // the answer is there, though it cannot be read now
    case UserDefaults::Found::no:
      break;
  }
  vane::log("APP: LoginItemPromptDone:  not found");
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
  if (Alert::isOpen()) return;
  loadInterface();
  if (!bOpen) {
    openWindow(tv, -1, -1, true);
  } else if (ow == nullptr) {
    vane::log("APP: Icon clicked: Unexpected ow Nil");
  } else {
    closeWindow(ow, true);
  }
}

void SoftTokenOSXAppDelegate::menuExit() {
  QApplication::quit();
}

void SoftTokenOSXAppDelegate::addclicked(SoftTokenWindow* fromWindow) {
  if (ini.bAllowManual) {
    switchViewfrom(fromWindow, ini.bAllowTaEnrol ? av : mv);
  } else if (ini.bAllowTaEnrol) {
    switchViewfrom(fromWindow, eva);
  } else {
    vane::log("APP: addclicked: unexpected");
  }
}

void SoftTokenOSXAppDelegate::simpleMessageBox(const QString& text) {
  Alert::tell(alertParent(), text);
}

QWidget* SoftTokenOSXAppDelegate::alertParent() const {
  return ow;
}

SoftTokenWindow* SoftTokenOSXAppDelegate::window(const std::string& prefix) const {
  const std::pair<const char*, SoftTokenWindow*> by_prefix[] = {
      {"tv", tv}, {"cv", cv},   {"av", av},     {"mv", mv},    {"rv", rv},
      {"hv", hv}, {"eva", eva}, {"evgi", evgi}, {"evgu", evgu}};
  for (const auto& [name, view] : by_prefix) {
    if (prefix == name) return view;
  }
  return nullptr;
}

SoftTokenWindow* SoftTokenOSXAppDelegate::makeWindow(int height,
                                                     const std::function<void(QWidget*)>& fill) {
  windows_.push_back(std::make_unique<SoftTokenWindow>(Frame{0, 0, panel_width, height}));
  SoftTokenWindow* window = windows_.back().get();
  fill(window->contentView());
  window->setContentView(window->contentView());
  window->key_pressed = [this, window](QKeyEvent& event) { return keyPressed(window, event); };
  window->closed_by_user = [this, window] { closeWindow(window, false); };
  window->wheel_turned = [this](int points) { scrollPanel(points); };
  window->dropped = [this](const QMimeData& what) { takeDropped(what); };
  return window;
}

void SoftTokenOSXAppDelegate::loadInterface() {
  if (interface_loaded_) return;
  interface_loaded_ = true;
  tv = makeWindow(tokenViewHeight(0), [this](QWidget* view) { TokenView::setupUi(view); });
  cv =
      makeWindow(managementViewHeight(0), [this](QWidget* view) { ManagementView::setupUi(view); });
  av = makeWindow(add_view_height, [this](QWidget* view) { AddView::setupUi(view); });
  mv = makeWindow(manual_view_height, [this](QWidget* view) { ManualView::setupUi(view); });
  rv = makeWindow(response_view_height, [this](QWidget* view) { ResponseView::setupUi(view); });
  hv = makeWindow(help_view_height, [this](QWidget* view) { HelpView::setupUi(view); });
  eva = makeWindow(authentication_view_height,
                   [this](QWidget* view) { AuthenticationView::setupUi(view); });
  evgi = makeWindow(other_view_height, [this](QWidget* view) { QuestionsView::setupUi(view); });
  evgu = makeWindow(address_view_height, [this](QWidget* view) { AddressView::setupUi(view); });
  close = new CloseButton(nullptr);
  close->setParent(tv);
  close->hide();
  close->setAccessibleName(QStringLiteral("Close"));
  close->setToolTip(QStringLiteral("Close"));
  setTexts();
  connectControls();
  layOutSignIn();
  connectEnrolment();
  connect(qApp, &QApplication::focusChanged, this,
          [this](QWidget* /*before*/, QWidget* now) { bringIntoView(now); });
  // What the first showing would otherwise wait for: the fonts.
  for (const int size : {12, 13, 24}) QFontMetrics(panelFont(size)).horizontalAdvance('0');
}

void SoftTokenOSXAppDelegate::setTexts() {
  for (PanelButton* button : {avenrol, avmanual, hvgs, hvmanage, hvabout, hvlaunch, hvexit}) {
    button->setDress(PanelButton::Dress::tile);
  }
  mvdesc->setAccessibleName(QString::fromStdString(ini.StrManualDesc));
  mvseed->setAccessibleName(QString::fromStdString(ini.StrManualSeed));
  rvcode->setAccessibleName(rvprompt->text());
  eva_userid->setAccessibleName(QString::fromStdString(ini.StrUsername));
  eva_password->setAccessibleName(QString::fromStdString(ini.StrPassword));
  eva_passcode->setAccessibleName(QString::fromStdString(ini.StrPasscode));
  evgu_url->setAccessibleName(QString::fromStdString(ini.StrGetURL));
  QFont digits = panelFont(22);
  digits.setLetterSpacing(QFont::AbsoluteSpacing, 1);
  rvcode->setFont(digits);
}

void SoftTokenOSXAppDelegate::connectControls() {
  using Delegate = SoftTokenOSXAppDelegate;
  const std::pair<QAbstractButton*, void (Delegate::*)()> actions[] = {
      {close, &Delegate::closeclicked},
      {tvconfig, &Delegate::tv_editclicked},
      {tvhelp, &Delegate::tv_helpclicked},
      {tvadd, &Delegate::tv_addclicked},
      {cvtrash, &Delegate::cv_trashclicked},
      {cvhome, &Delegate::cv_homeclicked},
      {cvadd, &Delegate::cv_addclicked},
      {avenrol, &Delegate::av_enrolclicked},
      {avmanual, &Delegate::av_manualclicked},
      {avcancel, &Delegate::av_cancelclicked},
      {mvok, &Delegate::mv_okclicked},
      {mvcancel, &Delegate::mv_cancelclicked},
      {rvok, &Delegate::rv_okclicked},
      {hvgs, &Delegate::hv_gsclicked},
      {hvmanage, &Delegate::hv_manageclicked},
      {hvabout, &Delegate::hv_aboutclicked},
      {hvlaunch, &Delegate::hv_launchclicked},
      {hvexit, &Delegate::hv_exitclicked},
      {hvhome, &Delegate::hv_homeclicked},
      {eva_submit, &Delegate::eva_submitclicked},
      {eva_cancel, &Delegate::eva_cancelclicked},
      {evgi_submit, &Delegate::evgi_submitclicked},
      {evgu_submit, &Delegate::evgu_submitclicked},
      {evgi_cancel, &Delegate::evgi_cancelclicked},
      {evgu_cancel, &Delegate::evgu_cancelclicked},
  };
  for (const auto& [button, action] : actions) {
    // A click that waited while the program worked may be for a view that is open no more.
    connect(button, &QAbstractButton::clicked, this, [this, pressed = button, act = action] {
      if (pressed->window() == ow) (this->*act)();
    });
  }
}

void SoftTokenOSXAppDelegate::layOutSignIn() {
  const int widest = widestText(eva_useridlabel->fontMetrics(),
                                {&ini.StrUsername, &ini.StrPassword, &ini.StrPasscode});
  for (QWidget* label : {eva_useridlabel, eva_passwordlabel, eva_passcodelabel}) {
    label->resize(widest + label_room, label->height());
  }
  for (QWidget* field : {eva_userid, eva_password, eva_passcode}) {
    field->setGeometry(widest + field_distance, field->y(), eva->width() - field_room - widest,
                       field->height());
  }
  sign_in_labels_ = {eva_useridlabel->geometry(), eva_passwordlabel->geometry(),
                     eva_passcodelabel->geometry()};
  sign_in_fields_ = {eva_userid->geometry(), eva_password->geometry(), eva_passcode->geometry()};
}

}  // namespace talvane
