#pragma once

#include <QIcon>
#include <QString>
#include <QWidget>
#include <cstdint>

namespace talvane {

/// The modal alerts of the program. They have one title and one icon, and block until answered.
class Alert {
 public:
  /// As the buttons count: the default one, the alternate one, and anything else.
  enum class Result : std::uint8_t { alternate_return = 0, default_return = 1, other = 2 };

  static constexpr const char* title = "Talvane Soft Token";

  /// "NO" by default, also for Return and Escape, and "YES" as the alternate.
  static Result ask(QWidget* above, const QString& text);
  /// One button, "OK".
  static void tell(QWidget* above, const QString& text);

  /// Whether one is waiting to be answered; brings it to the front if so.
  static bool isOpen();
};

}  // namespace talvane
