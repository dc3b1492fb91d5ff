#pragma once

#include <QIcon>
#include <QString>
#include <QWidget>

#include <cstdint>

namespace talvane {

/// The program's modal alerts. They share a title and an icon, and block until answered.
class Alert {
 public:
  /// The pressed button: the default one, the alternate one, or none of them.
  enum class Result : std::uint8_t { alternate_return = 0, default_return = 1, other = 2 };

  static constexpr const char* title = "Talvane Soft Token";

  /// Default button "NO", also for Return and Escape; alternate button "YES".
  static Result ask(QWidget* above, const QString& text);
  /// One button, "OK".
  static void tell(QWidget* above, const QString& text);

  /// Whether an alert is waiting for an answer; if so, brings it to the front.
  static bool isOpen();
};

}  // namespace talvane
