#pragma once

#include <QObject>

#include <functional>
#include <utility>

namespace talvane {

/// Receives a D-Bus signal.
class BusSignal : public QObject {
  Q_OBJECT

 public:
  explicit BusSignal(std::function<void()> arrived) : arrived_(std::move(arrived)) {}
  Q_SLOT void arrive() { arrived_(); }

 private:
  std::function<void()> arrived_;
};

}  // namespace talvane
