#include "ui/desktop/grabbed_key.h"

#include <xcb/xcb.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/shortcut.h"
#include "platform/translation.h"
#include "ui/desktop/global_shortcut.h"
#include "ui/desktop/shortcut_keys.h"
#include "ui/desktop/xcb_atom.h"

namespace talvane {
namespace {

// keysymdef.h
constexpr std::uint32_t keysym_num_lock = 0xff7f;
constexpr std::uint32_t keysym_scroll_lock = 0xff14;
constexpr std::uint32_t keysym_alt_l = 0xffe9;
constexpr std::uint32_t keysym_alt_r = 0xffea;
constexpr std::uint32_t keysym_super_l = 0xffeb;
constexpr std::uint32_t keysym_super_r = 0xffec;

// In milliseconds. Nobody presses a key again so soon.
constexpr xcb_timestamp_t at_once = 20;

// The display's keyboard: which keysyms its keys have, and which keys are modifiers.
class Keyboard {
 public:
  explicit Keyboard(xcb_connection_t* display) {
    const xcb_setup_t* setup = xcb_get_setup(display);
    first_ = setup->min_keycode;
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    const auto keys_cookie = xcb_get_keyboard_mapping(display, first_, count);
    const auto modifiers_cookie = xcb_get_modifier_mapping(display);
    keys_.reset(xcb_get_keyboard_mapping_reply(display, keys_cookie, nullptr));
    modifiers_.reset(xcb_get_modifier_mapping_reply(display, modifiers_cookie, nullptr));
  }

  /// The keys that give the keysym without Shift in one of the layouts; else those that do with it.
  [[nodiscard]] std::vector<xcb_keycode_t> keysWith(std::uint32_t keysym) const {
    std::vector<xcb_keycode_t> plain;
    std::vector<xcb_keycode_t> shifted;
    if (keys_ == nullptr) return plain;
    const xcb_keysym_t* keysyms = xcb_get_keyboard_mapping_keysyms(keys_.get());
    const std::size_t a_key = keys_->keysyms_per_keycode;
    const auto count =
        static_cast<std::size_t>(xcb_get_keyboard_mapping_keysyms_length(keys_.get()));
    for (std::size_t at = 0; a_key > 0 && at + a_key <= count; at += a_key) {
      const auto* end = keysyms + at + a_key;
      const auto* found = std::find(keysyms + at, end, keysym);
      if (found == end) continue;
      // Columns come in pairs, without and with Shift (X Window System Protocol, "Keyboards").
      const bool is_plain = (found - (keysyms + at)) % 2 == 0;
      (is_plain ? plain : shifted).push_back(static_cast<xcb_keycode_t>(first_ + at / a_key));
    }
    return plain.empty() ? shifted : plain;
  }

  /// The modifier of the keys with these keysyms; 0: they are none.
  [[nodiscard]] std::uint16_t modifierOf(std::uint32_t keysym, std::uint32_t or_keysym = 0) const {
    if (modifiers_ == nullptr) return 0;
    const xcb_keycode_t* codes = xcb_get_modifier_mapping_keycodes(modifiers_.get());
    const int a_modifier = modifiers_->keycodes_per_modifier;
    for (const std::uint32_t wanted : {keysym, or_keysym}) {
      if (wanted == 0) continue;
      for (const xcb_keycode_t key : keysWith(wanted)) {
        for (int i = 0; i < 8 * a_modifier; ++i) {
          if (codes[i] == key) return static_cast<std::uint16_t>(1U << (i / a_modifier));
        }
      }
    }
    return 0;
  }

 private:
  xcb_keycode_t first_ = 0;
  XcbReply<xcb_get_keyboard_mapping_reply_t> keys_;
  XcbReply<xcb_get_modifier_mapping_reply_t> modifiers_;
};

// The modifiers of the shortcut; nullopt if the keyboard lacks one.
std::optional<std::uint16_t> modifiersOf(const Shortcut& shortcut, const Keyboard& keyboard) {
  std::uint16_t modifiers = 0;
  const auto add = [&modifiers](bool wanted, std::uint16_t modifier) {
    if (!wanted) return true;
    modifiers |= modifier;
    return modifier != 0;
  };
  const bool complete = add(shortcut.ctrl, XCB_MOD_MASK_CONTROL) &&
                        add(shortcut.shift, XCB_MOD_MASK_SHIFT) &&
                        add(shortcut.alt, keyboard.modifierOf(keysym_alt_l, keysym_alt_r)) &&
                        add(shortcut.super, keyboard.modifierOf(keysym_super_l, keysym_super_r));
  return complete ? std::optional(modifiers) : std::nullopt;
}

// What may be on besides: every combination of the locks.
std::vector<std::uint16_t> lockStates(const Keyboard& keyboard) {
  std::vector<std::uint16_t> states = {0};
  for (const std::uint16_t lock :
       {std::uint16_t{XCB_MOD_MASK_LOCK}, keyboard.modifierOf(keysym_num_lock),
        keyboard.modifierOf(keysym_scroll_lock)}) {
    if (lock == 0) continue;
    for (std::size_t i = 0, count = states.size(); i < count; ++i) {
      states.push_back(static_cast<std::uint16_t>(states[i] | lock));
    }
  }
  return states;
}

}  // namespace

GrabbedKey::GrabbedKey(std::function<void()> pressed) : pressed_(std::move(pressed)) {}

GrabbedKey::~GrabbedKey() {
  close();
}

void GrabbedKey::askWhetherPossible(std::function<void(bool possible)> told) {
  told(x11Connection() != nullptr);
}

void GrabbedKey::set(const std::optional<Shortcut>& wish,
                     std::function<void(const Result& result)> told) {
  wish_ = wish;
  ungrab();
  is_paused_ = false;
  if (!wish_) {
    close();
    told({});
    return;
  }
  open();
  told(grab());
}

// Then the key goes where the keyboard is.
void GrabbedKey::setPaused(bool paused) {
  if (std::exchange(is_paused_, paused) == paused || !wish_) return;
  if (paused) {
    ungrab();
  } else {
    static_cast<void>(grab());
  }
}

void GrabbedKey::open() {
  if (display_ != nullptr) return;
  display_ = xcb_connect(nullptr, nullptr);
  if (xcb_connection_has_error(display_) != 0) {
    close();
    return;
  }
  notifier_ =
      std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(display_), QSocketNotifier::Read);
  connect(notifier_.get(), &QSocketNotifier::activated, this, [this] { readEvents(); });
}

// The display drops the grabs with the connection.
void GrabbedKey::close() {
  if (notifier_ != nullptr) {
    notifier_->setEnabled(false);
    notifier_.release()->deleteLater();  // it may be calling
  }
  if (display_ != nullptr) xcb_disconnect(std::exchange(display_, nullptr));
  grabs_.clear();
  is_down_ = false;
}

GlobalShortcut::Result GrabbedKey::grab() {
  const std::string name = textOf(*wish_);
  if (display_ == nullptr)
    return {translatedWith("The display cannot be reached for the shortcut {}", name), ""};
  const Keyboard keyboard(display_);
  const auto modifiers = modifiersOf(*wish_, keyboard);
  const std::vector<xcb_keycode_t> keys = keyboard.keysWith(keysymOf(wish_->key));
  if (!modifiers || keys.empty()) {
    return {translatedWith("This keyboard cannot type {}; choose another shortcut", name), ""};
  }
  std::vector<xcb_void_cookie_t> cookies;
  for (auto roots = xcb_setup_roots_iterator(xcb_get_setup(display_)); roots.rem > 0;
       xcb_screen_next(&roots)) {
    for (const xcb_keycode_t key : keys) {
      for (const std::uint16_t locks : lockStates(keyboard)) {
        const Grab grab{roots.data->root, key, static_cast<std::uint16_t>(*modifiers | locks)};
        cookies.push_back(xcb_grab_key_checked(display_, 1, grab.root, grab.modifiers, grab.key,
                                               XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        grabs_.push_back(grab);
      }
    }
  }
  bool is_taken = false;
  for (const xcb_void_cookie_t cookie : cookies) {
    const XcbReply<xcb_generic_error_t> error(xcb_request_check(display_, cookie));
    if (error != nullptr) is_taken = true;
  }
  if (!is_taken) return {"", name};
  ungrab();
  return {translatedWith("Another program has the shortcut {} already; choose another one", name),
          ""};
}

void GrabbedKey::ungrab() {
  for (const Grab& grab : grabs_) xcb_ungrab_key(display_, grab.key, grab.root, grab.modifiers);
  grabs_.clear();
  is_down_ = false;
  if (display_ != nullptr) xcb_flush(display_);
}

void GrabbedKey::readEvents() {
  bool has_new_mapping = false;
  while (display_ != nullptr) {
    const XcbReply<xcb_generic_event_t> event(xcb_poll_for_event(display_));
    if (event == nullptr) break;
    const auto* const key = reinterpret_cast<const xcb_key_press_event_t*>(event.get());
    switch (event->response_type & 0x7f) {
      case XCB_KEY_PRESS:
        keyEvent(*key, true);
        break;
      case XCB_KEY_RELEASE:
        keyEvent(*key, false);
        break;
      case XCB_MAPPING_NOTIFY:
        has_new_mapping = true;
        break;
      default:
        break;
    }
  }
  if (display_ == nullptr) return;
  if (xcb_connection_has_error(display_) != 0) {
    close();
  } else if (has_new_mapping && wish_ && !is_paused_) {
    ungrab();
    static_cast<void>(grab());
  }
}

// A key that is held repeats: the display then tells of a release, and of a press at that time.
void GrabbedKey::keyEvent(const xcb_key_press_event_t& event, bool is_press) {
  if (!is_press) {
    is_down_ = false;
    released_at_ = event.time;
    return;
  }
  const bool repeats = is_down_ || event.time - released_at_ < at_once;
  is_down_ = true;
  if (repeats || !pressed_) return;
  QMetaObject::invokeMethod(
      this, [this] { pressed_(); }, Qt::QueuedConnection);
}

}  // namespace talvane
