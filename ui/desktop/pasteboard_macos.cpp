#include <QClipboard>
#include <QGuiApplication>

#include "platform/macos/pasteboard_macos.h"
#include "ui/desktop/pasteboard.h"

namespace talvane {

void copySecret(const QString& text) {
  // Better without the mark than not at all.
  if (!macos::copyConcealedText(text.toStdString())) QGuiApplication::clipboard()->setText(text);
}

}  // namespace talvane
