#include "ui/kit/fields.h"

#include <QByteArray>
#include <QKeyEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOption>
#include <QTimer>
#include <QValidator>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

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

// What people put between groups of characters.
bool isFiller(QChar character) {
  return character.isSpace() || character.category() == QChar::Punctuation_Dash ||
         character == QChar::SoftHyphen || character == QChar(0x2212);  // minus sign
}

class WithoutFillers final : public QValidator {
 public:
  using QValidator::QValidator;

  State validate(QString& input, int& position) const override {
    if (std::none_of(input.cbegin(), input.cend(), isFiller)) return Acceptable;
    forgetOld();
    old_ = input;
    QString kept;
    kept.reserve(input.size());
    const auto before = input.cbegin() + std::min<qsizetype>(position, input.size());
    position = static_cast<int>(std::count_if(input.cbegin(), before, std::not_fn(isFiller)));
    std::copy_if(old_.cbegin(), old_.cend(), std::back_inserter(kept), std::not_fn(isFiller));
    input = std::move(kept);
    // Once the field has dropped it too.
    QTimer::singleShot(0, this, [this] { forgetOld(); });
    return Acceptable;
  }

 private:
  void forgetOld() const {
    clear(old_);
    old_ = QString();
  }

  mutable QString old_;  // the seed with what was between its characters
};

}  // namespace

SeedField::SeedField(QWidget* parent) : PanelField(parent) {
  setValidator(new WithoutFillers(this));
}

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

void PanelCheckbox::keyPressEvent(QKeyEvent* event) {
  const bool is_arrow = event->key() == Qt::Key_Up || event->key() == Qt::Key_Down;
  if (is_arrow && event->modifiers().testFlag(Qt::AltModifier)) {
    event->ignore();
  } else {
    QCheckBox::keyPressEvent(event);
  }
}

void PanelCheckbox::paintEvent(QPaintEvent* /*event*/) {
  constexpr int ring = 3;
  QStyleOptionButton option;
  initStyleOption(&option);
  option.state &= ~QStyle::State_HasFocus;
  const QRect box = style()->subElementRect(QStyle::SE_CheckBoxIndicator, &option, this);
  // With room for the ring at its left.
  option.rect.translate(ring, 0);
  QPainter painter(this);
  style()->drawControl(QStyle::CE_CheckBox, &option, &painter, this);
  if (!hasFocus()) return;
  painter.setRenderHint(QPainter::Antialiasing);
  drawFocusRing(painter, box.adjusted(0, -ring, 2 * ring, ring), 3);
}

}  // namespace talvane
