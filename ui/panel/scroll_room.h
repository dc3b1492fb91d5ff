#pragma once

#include <QWidget>

class QScrollBar;

namespace talvane {

/// The room between the panel's bands. It shows a part of content that may be higher, and a thin
/// scroll bar then.
class ScrollRoom : public QWidget {
 public:
  explicit ScrollRoom(QWidget* parent);

  /// Shows the content, whose bands lie outside the room, from its beginning. Borrows it: it must
  /// be taken out before the room goes.
  void hold(QWidget* content, int height);

  /// In points; positive shows what is below.
  void scroll(int movement);
  void scrollToShow(const QWidget& part);

 private:
  [[nodiscard]] int contentHeight() const;
  void place();

  QWidget* content_ = nullptr;
  int scrolled_ = 0;
  QScrollBar* bar_ = nullptr;
};

}  // namespace talvane
