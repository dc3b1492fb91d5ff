#pragma once

#include <xcb/xcb.h>
#include <QObject>
#include <QSocketNotifier>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "platform/shortcut.h"
#include "ui/desktop/global_shortcut.h"

namespace talvane {

/// A shortcut by a passive grab of its key on the X display, over a connection of its own: the
/// toolkit's would not hear of a changed keyboard mapping.
class GrabbedKey final : public QObject, public GlobalShortcut {
 public:
  explicit GrabbedKey(std::function<void()> pressed);
  ~GrabbedKey() override;

  void askWhetherPossible(std::function<void(bool possible)> told) override;
  void set(const std::optional<Shortcut>& wish,
           std::function<void(const Result& result)> told) override;
  void setPaused(bool paused) override;

 private:
  // One grab: a key, and the modifiers that are held.
  struct Grab {
    xcb_window_t root;
    xcb_keycode_t key;
    std::uint16_t modifiers;
  };

  void open();
  void close();
  Result grab();
  void ungrab();
  void readEvents();
  void keyEvent(const xcb_key_press_event_t& event, bool is_press);

  std::function<void()> pressed_;
  std::optional<Shortcut> wish_;
  xcb_connection_t* display_ = nullptr;
  std::unique_ptr<QSocketNotifier> notifier_;
  std::vector<Grab> grabs_;
  bool is_paused_ = false;
  bool is_down_ = false;
  xcb_timestamp_t released_at_ = 0;
};

}  // namespace talvane
