#include "ui/kit/fields.h"

#include <QPainter>
#include <QStyle>
#include <QStyleOption>

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

void forget(QLineEdit& field) {
  // clear() counts as typing, which "Undo" reverses.
  field.setText(QString());
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
