#pragma once

// The program's waits for requests, keychains and locks. The work goes on in another thread; the
// main thread runs an event loop until it is done. Meanwhile the panel paints, but takes no input
// other than the ways out of it: Cancel, Escape, the close button, the status item and Exit.
//
// There is one wait at a time, and none begins within another: what runs in the event loop must
// not need anything that waits. `later` puts such work off. Main thread only, unless said
// otherwise.

#include <QObject>
#include <QWidget>
#include <cstdint>
#include <functional>

#include "ui/wait/background_thread.h"

namespace talvane {

class Wait {
 public:
  /// What a wait needs of the panel.
  class Host {
   public:
    virtual ~Host() = default;
    /// A wait can be seen from now on. Called again for each wait until `waitEnds`.
    virtual void waitBegins() = 0;
    /// From the event loop, after the last wait of an operation.
    virtual void waitEnds() = 0;
    /// Whether the widget leads out of the panel.
    [[nodiscard]] virtual bool isWayOut(const QWidget* widget) const = 0;
    /// The user has pressed Escape.
    virtual void escape() = 0;
    /// Closes the panel. The operation that waits still runs.
    virtual void closeAtOnce() = 0;
  };
  /// The only one; it must outlive every wait.
  static void setHost(Host* host);
  /// A step that has not been taken is dropped.
  static void removeHost(const Host* host);

  enum class For : std::uint8_t {
    answer,  // a request, or reading: given up as soon as the user leaves
    change   // of the store: waited for, with the panel closed, when the user leaves
  };
  /// Does the work on the thread and waits. Returns false, at once, if the work is not done: the
  /// user has left, the program quits, or another wait is on. The work may still be done later, and
  /// must own what it uses.
  static bool run(BackgroundThread& thread, std::function<void()> work, For what);

  /// Whether the main thread waits.
  [[nodiscard]] static bool isOn();
  /// Whether the user has left during this operation, which ends without success and says nothing.
  [[nodiscard]] static bool isLeaving();
  /// The user leaves. Ends the wait, and takes the step when the operation has ended; during a
  /// change of the store it only closes the panel.
  static void leave(std::function<void()> step);

  /// Does the work from the event loop, when nothing waits; drops it once `context` is gone. Any
  /// thread.
  static void later(QObject* context, std::function<void()> work);
};

}  // namespace talvane
