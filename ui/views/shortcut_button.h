#pragma once

#include <QString>

#include <functional>
#include <optional>

#include "platform/shortcut.h"
#include "ui/kit/buttons.h"

namespace talvane {

/// Shows a key combination. Pressed, it takes the next combination that the user types; Escape
/// leaves the old one, and Delete or Backspace stands for none.
class ShortcutButton final : public PanelButton {
 public:
  explicit ShortcutButton(QWidget* parent = nullptr);

  /// What it shows while it does not record; `brief` where there is no room for `text`, which is
  /// its tool tip then.
  void showText(const QString& text, const QString& brief = {});
  [[nodiscard]] bool isRecording() const { return recording_; }
  /// Ends a recording without a result.
  void stop();

  /// Called when a recording begins and when it has ended, before its result.
  std::function<void(bool recording)> turned;
  /// Called with the result of a recording; nullopt: none is wanted.
  std::function<void(const std::optional<Shortcut>& shortcut)> chosen;

 protected:
  bool event(QEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;
  void hideEvent(QHideEvent* event) override;

 private:
  void record();
  void showTexts();
  void pressed(const QKeyEvent& event);
  void released(const QKeyEvent& event);

  QString text_;
  QString brief_;
  bool recording_ = false;
  std::optional<Shortcut> pressed_;  // counts when it is released: it may be taken at once
};

}  // namespace talvane
