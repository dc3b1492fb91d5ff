#include <poll.h>
#include <xcb/xcb.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/holder/deadline.h"
#include "cli/holder/selection.h"
#include "engine/cleared.h"

namespace talvane {
namespace {

struct Release {
  void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using Reply = std::unique_ptr<T, Release>;

// What clipboard managers look for (KDE's Klipper was the first).
constexpr const char* secret_mark = "x-kde-passwordManagerHint";
constexpr std::string_view secret_value = "secret";

constexpr int event_of_server = 0x7f;  // the bit above says that another client sent it

// The selection CLIPBOARD of an X11 display (ICCCM, section 2).
class X11Selection final : public Selection {
 public:
  explicit X11Selection(Cleared<std::string> text) : text_(std::move(text)) {}
  /// Takes the clipboard of the display in DISPLAY.
  bool take() { return connect() && own(); }
  void serve(const Deadline& deadline) override;

 private:
  struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
  };

  bool connect();
  bool own();
  xcb_timestamp_t serverTime();
  xcb_atom_t atom(const std::string& name);
  /// False: another program has taken the clipboard.
  bool handle(const xcb_generic_event_t& event);
  void answer(const xcb_selection_request_event_t& request);
  bool convert(xcb_window_t requestor, xcb_atom_t target, xcb_atom_t property);
  bool convertEach(xcb_window_t requestor, xcb_atom_t property);
  void put(xcb_window_t requestor, xcb_atom_t property, xcb_atom_t type, std::uint8_t bits,
           std::size_t count, const void* data);

  Cleared<std::string> text_;
  std::unique_ptr<xcb_connection_t, Disconnect> connection_;
  xcb_window_t window_ = XCB_WINDOW_NONE;
  xcb_timestamp_t taken_at_ = XCB_CURRENT_TIME;
  xcb_atom_t clipboard_ = XCB_ATOM_NONE;
  xcb_atom_t targets_ = XCB_ATOM_NONE;
  xcb_atom_t multiple_ = XCB_ATOM_NONE;
  xcb_atom_t pair_ = XCB_ATOM_NONE;
  xcb_atom_t timestamp_ = XCB_ATOM_NONE;
  xcb_atom_t secret_ = XCB_ATOM_NONE;
  xcb_atom_t utf8_ = XCB_ATOM_NONE;
  xcb_atom_t any_text_ = XCB_ATOM_NONE;
  std::vector<xcb_atom_t> texts_;  // every target that gets the text
};

bool X11Selection::connect() {
  int number = 0;
  connection_.reset(xcb_connect(nullptr, &number));
  if (xcb_connection_has_error(connection_.get()) != 0) return false;
  xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection_.get()));
  for (; number > 0 && screens.rem > 1; --number) xcb_screen_next(&screens);
  if (screens.rem == 0) return false;
  window_ = xcb_generate_id(connection_.get());
  const std::array<std::uint32_t, 1> events{XCB_EVENT_MASK_PROPERTY_CHANGE};
  xcb_create_window(connection_.get(), 0, window_, screens.data->root, 0, 0, 1, 1, 0,
                    XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK,
                    events.data());
  clipboard_ = atom("CLIPBOARD");
  targets_ = atom("TARGETS");
  multiple_ = atom("MULTIPLE");
  pair_ = atom("ATOM_PAIR");
  timestamp_ = atom("TIMESTAMP");
  secret_ = atom(secret_mark);
  utf8_ = atom("UTF8_STRING");
  any_text_ = atom("TEXT");
  texts_ = {utf8_, atom("text/plain;charset=utf-8"), atom("text/plain"), XCB_ATOM_STRING,
            any_text_};
  return true;
}

bool X11Selection::own() {
  taken_at_ = serverTime();
  xcb_set_selection_owner(connection_.get(), window_, clipboard_, taken_at_);
  const Reply<xcb_get_selection_owner_reply_t> owner(xcb_get_selection_owner_reply(
      connection_.get(), xcb_get_selection_owner(connection_.get(), clipboard_), nullptr));
  return owner != nullptr && owner->owner == window_;
}

// A change of a property tells the time by the server's clock, which an owner has to name.
xcb_timestamp_t X11Selection::serverTime() {
  xcb_change_property(connection_.get(), XCB_PROP_MODE_APPEND, window_, XCB_ATOM_WM_NAME,
                      XCB_ATOM_STRING, 8, 0, nullptr);
  xcb_flush(connection_.get());
  for (;;) {
    const Reply<xcb_generic_event_t> event(xcb_wait_for_event(connection_.get()));
    if (event == nullptr) return XCB_CURRENT_TIME;
    if ((event->response_type & event_of_server) == XCB_PROPERTY_NOTIFY) {
      return reinterpret_cast<const xcb_property_notify_event_t*>(event.get())->time;
    }
  }
}

xcb_atom_t X11Selection::atom(const std::string& name) {
  const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
      connection_.get(),
      xcb_intern_atom(connection_.get(), 0, static_cast<std::uint16_t>(name.size()), name.data()),
      nullptr));
  return reply == nullptr ? xcb_atom_t{XCB_ATOM_NONE} : reply->atom;
}

void X11Selection::serve(const Deadline& deadline) {
  pollfd input{xcb_get_file_descriptor(connection_.get()), POLLIN, 0};
  while (!deadline.hasPassed()) {
    while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection_.get())}) {
      if (!handle(*event)) return;
    }
    if (xcb_connection_has_error(connection_.get()) != 0) return;
    xcb_flush(connection_.get());
    static_cast<void>(poll(&input, 1, deadline.milliseconds()));
  }
  xcb_set_selection_owner(connection_.get(), XCB_WINDOW_NONE, clipboard_, taken_at_);
  xcb_flush(connection_.get());
}

bool X11Selection::handle(const xcb_generic_event_t& event) {
  switch (event.response_type & event_of_server) {
    case XCB_SELECTION_CLEAR:
      return false;
    case XCB_SELECTION_REQUEST:
      answer(reinterpret_cast<const xcb_selection_request_event_t&>(event));
      return true;
    default:
      return true;
  }
}

void X11Selection::answer(const xcb_selection_request_event_t& request) {
  xcb_selection_notify_event_t notice{};
  notice.response_type = XCB_SELECTION_NOTIFY;
  notice.time = request.time;
  notice.requestor = request.requestor;
  notice.selection = request.selection;
  notice.target = request.target;
  // Old programs name no property.
  const xcb_atom_t property = request.property != XCB_ATOM_NONE ? request.property : request.target;
  const bool is_ours = request.selection == clipboard_ &&
                       (request.time == XCB_CURRENT_TIME || request.time - taken_at_ < 0x80000000U);
  notice.property = is_ours && convert(request.requestor, request.target, property)
                        ? property
                        : xcb_atom_t{XCB_ATOM_NONE};
  xcb_send_event(connection_.get(), 0, request.requestor, XCB_EVENT_MASK_NO_EVENT,
                 reinterpret_cast<const char*>(&notice));
}

bool X11Selection::convert(xcb_window_t requestor, xcb_atom_t target, xcb_atom_t property) {
  if (target == targets_) {
    std::vector<xcb_atom_t> all = texts_;
    all.insert(all.end(), {targets_, multiple_, timestamp_, secret_});
    put(requestor, property, XCB_ATOM_ATOM, 32, all.size(), all.data());
  } else if (target == multiple_) {
    return convertEach(requestor, property);
  } else if (target == timestamp_) {
    put(requestor, property, XCB_ATOM_INTEGER, 32, 1, &taken_at_);
  } else if (target == secret_) {
    put(requestor, property, secret_, 8, secret_value.size(), secret_value.data());
  } else {
    for (const xcb_atom_t text : texts_) {
      if (target != text) continue;
      put(requestor, property, target == any_text_ ? utf8_ : target, 8, text_->size(),
          text_->data());
      return true;
    }
    return false;
  }
  return true;
}

// The property names pairs of targets and properties; those that cannot be had are crossed out.
bool X11Selection::convertEach(xcb_window_t requestor, xcb_atom_t property) {
  constexpr std::uint32_t most = 64;  // in units of four bytes
  const Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
      connection_.get(),
      xcb_get_property(connection_.get(), 0, requestor, property, pair_, 0, most), nullptr));
  if (reply == nullptr || reply->format != 32) return false;
  const auto* atoms = static_cast<const xcb_atom_t*>(xcb_get_property_value(reply.get()));
  std::vector<xcb_atom_t> pairs(atoms, atoms + reply->value_len);
  for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) {
    if (pairs[i] == multiple_ || !convert(requestor, pairs[i], pairs[i + 1])) {
      pairs[i + 1] = XCB_ATOM_NONE;
    }
  }
  put(requestor, property, pair_, 32, pairs.size(), pairs.data());
  return true;
}

void X11Selection::put(xcb_window_t requestor, xcb_atom_t property, xcb_atom_t type,
                       std::uint8_t bits, std::size_t count, const void* data) {
  xcb_change_property(connection_.get(), XCB_PROP_MODE_REPLACE, requestor, property, type, bits,
                      static_cast<std::uint32_t>(count), data);
}

}  // namespace

std::unique_ptr<Selection> takeSelection(const Cleared<std::string>& text) {
  auto selection = std::make_unique<X11Selection>(text);
  if (!selection->take()) return nullptr;
  return selection;
}

}  // namespace talvane
