#include "ui/kit/ui_text.h"

#include <QAbstractButton>
#include <QLabel>

#include "platform/translation.h"

namespace talvane {
namespace {

QString inUsersLanguage(const QString& english) {
  return QString::fromStdString(translated(english.toStdString()));
}

}  // namespace

QString uiText(const char* english) {
  return QString::fromStdString(translated(english));
}

void translateForm(QWidget& form) {
  if (userLanguage().empty()) return;
  for (QWidget* widget : form.findChildren<QWidget*>()) {
    if (auto* button = qobject_cast<QAbstractButton*>(widget)) {
      button->setText(inUsersLanguage(button->text()));
    } else if (auto* label = qobject_cast<QLabel*>(widget)) {
      label->setText(inUsersLanguage(label->text()));
    }
    if (const QString name = widget->accessibleName(); !name.isEmpty()) {
      widget->setAccessibleName(inUsersLanguage(name));
    }
  }
}

}  // namespace talvane
