#pragma once

// The small views that the panel is made of. Coordinates grow downwards from the upper left corner.

#include <QAbstractButton>
#include <QCheckBox>
#include <QColor>
#include <QLabel>
#include <QLineEdit>
#include <QPixmap>
#include <QString>
#include <QWidget>

#include "engine/vane.h"
#include "ui/panel_geometry.h"

namespace talvane {

QRect rectangle(const Frame& frame);
Frame frameOf(const QRect& rectangle);
QColor colour(const Colour& colour);

/// The picture of this name from the program's own, in the sharpness that the widget's screen
/// needs. One that is missing is empty.
QPixmap picture(const QString& name, const QWidget& shown_on);

/// The panel's colours.
namespace paint {
inline const QColor text{0xff, 0xff, 0xff};
inline const QColor quiet_text{0xc3, 0xcb, 0xd8};  // also of what cannot be pressed now
inline const QColor dark_text{0x16, 0x34, 0x5f};
inline const QColor error{0xff, 0x8a, 0x80};
inline const QColor tile{0x2b, 0x2e, 0x33};
inline const QColor focus{0x8f, 0xc0, 0xff};
inline const QColor focus_on_light{0x1f, 0x5f, 0xbf};
}  // namespace paint

/// A container of other views.
class FlippedView : public QWidget {
 public:
  explicit FlippedView(const Frame& frame, QWidget* parent = nullptr);
};

/// A picture at its natural size, with other views on it.
class FlippedImageView : public QWidget {
 public:
  FlippedImageView(const Frame& frame, QPixmap image, QWidget* parent);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QPixmap image_;
};

/// Repeats a picture from its origin, whatever part is redrawn.
class TiledImageView : public QWidget {
 public:
  TiledImageView(const Frame& frame, QWidget* parent);
  /// Keeps a reference of its own.
  void setImage(const QPixmap& image);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QPixmap _image;
};

/// One line or several of fixed text. What is too long for one line ends in "…" and is shown whole
/// in a tool tip.
class TextLabel : public QLabel {
 public:
  explicit TextLabel(QWidget* parent = nullptr);
  void setTextColour(const QColor& colour);
  [[nodiscard]] const QColor& textColour() const { return colour_; }
  /// In points of the panel, as all its lengths.
  void setFontSize(int size, bool bold = false);
  /// Shows the beginning of what is very long, and the whole as a tool tip where it has no room.
  void showText(const QString& whole);

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QColor colour_ = paint::text;
};

/// A push button. Return and Enter press it too; the arrow keys are left to the panel.
class KeyedButton : public QAbstractButton {
 public:
  explicit KeyedButton(QWidget* parent = nullptr);

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  bool event(QEvent* event) override;
};

/// A push button in one of the panel's dresses, by what it lies on.
class PanelButton : public KeyedButton {
 public:
  enum class Dress : std::uint8_t { toolbar, tile, light /* on a row */ };
  explicit PanelButton(QWidget* parent = nullptr);
  void setDress(Dress dress);

 protected:
  void paintEvent(QPaintEvent* event) override;
  bool event(QEvent* event) override;

 private:
  Dress dress_ = Dress::toolbar;
};

/// A line of text to type into.
class PanelField : public QLineEdit {
 public:
  explicit PanelField(QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

/// Empties a field, and leaves nothing that "Undo" could bring back.
void forget(QLineEdit& field);

/// A check box without a caption; the box is at its left end.
class PanelCheckbox : public QCheckBox {
 public:
  explicit PanelCheckbox(QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

/// The small round button that closes the panel.
class CloseButton : public KeyedButton {
 public:
  explicit CloseButton(QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

/// Gives the whole program its one look.
void applyLook();

/// Bold or plain font of the panel at this size in points.
QFont panelFont(int size, bool bold = false);

}  // namespace talvane
