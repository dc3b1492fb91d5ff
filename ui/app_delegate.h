#pragma once

// The one controller of the interface. Main thread only. At most one panel is open at a time; every
// view is a window of its own, whose content is moved onto the common background while it is open.

#include <QObject>
#include <QTimer>
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "config/ini.h"
#include "engine/vane.h"
#include "enrol/enrol_flow.h"
#include "platform/keychain_service.h"
#include "platform/login_item.h"
#include "platform/vaneinterface.h"
#include "store/token_store.h"
#include "ui/kit/buttons.h"
#include "ui/kit/countdown.h"
#include "ui/kit/fields.h"
#include "ui/kit/flipped_view.h"
#include "ui/kit/look.h"
#include "ui/kit/text_label.h"
#include "ui/panel/soft_token_window.h"
#include "ui_add_view.h"
#include "ui_address_view.h"
#include "ui_authentication_view.h"
#include "ui_help_view.h"
#include "ui_management_view.h"
#include "ui_manual_view.h"
#include "ui_questions_view.h"
#include "ui_response_view.h"
#include "ui_token_view.h"

class QComboBox;
class QSocketNotifier;

namespace talvane {

/// What the controller works with; all of it outlives the controller.
struct AppParts {
  KeychainService* keychain = nullptr;
  DeviceIdentifiers* identifiers = nullptr;
  UserDefaults* defaults = nullptr;
  Ini* ini = nullptr;
  std::function<std::unique_ptr<talibobjc_LoginItem>()> make_login_item;
  std::function<void()> show_status_item;
  std::function<std::unique_ptr<UrlLoader>(std::string* error)> make_loader;
  /// Opens a web page.
  std::function<void(const QString& address)> open_url;
  /// Where the trace goes.
  std::string trace_path;
  bool console = true;
};

class SoftTokenOSXAppDelegate : public QObject,
                                private EnrolViews,
                                private Ui::TokenView,
                                private Ui::ManagementView,
                                private Ui::AddView,
                                private Ui::ManualView,
                                private Ui::ResponseView,
                                private Ui::HelpView,
                                private Ui::AuthenticationView,
                                private Ui::QuestionsView,
                                private Ui::AddressView {
 public:
  explicit SoftTokenOSXAppDelegate(AppParts parts);
  ~SoftTokenOSXAppDelegate() override;

  // The shell.

  void applicationDidFinishLaunching();
  /// A click on the status item: opens the token view or closes what is open, a turn of the event
  /// loop later.
  void iconClicked();
  void menuOpen() {}
  void menuAdd() {}
  void menuExit();
  /// Chooses the way to add a token that the settings allow.
  void addclicked(SoftTokenWindow* fromWindow);
  void simpleMessageBox(const QString& text);
  void makeBackground(int height);

  // The panel.

  /// x < 0: at the default place. y grows upwards, the origin is the lower left corner.
  void openWindow(SoftTokenWindow* window, int x, int y, bool roll);
  void closeWindow(SoftTokenWindow* window, bool roll);
  void switchViewfrom(SoftTokenWindow* from, SoftTokenWindow* to);
  void refreshView(SoftTokenWindow* window);
  void cvtv();
  void closeclicked();
  void positionToolbarLeft(QWidget* button);
  void positionToolbarCentre(QWidget* button);
  void positionToolbarRight(QWidget* button);

  template <typename View>
  static void ClearViewArray(std::vector<View*>& array) {
    for (View* view : array) delete view;
    array.clear();
  }

  // The views, by prefix: token, management, add, manual, response, help.

  void tv_init();
  void tv_timer();
  void tv_update();
  void tv_paintWhatShows();
  void tv_copyclicked(const QAbstractButton* sender);
  void tv_editclicked();
  void tv_helpclicked();
  void tv_addclicked();

  void cv_init();
  void cv_trashclicked();
  void cv_homeclicked();
  void cv_addclicked();

  void av_init();
  void av_enrolclicked();
  void av_manualclicked();
  void av_cancelclicked();

  void mv_init();
  void mv_okclicked();
  void mv_cancelclicked();

  void rv_init();
  void rv_okclicked();

  void hv_init();
  void hv_gsclicked();
  void hv_manageclicked();
  void hv_aboutclicked();
  void hv_launchclicked();
  void hv_exitclicked();
  void hv_homeclicked();

  // The enrolment views.

  void eva_init();
  void eva_layout() override;
  void eva_submitclicked();
  void eva_cancelclicked();
  [[nodiscard]] int evgi_height();
  void evgi_init();
  void evgi_questionselected(const QComboBox* sender);
  void evgi_submitclicked();
  void evgi_cancelclicked();
  void evgu_init();
  void evgu_submitclicked();
  void evgu_cancelclicked();

  // What came from outside the panel.

  /// What another start of the program asks for (see start.h).
  void perform(const QString& request);

  /// Asks whether to store the token of an otpauth URL, and stores it; tells why not otherwise.
  void importLink(const QString& link);
  /// As above, from the QR code in a picture file.
  void importPicture(const QString& path);

  [[nodiscard]] bool isOpen() const { return bOpen; }
  [[nodiscard]] SoftTokenWindow* openPanel() const { return ow; }
  /// Makes the views ahead of the first click. Nothing happens when they are made.
  void loadInterface();

  /// The window of the view with this prefix ("tv", "cv", ...).
  [[nodiscard]] SoftTokenWindow* window(const std::string& prefix) const;

 private:
  // The shell's.
  void iconClicked2();
  void promptForLoginItem();
  void layOutSignIn();
  void connectControls();
  void setTexts();
  [[nodiscard]] QWidget* alertParent() const;

  // The panel's.
  SoftTokenWindow* makeWindow(int height, const std::function<void(QWidget*)>& fill);
  void readTokens();
  [[nodiscard]] int heightFor(const SoftTokenWindow* window);
  void initialise(const SoftTokenWindow* window);
  void positionToolbarCommon(QWidget* button, const Frame& frame);
  void releaseClosedPanel();
  void clearTokenRows();
  void clearManagementRows();
  bool keyPressed(const SoftTokenWindow* window, const QKeyEvent& event);
  /// Upwards is negative, in points.
  void scrollPanel(int movement);
  void bringIntoView(const QWidget* widget);
  void takeDropped(const QMimeData& content);
  void followLoginItems();

  // The enrolment's, as its flow sees them.
  void switchView(View from, View to) override;
  void goHome() override;
  void refreshAuthentication() override;
  bool showsAuthentication() override;
  void setAuthenticationMessage(const std::string& text) override;
  void whitenAuthenticationMessage() override;
  void enableAuthenticationSubmit(bool enabled) override;
  std::string input(Field field) override;
  void clear(Field field) override;
  GetInfoInput getInfoInput() override;
  void enableGetInfoSubmit(bool enabled) override;
  std::string addressInput() override;
  void setAddressMessage(const std::string& text) override;
  void simpleMessageBox(const std::string& text) override;
  void performOnMainThread(std::function<void()> work) override;
  [[nodiscard]] SoftTokenWindow* windowOf(View view) const;
  [[nodiscard]] QLineEdit* fieldOf(Field field) const;
  void connectEnrolment();
  void reportEnrolment();
  bool pinIsGood();
  void showEarlierAnswers(const TaEnrolClient& client);
  [[nodiscard]] std::array<QComboBox*, 3> questionMenus() const;
  [[nodiscard]] std::array<QLineEdit*, 3> answerFields() const;

  // The views'.
  void showTrouble();
  [[nodiscard]] int troubleHeight() const;
  void addTokenRow(int index);
  void cancelView();
  void acceptView();
  bool focusRow(int step);
  void offerToken(const std::string& url);
  bool mayAddTokens();
  void createTypedToken();
  std::string deleteTokens(const std::array<std::uint8_t, vane::max_tokens>& selected);
  std::string saveDescriptions();
  void showLoginItem();

  AppParts parts_;
  Ini& ini;
  vaneinterface gateway_;
  TokenStore store_;
  EnrolFlow flow_;
  // Where the interface file puts the sign-in rows; the modes move the passcode onto one of them.
  std::array<QRect, 3> sign_in_labels_;
  std::array<QRect, 3> sign_in_fields_;
  std::string eva_message_text_;  // the flow's; empty: the view says what to do
  std::unique_ptr<talibobjc_LoginItem> watched_login_item_;  // while the help view shows its state
  std::unique_ptr<QSocketNotifier> login_items_notifier_;

  vane::TokenArray TOKEN{};
  std::int32_t TOKENS = 0;
  std::string trouble_;  // why the tokens could not be read; empty: they could

  bool interface_loaded_ = false;
  std::vector<std::unique_ptr<SoftTokenWindow>> windows_;
  SoftTokenWindow* tv = nullptr;
  SoftTokenWindow* cv = nullptr;
  SoftTokenWindow* av = nullptr;
  SoftTokenWindow* mv = nullptr;
  SoftTokenWindow* rv = nullptr;
  SoftTokenWindow* hv = nullptr;
  SoftTokenWindow* eva = nullptr;
  SoftTokenWindow* evgi = nullptr;
  SoftTokenWindow* evgu = nullptr;

  SoftTokenWindow* ow = nullptr;
  bool bOpen = false;
  bool refreshing_ = false;
  QWidget* content = nullptr;
  CloseButton* close = nullptr;
  FlippedView* bg = nullptr;
  FlippedImageView* bg_logo = nullptr;
  TiledImageView* bg_tile_view = nullptr;
  FlippedImageView* bg_toolbar = nullptr;

  FlippedView* tvview = nullptr;
  Countdown* tvcountdown = nullptr;
  std::vector<FlippedImageView*> tvtoken;
  std::vector<TextLabel*> tvdesc;
  std::vector<TextLabel*> tvpasscode;
  std::vector<PanelButton*> tvcopy;
  std::unique_ptr<QTimer> timer;

  FlippedView* cvview = nullptr;
  std::vector<PanelField*> cvdesc;
  std::vector<PanelCheckbox*> cvdelete;

  friend class DelegateTest;
};

}  // namespace talvane
