#include "tests/torture/frames.h"

#include <poll.h>
#include <xcb/damage.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace talvane::torture {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int tick = 10;  // milliseconds between two requests to paint

struct Release {
  void operator()(void* memory) const { std::free(memory); }
};

}  // namespace

struct FrameWatch::Connection {
  xcb_connection_t* server = nullptr;
  int damage_event = 0;
  xcb_window_t window = XCB_NONE;
  xcb_damage_damage_t damage = XCB_NONE;

  void look(xcb_window_t at) {
    if (at == window) return;
    if (damage != XCB_NONE) xcb_damage_destroy(server, damage);
    window = at;
    damage = XCB_NONE;
    if (at == XCB_NONE) return;
    damage = xcb_generate_id(server);
    xcb_damage_create(server, damage, at, XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
  }

  void askToPaint() const {
    xcb_expose_event_t event{};
    event.response_type = XCB_EXPOSE;
    event.window = window;
    event.width = 4;
    event.height = 4;
    xcb_send_event(server, 0, window, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char*>(&event));
    xcb_flush(server);
  }

  // Whether it has painted before the tick is over.
  [[nodiscard]] bool paints() const {
    bool painted = false;
    const auto end = Clock::now() + milliseconds(tick);
    for (;;) {
      while (
          const std::unique_ptr<xcb_generic_event_t, Release> event{xcb_poll_for_event(server)}) {
        const int kind = event->response_type & 0x7f;
        const auto* notice = reinterpret_cast<const xcb_damage_notify_event_t*>(event.get());
        if (kind == damage_event + XCB_DAMAGE_NOTIFY && notice->damage == damage) painted = true;
      }
      const auto left = std::chrono::duration_cast<milliseconds>(end - Clock::now());
      if (painted || left.count() <= 0) return painted;
      pollfd readable{xcb_get_file_descriptor(server), POLLIN, 0};
      poll(&readable, 1, static_cast<int>(left.count()));
    }
  }
};

FrameWatch::FrameWatch(const std::string& display) : connection_(std::make_unique<Connection>()) {
  connection_->server = xcb_connect(display.c_str(), nullptr);
  if (xcb_connection_has_error(connection_->server) != 0) throw std::runtime_error("no display");
  connection_->damage_event =
      xcb_get_extension_data(connection_->server, &xcb_damage_id)->first_event;
  xcb_discard_reply(connection_->server,
                    xcb_damage_query_version(connection_->server, 1, 1).sequence);
}

FrameWatch::~FrameWatch() {
  xcb_disconnect(connection_->server);
}

milliseconds FrameWatch::longestGap(const std::function<std::optional<unsigned long>()>& window,
                                    milliseconds time) {
  const auto end = Clock::now() + time;
  auto last = Clock::now();
  Clock::duration longest{};
  while (Clock::now() < end) {
    const auto shown = window();
    connection_->look(shown ? static_cast<xcb_window_t>(*shown) : xcb_window_t{XCB_NONE});
    if (!shown) {
      std::this_thread::sleep_for(milliseconds(tick));
      continue;
    }
    connection_->askToPaint();
    if (!connection_->paints()) continue;
    const auto now = Clock::now();
    longest = std::max(longest, now - last);
    last = now;
  }
  longest = std::max(longest, Clock::now() - last);
  connection_->look(XCB_NONE);
  return std::chrono::duration_cast<milliseconds>(longest);
}

}  // namespace talvane::torture
