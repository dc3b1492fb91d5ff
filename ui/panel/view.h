#pragma once

// The panel's interface to its views. Main thread only.

#include <QAbstractButton>
#include <QString>

#include <memory>
#include <vector>

#include "ui/kit/frame.h"
#include "ui/kit/ui_text.h"
#include "ui/panel/panel_geometry.h"
#include "ui/panel/soft_token_window.h"
#include "ui/wait/wait.h"

class QInputMethodEvent;
class QKeyEvent;

namespace talvane {

/// One view of the panel: a form in its own window. While the view is open, the panel moves the
/// form onto its background. A new view is a subclass, and one line that adds it to the panel.
class View {
 public:
  virtual ~View() = default;
  View(const View&) = delete;
  View& operator=(const View&) = delete;

  /// Its name is the view's ("tv").
  [[nodiscard]] SoftTokenWindow* window() const { return window_.get(); }

  // Called in this order.

  /// Whether the panel has to read the stored tokens before it opens.
  [[nodiscard]] virtual bool showsTokens() const { return false; }
  /// The view to open instead; null for this one.
  virtual View* standIn() { return nullptr; }
  /// The height of the panel, in points; what does not fit on the screen scrolls.
  [[nodiscard]] virtual int height() { return height_; }
  /// Fills it. The panel has its size and its background.
  virtual void init() = 0;
  /// Its window is hidden. The click that led here may still be running: keep the clicked widget.
  virtual void closed() {}
  /// The panel is closed and no click is running. Free what a closed panel does not need.
  virtual void released() {}

  /// The user closes the panel, or something else opens in it. Returns false if the view stays
  /// open, and has said why.
  virtual bool mayLeave() { return true; }

  /// While it is open: the program waits for an answer, or no longer does (see Wait).
  virtual void waits(bool /*waiting*/) {}

  // Keys.

  /// The button that Return presses, also from a field; null for none.
  [[nodiscard]] virtual QAbstractButton* accepting() const { return nullptr; }
  /// The button that Escape presses; null if Escape closes the panel.
  [[nodiscard]] virtual QAbstractButton* cancelling() const { return nullptr; }
  /// Escape, before it cancels or closes. Returns true if it was for the view.
  virtual bool takesEscape() { return false; }
  /// The widgets that the arrow keys step through, from the top.
  [[nodiscard]] virtual std::vector<QWidget*> rows() const { return {}; }
  /// A key that the panel does not handle. Returns true if the view handles it.
  virtual bool keyPressed(const QKeyEvent& /*event*/) { return false; }

  // Text from an input method, when the keyboard is in no field.

  /// Whether the view takes any.
  [[nodiscard]] virtual bool takesText() const { return false; }
  /// What the view has taken so far.
  [[nodiscard]] virtual QString takenText() const { return {}; }
  virtual void takeText(const QInputMethodEvent& /*event*/) {}

 protected:
  View(const char* name, int height)
      : height_(height),
        window_(std::make_unique<SoftTokenWindow>(Frame{0, 0, panel_width, height})) {
    window_->setObjectName(QLatin1String(name));
  }

  /// Fills the window with a form from the interface compiler.
  template <typename Form>
  void load(Form& form) {
    form.setupUi(window_->contentView());
    translateForm(*window_->contentView());
    window_->setContentView(window_->contentView());  // in the window's size, not the form's
  }

  /// For `closed`: takes what `init` has added off the panel, but keeps it.
  void takeOff(QWidget* part) {
    part->hide();
    part->setParent(window());
  }

  /// What screen readers call the view when it opens.
  void setTitle(const QString& title) { window_->setAccessibleName(title); }

  /// Calls `action` on a click, unless the view has closed meanwhile: a click may wait while the
  /// program works. While it waits for an answer, only the cancelling button works.
  template <typename Action>
  void onClick(QAbstractButton* button, Action action) {
    QObject::connect(button, &QAbstractButton::clicked, window(), [this, button, action] {
      if (!window_->isVisible()) return;
      if (!Wait::isOn()) {
        action();
      } else if (button == cancelling()) {
        Wait::leave([button] { button->click(); });
      }
    });
  }

 private:
  int height_;
  std::unique_ptr<SoftTokenWindow> window_;
};

}  // namespace talvane
