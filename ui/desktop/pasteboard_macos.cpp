#include <QClipboard>
#include <QGuiApplication>

#include <utility>

#include "platform/macos/pasteboard_macos.h"
#include "ui/desktop/pasteboard.h"

namespace talvane {

namespace {

QString& ownSecret() {
  static QString secret;
  return secret;
}

}  // namespace

void copySecret(const QString& text) {
  ownSecret() = text;
  // Better without the mark than not at all.
  if (!macos::copyConcealedText(text.toStdString())) QGuiApplication::clipboard()->setText(text);
}

void clearSecret() {
  const QString secret = std::exchange(ownSecret(), QString());
  QClipboard* clipboard = QGuiApplication::clipboard();
  if (!secret.isEmpty() && clipboard->text() == secret) clipboard->clear();
}

}  // namespace talvane
