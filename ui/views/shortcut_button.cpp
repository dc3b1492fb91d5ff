#include "ui/views/shortcut_button.h"

#include <QKeyEvent>

#include <optional>
#include <utility>

#include "platform/shortcut.h"
#include "ui/desktop/shortcut_keys.h"
#include "ui/kit/buttons.h"
#include "ui/kit/hover_text.h"
#include "ui/kit/ui_text.h"
#include "ui/panel/soft_token_window.h"

namespace talvane {

ShortcutButton::ShortcutButton(QWidget* parent) : PanelButton(parent) {
  connect(this, &QAbstractButton::clicked, this, [this] {
    if (recording_) {
      stop();
    } else {
      record();
    }
  });
}

void ShortcutButton::showText(const QString& text, const QString& brief) {
  text_ = text;
  brief_ = brief.isEmpty() || hasRoomFor(text) ? text : brief;
  if (!recording_) showTexts();
}

void ShortcutButton::showTexts() {
  setText(brief_);
  setAccessibleName(brief_ == text_ ? QString() : text_);
}

// With the keyboard grabbed, the desktop's own shortcuts do nothing meanwhile.
void ShortcutButton::record() {
  recording_ = true;
  setText(uiText("Press a key combination"));
  setAccessibleName(QString());
  if (turned) turned(true);
  setFocus();
  grabKeyboard();
}

void ShortcutButton::stop() {
  if (!std::exchange(recording_, false)) return;
  pressed_.reset();
  releaseKeyboard();
  // A panel that bypasses the window manager had grabbed it too.
  if (auto* panel = dynamic_cast<SoftTokenWindow*>(window())) panel->takeKeys();
  showTexts();
  if (turned) turned(false);
}

// Before the toolkit takes the Tab key for itself.
bool ShortcutButton::event(QEvent* event) {
  if (event->type() == QEvent::ToolTip && text() == brief_ && brief_ != text_) {
    showHoverText(*this, *event, text_);
    return true;
  }
  if (recording_ && event->type() == QEvent::ShortcutOverride) {
    event->accept();
    return true;
  }
  if (recording_ && event->type() == QEvent::KeyPress) {
    pressed(static_cast<QKeyEvent&>(*event));
    event->accept();
    return true;
  }
  if (recording_ && event->type() == QEvent::KeyRelease) {
    released(static_cast<QKeyEvent&>(*event));
    event->accept();
    return true;
  }
  return PanelButton::event(event);
}

void ShortcutButton::pressed(const QKeyEvent& event) {
  if (event.isAutoRepeat()) return;
  const bool is_plain = (event.modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
  if (is_plain && (event.key() == Qt::Key_Escape || event.key() == Qt::Key_Tab)) {
    stop();
    return;
  }
  const bool erases = event.key() == Qt::Key_Backspace || event.key() == Qt::Key_Delete;
  const Shortcut shortcut = shortcutOf(event);
  if (is_plain && erases) {
    stop();
    if (chosen) chosen(std::nullopt);
  } else if (isUsable(shortcut)) {
    pressed_ = shortcut;
    setText(QString::fromStdString(textOf(shortcut)));
  } else if (!shortcut.key.empty()) {
    setText(uiText("Add Ctrl, Alt or Super"));
  }
}

void ShortcutButton::released(const QKeyEvent& event) {
  if (event.isAutoRepeat() || !pressed_) return;
  const std::optional<Shortcut> shortcut = pressed_;
  stop();
  if (chosen) chosen(shortcut);
}

void ShortcutButton::focusOutEvent(QFocusEvent* event) {
  stop();
  PanelButton::focusOutEvent(event);
}

void ShortcutButton::hideEvent(QHideEvent* event) {
  stop();
  PanelButton::hideEvent(event);
}

}  // namespace talvane
