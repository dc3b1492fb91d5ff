#include "ui/wait/wait.h"

#include <QCoreApplication>
#include <QEvent>
#include <QEventLoop>
#include <QKeyEvent>
#include <QMetaObject>
#include <QPointer>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "ui/wait/background_thread.h"

namespace talvane {
namespace {

using Clock = std::chrono::steady_clock;

// Work that is done sooner is not worth an event loop.
constexpr auto unnoticed = std::chrono::milliseconds(30);

struct PutOff {
  QPointer<QObject> context;
  std::function<void()> work;
};

// Of the main thread.
class Waiting final : public QObject {
 public:
  bool run(BackgroundThread& thread, std::function<void()> work, Wait::For what) {
    if (loop_ != nullptr || (leaving_ && what == Wait::For::answer)) return false;
    // What needs memory comes first: work that has begun must be waited for.
    const Clock::time_point end_of_patience = endOfPatience();
    QEventLoop loop;
    auto quit = std::make_unique<QEvent>(QEvent::Quit);
    std::function<void()> told = [&loop, &quit] {
      QCoreApplication::postEvent(&loop, quit.release());
    };
    auto end_of_operation = std::make_unique<QEvent>(QEvent::User);
    const auto errand = thread.start(std::move(work));
    if (errand->awaitUntil(end_of_patience)) {
      errand->rethrow();
      return true;
    }
    loop_ = &loop;
    what_ = what;
    errand->whenDone(std::move(told));
    QCoreApplication::instance()->installEventFilter(this);
    unlessMemoryIsShort([this] {
      if (host_ != nullptr) host_->waitBegins();
    });
    loop.exec();
    QCoreApplication::instance()->removeEventFilter(this);
    errand->whenDone({});
    loop_ = nullptr;
    busy_since_ = Clock::now();
    unlessMemoryIsShort([this] {
      for (PutOff& put_off : std::exchange(put_off_, {})) {
        Wait::later(put_off.context, std::move(put_off.work));
      }
    });
    const bool done = errand->isDone();
    // The program quits.
    if (!done) leaving_ = true;
    // Before the panel is painted again.
    if (!std::exchange(ends_, true)) {
      QCoreApplication::postEvent(this, end_of_operation.release(), Qt::HighEventPriority);
    }
    if (done) errand->rethrow();
    return done;
  }

  void leave(std::function<void()> step) {
    if (loop_ == nullptr) return;
    if (what_ == Wait::For::change) {
      if (host_ != nullptr) host_->closeAtOnce();
      return;
    }
    leaving_ = true;
    step_ = std::move(step);
    loop_->quit();
  }

  void perform(const QPointer<QObject>& context, std::function<void()> work) {
    if (context.isNull()) return;
    if (loop_ != nullptr) {
      put_off_.push_back({context, std::move(work)});
    } else {
      work();
    }
  }

  void setHost(Wait::Host* host) { host_ = host; }
  void removeHost(const Wait::Host* host) {
    if (host_ != host) return;
    host_ = nullptr;
    step_ = nullptr;
  }
  [[nodiscard]] bool isOn() const { return loop_ != nullptr; }
  [[nodiscard]] bool isLeaving() const { return leaving_; }

 private:
  // The sign of a wait and what was put off may be missing; the result of the work may not.
  template <typename Work>
  static void unlessMemoryIsShort(Work work) {
    try {
      work();
    } catch (const std::bad_alloc&) {
    }
  }

  // All the short waits since the last turn of the event loop share one patience.
  Clock::time_point endOfPatience() {
    if (!counts_) {
      QTimer::singleShot(0, this, [this] { counts_ = false; });
      counts_ = true;
      busy_since_ = Clock::now();
    }
    return busy_since_ + unnoticed;
  }

  // The operation has ended.
  bool event(QEvent* event) override {
    if (event->type() != QEvent::User) return QObject::event(event);
    ends_ = false;
    if (loop_ != nullptr) return true;
    leaving_ = false;
    if (host_ != nullptr) host_->waitEnds();
    if (const auto step = std::exchange(step_, nullptr)) step();
    return true;
  }

  bool eventFilter(QObject* watched, QEvent* event) override {
    if (!watched->isWidgetType()) return false;
    const auto* widget = static_cast<const QWidget*>(watched);
    switch (event->type()) {
      case QEvent::KeyPress: {
        const auto* key = static_cast<const QKeyEvent*>(event);
        if (key->key() == Qt::Key_Escape) {
          if (host_ != nullptr) host_->escape();
          return true;
        }
        return !isWayOut(widget) || key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab;
      }
      case QEvent::KeyRelease:
      case QEvent::MouseButtonPress:
      case QEvent::MouseButtonRelease:
      case QEvent::MouseButtonDblClick:
      case QEvent::TouchBegin:
      case QEvent::TouchUpdate:
      case QEvent::TouchEnd:
      case QEvent::TabletPress:
      case QEvent::TabletMove:
      case QEvent::TabletRelease:
        return !isWayOut(widget);
      case QEvent::ShortcutOverride:
      case QEvent::Shortcut:
      case QEvent::InputMethod:
      case QEvent::Wheel:
      case QEvent::ContextMenu:
      case QEvent::DragEnter:
      case QEvent::DragMove:
      case QEvent::Drop:
        return true;
      default:
        return false;
    }
  }

  // The status item may be a widget too.
  bool isWayOut(const QWidget* widget) const {
    return widget->objectName() == QLatin1String("QSystemTrayIconSys") ||
           widget->objectName() == QLatin1String("statusmenu") ||
           (host_ != nullptr && host_->isWayOut(widget));
  }

  Wait::Host* host_ = nullptr;
  QEventLoop* loop_ = nullptr;  // of the wait that is on
  Wait::For what_ = Wait::For::answer;
  bool leaving_ = false;
  std::function<void()> step_;
  bool ends_ = false;  // the end of the operation is on its way
  std::vector<PutOff> put_off_;
  bool counts_ = false;
  Clock::time_point busy_since_;
};

Waiting& waiting() {
  static Waiting the_only;
  return the_only;
}

}  // namespace

void Wait::setHost(Host* host) {
  waiting().setHost(host);
}

void Wait::removeHost(const Host* host) {
  waiting().removeHost(host);
}

bool Wait::run(BackgroundThread& thread, std::function<void()> work, For what) {
  return waiting().run(thread, std::move(work), what);
}

bool Wait::isOn() {
  return waiting().isOn();
}

bool Wait::isLeaving() {
  return waiting().isLeaving();
}

void Wait::leave(std::function<void()> step) {
  waiting().leave(std::move(step));
}

void Wait::later(QObject* context, std::function<void()> work) {
  QMetaObject::invokeMethod(
      context,
      [context = QPointer<QObject>(context), work = std::move(work)]() mutable {
        waiting().perform(context, std::move(work));
      },
      Qt::QueuedConnection);
}

}  // namespace talvane
