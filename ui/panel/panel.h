#pragma once

// The panel: one view at a time on a common background, under the menu bar. Main thread only.

#include <QInputMethodQueryEvent>
#include <QMimeData>
#include <QObject>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "config/ini.h"
#include "store/token_store.h"
#include "ui/desktop/item_place.h"
#include "ui/kit/alert.h"
#include "ui/kit/buttons.h"
#include "ui/kit/frame.h"
#include "ui/panel/panel_background.h"
#include "ui/panel/panel_geometry.h"
#include "ui/panel/shown_tokens.h"
#include "ui/panel/soft_token_window.h"
#include "ui/panel/view.h"
#include "ui/panel/wait_sign.h"
#include "ui/wait/wait.h"

namespace talvane {

class Panel : public QObject, private Wait::Host {
 public:
  /// Borrows both.
  Panel(const Ini& ini, TokenStore& store);
  ~Panel() override;

  /// Takes over the view, whose name must be unique.
  template <typename Added>
  Added& add(std::unique_ptr<Added> view) {
    Added& added = *view;
    take(std::move(view));
    return added;
  }
  /// `make` adds the views that few users ever open. It is called once, when `window` is first
  /// asked for a view that is not there: they take no memory before.
  void addLater(std::function<void()> make) { make_rest_ = std::move(make); }
  /// The window of the view with this name; null if there is none.
  [[nodiscard]] SoftTokenWindow* window(const char* name);

  [[nodiscard]] bool isOpen() const { return bOpen; }
  /// The open window; null if none is open.
  [[nodiscard]] SoftTokenWindow* openPanel() const { return ow; }
  /// For an alert about the open panel, if one is, or the program.
  [[nodiscard]] AlertSite alertSite() const;
  /// The form of the open view, from when it is filled until it has closed.
  [[nodiscard]] QWidget* form() const { return content; }
  [[nodiscard]] const ShownTokens& tokens() const { return tokens_; }
  [[nodiscard]] ShownTokens& tokens() { return tokens_; }
  /// The token in this slot was just added. It gets the keyboard when the token view opens next,
  /// unless the panel closes before.
  void setAdded(std::int32_t slot) { added_ = slot; }
  [[nodiscard]] std::optional<std::int32_t> takeAdded() { return std::exchange(added_, {}); }
  /// The last in the tab order. Exists once a view was added.
  [[nodiscard]] QWidget* closeButton() const { return close; }

  /// Where the next panel opens.
  void setItemPlace(const ItemPlace& item) { item_ = item; }
  /// Whether it is just rolling. Nothing opens, closes or changes it then.
  [[nodiscard]] bool isRolling() const { return rolling_; }

  /// Opens the window, unless the user leaves while the tokens are read; not while the program
  /// waits for something else. At the program's icon if x < 0. The origin is the lower left corner,
  /// on the main screen; y grows upwards. A window that belongs to no view is 500 high and stays
  /// empty.
  void openWindow(SoftTokenWindow* window, int x, int y, bool roll);
  /// Does nothing unless this window is open.
  void closeWindow(SoftTokenWindow* window, bool roll);
  /// Does nothing unless `from` is open.
  void switchViewfrom(SoftTokenWindow* from, SoftTokenWindow* to);
  /// Fills the open view again.
  void refreshView(SoftTokenWindow* window);
  /// Switches from the management view to the token view.
  void cvtv();
  void closeclicked();
  /// Before the open view is left otherwise than by its own controls. Returns false if it must
  /// stay.
  [[nodiscard]] bool mayLeave();
  void makeBackground(int height);
  /// Shows what the user types to find a token in the logo band, in place of the program's name; no
  /// text: the name again. Until the open view closes.
  void showInLogo(const QString& text);
  void positionToolbarLeft(QWidget* button);
  void positionToolbarCentre(QWidget* button);
  void positionToolbarRight(QWidget* button);
  /// Centre and right.
  void positionToolbarWide(QWidget* button);

  template <typename Widget>
  static void ClearViewArray(std::vector<Widget*>& array) {
    for (Widget* widget : array) delete widget;
    array.clear();
  }

  /// Called when the panel has opened, or closed.
  std::function<void(bool open)> turned;
  /// Called when something is dropped on the panel. The drag lasts until this returns.
  std::function<void(const QMimeData&)> dropped;

 private:
  void take(std::unique_ptr<View> view);
  [[nodiscard]] View* viewOf(const SoftTokenWindow* window) const;
  void positionToolbarCommon(QWidget* button, const Frame& frame);
  [[nodiscard]] PanelPlace placeFor(int height) const;
  void findIcon();
  void dress(SoftTokenWindow* window, int content_height);
  void undress(SoftTokenWindow* window);
  void rollOut(SoftTokenWindow* window);
  void rollIn(SoftTokenWindow* window);
  [[nodiscard]] const ScreenArea& mainScreen() const;
  void releaseLater();
  void releaseClosedPanel();
  bool keyPressed(const SoftTokenWindow* window, const QKeyEvent& event);
  /// Goes to the next empty field; without one, presses the view's affirmative button.
  void accept(const View& view);
  /// In points; positive shows what is below.
  void scroll(int movement);
  bool page(View& view, int pages);
  bool focusEnd(View& view, int direction);
  void bringIntoView(const QWidget* widget);
  void scrollTo(const QWidget& widget);
  bool readTokens();
  /// False: the panel stays open.
  bool closedByUser(bool roll_up);
  bool eventFilter(QObject* watched, QEvent* event) override;
  void answerInputMethod(const View& view, const QWidget& focus,
                         QInputMethodQueryEvent& query) const;
  void waitBegins() override;
  void waitEnds() override;
  [[nodiscard]] bool isWayOut(const QWidget* widget) const override;
  void escape() override;
  void closeAtOnce() override { closeclicked(); }

  const Ini& ini_;
  ShownTokens tokens_;
  std::vector<std::unique_ptr<View>> views_;
  std::function<void()> make_rest_;
  SoftTokenWindow* ow = nullptr;
  bool bOpen = false;
  bool refreshing_ = false;
  bool rolling_ = false;
  bool switching_ = false;
  bool quits_ = false;
  ItemPlace item_;
  std::vector<ScreenArea> screens_;  // when the panel opened
  std::optional<Anchor> anchor_;
  PanelPlace place_;
  std::vector<QWidget*> toolbar_buttons_;
  QWidget* content = nullptr;  // the open window's own
  CloseButton* close = nullptr;
  PanelBackground* bg = nullptr;
  std::optional<std::int32_t> added_;
  bool reading_ = false;
  bool waits_ = false;
  View* waiting_view_ = nullptr;  // that was told of it
  std::unique_ptr<WaitSign> sign_;
};

}  // namespace talvane
