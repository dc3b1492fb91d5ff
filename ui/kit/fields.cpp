#include "ui/kit/fields.h"

#include <QByteArray>
#include <QPainter>
#include <QStyle>
#include <QStyleOption>

#include <cstddef>
#include <string>
#include <string_view>

#include "engine/cleared.h"
#include "ui/kit/focus_ring.h"
#include "ui/kit/look.h"

namespace talvane {

PanelField::PanelField(QWidget* parent) : QLineEdit(parent) {
  setFont(panelFont(12));
}

void PanelField::paintEvent(QPaintEvent* event) {
  QLineEdit::paintEvent(event);
  if (!hasFocus()) return;
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  drawFocusRing(painter, rect(), 2);
}

namespace {

// Only if no one else uses its memory.
void clear(QString& text) {
  if (!text.isDetached()) return;
  clearMemory(text.data(), static_cast<std::size_t>(text.size()) * sizeof(QChar));
}

}  // namespace

Cleared<std::string> secretText(const QString& text) {
  QByteArray utf8 = text.toUtf8();
  const auto size = static_cast<std::size_t>(utf8.size());
  Cleared<std::string> secret;
  secret.append(std::string_view(utf8.constData(), size));
  if (size > 0) clearMemory(utf8.data(), size);
  return secret;
}

Cleared<std::string> secretIn(const QLineEdit& field) {
  return secretText(field.text());
}

void forget(QLineEdit& field) {
  QString typed = field.text();
  QString shown = field.displayText();
  // clear() counts as typing, which "Undo" reverses.
  field.setText(QString());
  // The field has dropped both, so nobody shares them any more.
  clear(typed);
  clear(shown);
}

PanelCheckbox::PanelCheckbox(QWidget* parent) : QCheckBox(parent) {}

void PanelCheckbox::paintEvent(QPaintEvent* event) {
  QCheckBox::paintEvent(event);
  if (!hasFocus()) return;
  QStyleOptionButton option;
  initStyleOption(&option);
  const QRect box = style()->subElementRect(QStyle::SE_CheckBoxIndicator, &option, this);
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  drawFocusRing(painter, box.adjusted(-3, -3, 3, 3).intersected(rect()), 3);
}

}  // namespace talvane
