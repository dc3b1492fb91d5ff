#include "ui/panel/scroll_room.h"

#include <QPoint>
#include <QScrollBar>

#include "ui/kit/ui_text.h"
#include "ui/panel/panel_geometry.h"

namespace talvane {
namespace {

constexpr int bar_width = 6;
constexpr int bar_margin = 2;
constexpr int points_a_step = 24;  // the wheel turns three

QScrollBar* makeBar(QWidget* parent) {
  auto* bar = new QScrollBar(Qt::Vertical, parent);
  bar->setObjectName(QStringLiteral("scrollbar"));
  bar->setAccessibleName(uiText("Scroll"));
  bar->setSingleStep(points_a_step);
  bar->setStyleSheet(QStringLiteral(
      "QScrollBar { background: transparent; width: 6px; margin: 0; }"
      "QScrollBar::handle { background: #9aa3b0; border-radius: 3px; min-height: 24px; }"
      "QScrollBar::handle:hover, QScrollBar::handle:pressed { background: #c3cbd8; }"
      "QScrollBar::add-line, QScrollBar::sub-line { height: 0; }"
      "QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }"));
  return bar;
}

}  // namespace

ScrollRoom::ScrollRoom(QWidget* parent) : QWidget(parent) {}

void ScrollRoom::hold(QWidget* content, int height) {
  content_ = content;
  scrolled_ = 0;
  content->setParent(this);
  content->resize(width(), height);
  if (contentHeight() > this->height()) {
    bar_ = makeBar(this);
    bar_->setGeometry(width() - bar_width - bar_margin, bar_margin, bar_width,
                      this->height() - 2 * bar_margin);
    bar_->setRange(0, contentHeight() - this->height());
    bar_->setPageStep(this->height());
    connect(bar_, &QScrollBar::valueChanged, this, [this](int value) {
      scrolled_ = value;
      place();
    });
  }
  place();
  content->show();
  if (bar_ != nullptr) bar_->raise();
}

int ScrollRoom::contentHeight() const {
  return content_->height() - 2 * band_height;
}

void ScrollRoom::place() {
  content_->move(0, -band_height - scrolled_);
}

void ScrollRoom::scroll(int movement) {
  if (bar_ == nullptr) return;
  bar_->setValue(scrolledBy(scrolled_, movement, contentHeight(), height()));
}

void ScrollRoom::scrollToShow(const QWidget& part) {
  if (bar_ == nullptr || !content_->isAncestorOf(&part)) return;
  const int first = part.mapTo(content_, QPoint(0, 0)).y() - band_height;
  scroll(movementToShow(first, first + part.height(), scrolled_, height()));
}

}  // namespace talvane
