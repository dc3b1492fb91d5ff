#pragma once

#include <QIcon>
#include <QString>
#include <QWidget>

#include <chrono>
#include <cstdint>

#include "ui/kit/frame.h"

namespace talvane {

/// Where an alert belongs.
struct AlertSite {
  QWidget* panel = nullptr;  // that it is about; null: none is open
  Frame area;                // of the screen, without its bars, in points
};

/// The program's modal alerts. They share a title and an icon, stand beside the panel and above all
/// other windows, and block until answered. Their texts are shown as plain text, with hidden
/// characters other than line feeds replaced.
class Alert {
 public:
  /// The pressed button: the default one, the alternate one, or none of them.
  enum class Result : std::uint8_t { alternate_return = 0, default_return = 1, other = 2 };

  static constexpr const char* title = "Talvane Soft Token";
  inline static std::chrono::milliseconds yes_delay{700};

  /// Default button "NO", also for Return and Escape; alternate button "YES". It stays disabled for
  /// `yes_delay`, so that a click or key meant for something else cannot answer.
  static Result ask(const AlertSite& site, const QString& text);
  /// One button, "OK".
  static void tell(const AlertSite& site, const QString& text);

  /// Whether an alert is waiting for an answer; if so, brings it to the front.
  static bool isOpen();
};

}  // namespace talvane
