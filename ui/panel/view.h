#pragma once

// What the panel needs of a view. Main thread only.

#include <QAbstractButton>
#include <QString>
#include <memory>
#include <utility>
#include <vector>

#include "ui/panel/soft_token_window.h"

class QKeyEvent;

namespace talvane {

/// One of the things that the panel shows: a form in a window of its own, whose content the panel
/// moves onto its background while the view is open. A new view is a class of this kind and the
/// line that adds it to the panel.
class View {
 public:
  virtual ~View() = default;
  View(const View&) = delete;
  View& operator=(const View&) = delete;

  /// Its name is the view's ("tv").
  [[nodiscard]] SoftTokenWindow* window() const { return window_.get(); }

  // What happens to it, in this order.

  /// Whether the panel has to read the stored tokens before it opens.
  [[nodiscard]] virtual bool showsTokens() const { return false; }
  /// The view to open in its place; null: itself.
  virtual View* standIn() { return nullptr; }
  /// How high the panel is to be, in points.
  [[nodiscard]] virtual int height() { return height_; }
  /// Fills it. The panel has its size and its background.
  virtual void init() = 0;
  /// Another part of the panel is on the screen.
  virtual void scrolled() {}
  /// Its window is hidden. The click that led here may still be at work: what was clicked has to
  /// stay.
  virtual void closed() {}
  /// The panel is closed, and nothing is at work: a closed panel should cost nothing.
  virtual void released() {}

  // Keys.

  /// The button that Return presses, also from a field; null: none.
  [[nodiscard]] virtual QAbstractButton* accepting() const { return nullptr; }
  /// The button that Escape presses; null: Escape closes the panel.
  [[nodiscard]] virtual QAbstractButton* cancelling() const { return nullptr; }
  /// What the arrow keys go through, from the top.
  [[nodiscard]] virtual std::vector<QWidget*> rows() const { return {}; }
  /// A key that the panel has no use for; true: done with.
  virtual bool keyPressed(const QKeyEvent& /*event*/) { return false; }

 protected:
  View(const char* name, int height)
      : height_(height),
        window_(std::make_unique<SoftTokenWindow>(Frame{0, 0, panel_width, height})) {
    window_->setObjectName(QLatin1String(name));
  }

  /// Fills the window with a form made by the interface compiler.
  template <typename Form>
  void load(Form& form) {
    form.setupUi(window_->contentView());
    window_->setContentView(window_->contentView());  // in the window's size, not the form's
  }

  /// For `closed`: takes what `init` has put onto the panel off it, and keeps it.
  void takeOff(QWidget* part) {
    part->hide();
    part->setParent(window());
  }

  /// Calls `action` on a click, unless the view has closed by then: a click may have waited while
  /// the program worked.
  template <typename Action>
  void onClick(const QAbstractButton* button, Action action) {
    QObject::connect(button, &QAbstractButton::clicked, window(), [this, action] {
      if (window_->isVisible()) action();
    });
  }

 private:
  int height_;
  std::unique_ptr<SoftTokenWindow> window_;
};

}  // namespace talvane
