#include "tests/desktop/screen.h"

#include <X11/XKBlib.h>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <utility>

#include "tests/desktop/program.h"
#include "tests/secret_service/child_process.h"

namespace talvane::test {
namespace {

// Windows go while they are looked at.
int ignoreError(Display* /*display*/, XErrorEvent* /*error*/) {
  return 0;
}

using DisplayHandle = std::unique_ptr<Display, int (*)(Display*)>;

DisplayHandle openDisplay(const std::string& name) {
  XSetErrorHandler(ignoreError);
  return {XOpenDisplay(name.c_str()), XCloseDisplay};
}

bool hasProperty(Display* display, Window window, const char* name) {
  Atom type = 0;
  int format = 0;
  unsigned long count = 0;
  unsigned long left = 0;
  unsigned char* value = nullptr;
  const int status =
      XGetWindowProperty(display, window, XInternAtom(display, name, False), 0, 1, False,
                         AnyPropertyType, &type, &format, &count, &left, &value);
  if (value != nullptr) XFree(value);
  return status == Success && type != 0;
}

bool isOfClass(Display* display, Window window, std::string_view wanted) {
  XClassHint hint{};
  if (XGetClassHint(display, window, &hint) == 0) return false;
  const bool is = hint.res_name == wanted;
  XFree(hint.res_name);
  XFree(hint.res_class);
  return is;
}

void collect(Display* display, Window window, std::string_view wanted,
             std::vector<ShownWindow>* found) {
  const Window root = XDefaultRootWindow(display);
  XWindowAttributes attributes{};
  if (XGetWindowAttributes(display, window, &attributes) == 0) return;
  if (attributes.map_state != IsViewable) return;
  if (window != root && isOfClass(display, window, wanted)) {
    int x = 0;
    int y = 0;
    Window child = 0;
    XTranslateCoordinates(display, window, root, 0, 0, &x, &y, &child);
    found->push_back({window, {x, y, attributes.width, attributes.height}});
    return;
  }
  Window above = 0;
  Window parent = 0;
  Window* children = nullptr;
  unsigned int count = 0;
  if (XQueryTree(display, window, &above, &parent, &children, &count) == 0) return;
  const std::vector<Window> list(children, children + count);
  if (children != nullptr) XFree(children);
  for (const Window inner : list) collect(display, inner, wanted, found);
}

// The modifiers of the name, in their order, and then its key.
std::vector<KeyCode> keysOf(Display* display, std::string_view name) {
  static constexpr std::pair<std::string_view, const char*> modifiers[] = {
      {"shift", "Shift_L"}, {"ctrl", "Control_L"}, {"alt", "Alt_L"}, {"super", "Super_L"}};
  std::vector<KeyCode> codes;
  for (;;) {
    const std::size_t plus = name.find('+');
    std::string keysym(name.substr(0, plus));
    for (const auto& [prefix, modifier] : modifiers) {
      if (plus != std::string_view::npos && keysym == prefix) keysym = modifier;
    }
    codes.push_back(XKeysymToKeycode(display, XStringToKeysym(keysym.c_str())));
    if (codes.back() == 0) throw std::runtime_error("no key " + keysym);
    if (plus == std::string_view::npos) return codes;
    name.remove_prefix(plus + 1);
  }
}

}  // namespace

struct Screen::Connection {
  talvane::testing::ChildProcess server;
  std::string name;
  DisplayHandle display{nullptr, XCloseDisplay};
  Program window_manager;
};

Screen::Screen() : connection_(std::make_unique<Connection>()) {
  connection_->server =
      talvane::testing::ChildProcess({"Xvfb", "-displayfd", "1", "-screen", "0",
                                      std::to_string(width) + "x" + std::to_string(height) + "x24",
                                      "-nolisten", "tcp", "-noreset"},
                                     "/dev/null");
  connection_->name = ":" + connection_->server.readLine();
  connection_->display = openDisplay(connection_->name);
  Display* display = connection_->display.get();
  if (display == nullptr) throw std::runtime_error("Xvfb does not start");
  // Without settings of its own.
  const std::string home = "/nonexistent";
  connection_->window_manager = Program(
      {"openbox"},
      {"DISPLAY=" + connection_->name, "HOME=" + home, "XDG_CONFIG_HOME=" + home,
       "XDG_CACHE_HOME=" + home, "XDG_DATA_HOME=" + home, "PATH=/usr/bin:/bin", "LC_ALL=C.UTF-8"},
      "/dev/null");
  if (!until([&] {
        return hasProperty(display, XDefaultRootWindow(display), "_NET_SUPPORTING_WM_CHECK");
      })) {
    throw std::runtime_error("openbox does not start");
  }
  calm();
}

Screen::~Screen() = default;

const std::string& Screen::name() const {
  return connection_->name;
}

void Screen::calm() {
  release();
  for (const char* name : {"Shift_L", "Control_L", "Alt_L", "Super_L"}) {
    Display* display = connection_->display.get();
    XTestFakeKeyEvent(display, XKeysymToKeycode(display, XStringToKeysym(name)), False, 0);
  }
  moveMouse(width / 2, height / 2);
}

void Screen::moveMouse(int x, int y) {
  XTestFakeMotionEvent(connection_->display.get(), -1, x, y, 0);
  XSync(connection_->display.get(), False);
}

void Screen::press(int x, int y) {
  moveMouse(x, y);
  XTestFakeButtonEvent(connection_->display.get(), 1, True, 0);
  XSync(connection_->display.get(), False);
}

void Screen::release() {
  XTestFakeButtonEvent(connection_->display.get(), 1, False, 0);
  XSync(connection_->display.get(), False);
}

void Screen::click(int x, int y) {
  press(x, y);
  release();
}

void Screen::rightClick(int x, int y) {
  moveMouse(x, y);
  for (const Bool pressed : {True, False}) {
    XTestFakeButtonEvent(connection_->display.get(), 3, pressed, 0);
  }
  XSync(connection_->display.get(), False);
}

void Screen::wheel(int notches) {
  const unsigned int button = notches > 0 ? 5 : 4;
  for (int i = 0; i < std::abs(notches); ++i) {
    XTestFakeButtonEvent(connection_->display.get(), button, True, 0);
    XTestFakeButtonEvent(connection_->display.get(), button, False, 0);
  }
  XSync(connection_->display.get(), False);
}

void Screen::key(std::string_view name) {
  keyDown(name);
  keyUp(name);
}

void Screen::keyDown(std::string_view name) {
  Display* display = connection_->display.get();
  for (const KeyCode code : keysOf(display, name)) XTestFakeKeyEvent(display, code, True, 0);
  XSync(display, False);
}

void Screen::keyUp(std::string_view name) {
  Display* display = connection_->display.get();
  std::vector<KeyCode> codes = keysOf(display, name);
  std::reverse(codes.begin(), codes.end());
  for (const KeyCode code : codes) XTestFakeKeyEvent(display, code, False, 0);
  XSync(display, False);
}

void Screen::swapKeys(const char* one, const char* other) {
  Display* display = connection_->display.get();
  const KeyCode codes[] = {keysOf(display, one).front(), keysOf(display, other).front()};
  int size = 0;
  KeySym* const first = XGetKeyboardMapping(display, codes[0], 1, &size);
  KeySym* const second = XGetKeyboardMapping(display, codes[1], 1, &size);
  XChangeKeyboardMapping(display, codes[0], size, second, 1);
  XChangeKeyboardMapping(display, codes[1], size, first, 1);
  XFree(first);
  XFree(second);
  XSync(display, False);
  // This client's own idea of the keyboard follows the events.
  for (XEvent event; XPending(display) > 0;) {
    XNextEvent(display, &event);
    if (event.type == MappingNotify) XRefreshKeyboardMapping(&event.xmapping);
  }
}

void Screen::type(std::string_view text) {
  Display* display = connection_->display.get();
  const KeyCode shift = XKeysymToKeycode(display, XK_Shift_L);
  for (const char character : text) {
    // The keysyms of ASCII are its codes.
    const auto keysym = static_cast<KeySym>(static_cast<unsigned char>(character));
    const KeyCode code = XKeysymToKeycode(display, keysym);
    const bool shifted = XkbKeycodeToKeysym(display, code, 0, 0) != keysym;
    if (shifted) XTestFakeKeyEvent(display, shift, True, 0);
    XTestFakeKeyEvent(display, code, True, 0);
    XTestFakeKeyEvent(display, code, False, 0);
    if (shifted) XTestFakeKeyEvent(display, shift, False, 0);
  }
  XSync(display, False);
}

std::vector<ShownWindow> Screen::windowsOf(std::string_view window_class) {
  std::vector<ShownWindow> found;
  Display* display = connection_->display.get();
  collect(display, XDefaultRootWindow(display), window_class, &found);
  return found;
}

Picture Screen::picture(const Rectangle& part) {
  Display* display = connection_->display.get();
  Picture picture;
  const std::unique_ptr<XImage, void (*)(XImage*)> image(
      XGetImage(display, XDefaultRootWindow(display), part.x, part.y,
                static_cast<unsigned int>(part.width), static_cast<unsigned int>(part.height),
                XAllPlanes(), ZPixmap),
      [](XImage* it) { XDestroyImage(it); });
  if (image == nullptr) return picture;
  picture.width = part.width;
  picture.height = part.height;
  for (int y = 0; y < part.height; ++y) {
    for (int x = 0; x < part.width; ++x) {
      picture.pixels.push_back(
          static_cast<std::uint32_t>(XGetPixel(image.get(), x, y) & 0xFFFFFFU));
    }
  }
  return picture;
}

bool Screen::hasTray() {
  Display* display = connection_->display.get();
  return XGetSelectionOwner(display, XInternAtom(display, "_NET_SYSTEM_TRAY_S0", False)) != 0;
}

unsigned long Screen::windowOfKeys() {
  Window window = None;
  int fallback = 0;
  XGetInputFocus(connection_->display.get(), &window, &fallback);
  return window;
}

}  // namespace talvane::test
