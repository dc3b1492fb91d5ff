#include "ui/kit/hover_text.h"

#include <QHelpEvent>
#include <QTextDocument>
#include <QToolTip>
#include <QVariant>

namespace talvane {
namespace {

constexpr const char* property = "hoverText";

// Shared by all widgets that have a text.
class HoverTexts final : public QObject {
 public:
  bool eventFilter(QObject* watched, QEvent* event) override {
    if (event->type() != QEvent::ToolTip) return false;
    auto& widget = static_cast<QWidget&>(*watched);
    showHoverText(widget, *event, hoverText(widget));
    return true;
  }
};

HoverTexts& hoverTexts() {
  static HoverTexts all;
  return all;
}

}  // namespace

void setHoverText(QWidget& widget, const QString& text) {
  if (text == hoverText(widget)) return;
  widget.setProperty(property, text.isEmpty() ? QVariant() : QVariant(text));
  widget.removeEventFilter(&hoverTexts());
  if (!text.isEmpty()) widget.installEventFilter(&hoverTexts());
}

QString hoverText(const QWidget& widget) {
  return widget.property(property).toString();
}

void showHoverText(QWidget& widget, const QEvent& event, const QString& text) {
  const QString shown = Qt::mightBeRichText(text)
                            ? QStringLiteral("<span style=\"white-space: pre-wrap\">") +
                                  text.toHtmlEscaped() + QStringLiteral("</span>")
                            : text;
  QToolTip::showText(static_cast<const QHelpEvent&>(event).globalPos(), shown, &widget);
}

}  // namespace talvane
