#pragma once

#include <QAbstractButton>
#include <QPointer>
#include <QPushButton>
#include <QString>

#include <cstdint>

namespace talvane {

/// A push button. Return and Enter press it too; the arrow keys are left to the panel.
class KeyedButton : public QAbstractButton {
 public:
  explicit KeyedButton(QWidget* parent = nullptr);
  /// Whether the space bar presses it, as it does at first.
  void setPressedBySpace(bool pressed) { pressed_by_space_ = pressed; }

 protected:
  void keyPressEvent(QKeyEvent* event) override;
  bool event(QEvent* event) override;

 private:
  bool pressed_by_space_ = true;
};

/// A push button in one of the panel's styles, which depends on its background.
class PanelButton : public KeyedButton {
 public:
  enum class Dress : std::uint8_t { toolbar, tile, light /* on a row */ };
  explicit PanelButton(QWidget* parent = nullptr);
  void setDress(Dress dress);

 protected:
  void paintEvent(QPaintEvent* event) override;
  bool event(QEvent* event) override;
  /// Without drawing it smaller.
  [[nodiscard]] bool hasRoomFor(const QString& text) const;

 private:
  Dress dress_ = Dress::toolbar;
};

/// A push button in an alert, in the style of those on the tile.
class AlertButton : public QPushButton {
 public:
  explicit AlertButton(const QString& text);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

/// The small round button that closes the panel.
class CloseButton : public KeyedButton {
 public:
  explicit CloseButton(QWidget* parent = nullptr);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;

 private:
  class Ring;
  QPointer<QWidget> ring_;
};

}  // namespace talvane
