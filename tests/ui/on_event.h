#pragma once

#include <QEvent>
#include <QObject>
#include <functional>
#include <utility>

namespace talvane::test {

/// Tells of every event of one type that an object gets, while this lives.
class OnEvent : public QObject {
 public:
  OnEvent(QObject& watched, QEvent::Type type, std::function<void(QEvent&)> told)
      : type_(type), told_(std::move(told)) {
    watched.installEventFilter(this);
  }

 private:
  bool eventFilter(QObject* /*watched*/, QEvent* event) override {
    if (event->type() == type_) told_(*event);
    return false;
  }

  QEvent::Type type_;
  std::function<void(QEvent&)> told_;
};

}  // namespace talvane::test
