#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QPointer>

#include "ui/desktop/pasteboard.h"

namespace talvane {

namespace {

// What this program put there last; gone once another program, or a field, has put something there.
QPointer<QMimeData>& ownSecret() {
  static QPointer<QMimeData> secret;
  return secret;
}

}  // namespace

void copySecret(const QString& text) {
  auto* content = new QMimeData;  // the clipboard takes it over
  content->setText(text);
  content->setData(QStringLiteral("x-kde-passwordManagerHint"), "secret");
  QGuiApplication::clipboard()->setMimeData(content, QClipboard::Clipboard);
  ownSecret() = content;
}

void clearSecret() {
  QClipboard* clipboard = QGuiApplication::clipboard();
  if (!ownSecret().isNull() && clipboard->mimeData() == ownSecret()) clipboard->clear();
}

}  // namespace talvane
