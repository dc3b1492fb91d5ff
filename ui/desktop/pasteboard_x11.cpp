#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>

#include "ui/desktop/pasteboard.h"

namespace talvane {

void copySecret(const QString& text) {
  auto* content = new QMimeData;  // the clipboard takes it over
  content->setText(text);
  content->setData(QStringLiteral("x-kde-passwordManagerHint"), "secret");
  QGuiApplication::clipboard()->setMimeData(content, QClipboard::Clipboard);
}

}  // namespace talvane
