#pragma once

// The shell: start, the status item, alerts, the way to add a token, and input from outside the
// panel. It owns the rest. Main thread only.

#include <QMimeData>
#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "config/ini.h"
#include "enrol/enrol_flow.h"
#include "enrol/workers.h"
#include "platform/device_identifiers.h"
#include "platform/keychain_service.h"
#include "platform/login_item.h"
#include "platform/qr_image.h"
#include "platform/url_loading.h"
#include "platform/user_defaults.h"
#include "platform/vaneinterface.h"
#include "store/store_change.h"
#include "store/stored_tokens.h"
#include "store/token_store.h"
#include "ui/desktop/item_place.h"
#include "ui/desktop/shortcut_choice.h"
#include "ui/panel/panel.h"
#include "ui/panel/soft_token_window.h"
#include "ui/views/enrolment_views.h"
#include "ui/views/response_view.h"
#include "ui/views/shell.h"

namespace talvane {

/// The parts of the program. All of them outlive the delegate.
struct AppParts {
  KeychainService* keychain = nullptr;
  DeviceIdentifiers* identifiers = nullptr;
  UserDefaults* defaults = nullptr;
  Ini* ini = nullptr;
  /// The system's clock if empty.
  vaneinterface::Clock clock;
  std::function<std::unique_ptr<talibobjc_LoginItem>()> make_login_item;
  std::function<void()> show_status_item;
  /// Where the status item is; unknown if empty.
  std::function<ItemPlace()> item_place;
  /// Told when the panel has opened, or closed.
  std::function<void(bool open)> panel_turned;
  std::function<std::unique_ptr<UrlLoader>(std::string* error)> make_loader;
  /// Shows the user a line of text, beside whatever they do; nothing if empty.
  std::function<void(const QString& text)> notify;
  /// Opens a web page.
  std::function<void(const QString& address)> open_url;
  /// The trace file.
  std::string trace_path;
  bool console = true;
  /// Performs what may block; empty: as it is.
  Blocking blocking;
  /// Null: the user cannot choose one.
  ShortcutChoice* shortcut = nullptr;
  /// Reads the stored tokens without making the program wait; then calls `work` from the event
  /// loop, within which the keychain answers at once unless it is not `readable`. Empty: it always
  /// answers at once.
  std::function<void(QObject* context, std::function<void(bool readable)> work)> read_ahead;
  /// Whether the program was started for the desktop's search. Until another start, nothing shows.
  bool in_background = false;
  /// Called when that other start has come.
  std::function<void()> came_forward;
  /// How long to wait for other programs that change the tokens.
  std::chrono::milliseconds patience = std::chrono::seconds(2);
};

class SoftTokenOSXAppDelegate : public QObject, public Shell {
 public:
  explicit SoftTokenOSXAppDelegate(AppParts parts);
  ~SoftTokenOSXAppDelegate() override;

  void applicationDidFinishLaunching();
  /// Creates the views before the first click. Does nothing if they exist.
  void loadInterface();
  /// A click on the status item. In the next turn of the event loop, opens the token view or closes
  /// the open view.
  void iconClicked();
  /// The second click of a double click: the panel stays open, or opens.
  void iconDoubleClicked();
  // The status item's menu.
  /// Opens the token view or closes the open view.
  void menuOpen();
  void menuAdd();
  void menuHelp();
  void menuExit() override;
  void addclicked(SoftTokenWindow* fromWindow) override;
  void simpleMessageBox(const QString& text) override;
  void copyPasscode(const PasscodeToCopy& passcode) override;

  // The desktop's search.
  /// Calls `found` with the names that match the query, the best first; with none while the tokens
  /// cannot be read. It never waits, and the log says nothing of it.
  void findNames(const std::string& query,
                 std::function<void(const std::vector<std::string>& names)> found);
  /// Copies the passcode of the token with this name; opens the panel if that is not possible.
  void copyByName(const std::string& name);
  /// Opens the panel, if none is open.
  void showPanel();

  /// Performs the request of another start of the program (see start.h).
  void perform(const QString& request);
  /// Asks whether to store the token of an otpauth URL, and stores it. Tells the user if that
  /// fails.
  void importLink(const QString& link);
  /// The same for the QR code in an image file, which a worker reads. One at a time: a path that
  /// comes meanwhile is passed over.
  void importImage(const QString& path);
  [[nodiscard]] bool readsImage() const { return reads_image_; }

 private:
  void comeForward();
  /// Calls `work` with the stored tokens; with null if they cannot be read.
  void withTokens(std::function<void(const StoredTokens* tokens)> work);
  void promptForLoginItem();
  void setLoginItem(bool launch);
  void iconClicked2(const ItemPlace& item);
  void stayOpen(const ItemPlace& item);
  [[nodiscard]] ItemPlace itemPlace() const;
  /// Whether the panel may open or close now. `again` is called when its roll is over.
  bool isReady(std::function<void()> again);
  void panelTurned(bool open);
  void openPanel(const ItemPlace& item, const char* view);
  void showFromMenu(const ItemPlace& item, const char* view);
  [[nodiscard]] const char* addView() const;
  void takeDropped(const QMimeData& content);
  [[nodiscard]] bool mayAddTokens();
  void takeImage(const std::shared_ptr<const QrImage>& image);
  void offerToken(const std::string& url);
  void showAdded(const TokenStore::Added& added);
  void clearPasscode();

  AppParts parts_;
  Ini& ini;
  vaneinterface gateway_;
  TokenStore store_;
  Panel panel_;
  EnrolmentViews enrolment_views_;
  EnrolFlow flow_;
  ResponseView* response_ = nullptr;
  std::vector<std::function<void()>> after_roll_;
  bool reads_image_ = false;
  std::vector<std::function<void(const StoredTokens*)>> token_readers_;
  Workers image_readers_;
  QTimer passcode_goes_;  // from the pasteboard; runs while a passcode may be there
};

}  // namespace talvane
