#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "platform/file_descriptor.h"
#include "ui/desktop/bars.h"
#include "ui/desktop/xcb_atom.h"
#include "ui/kit/frame.h"

namespace talvane {
namespace {

constexpr std::uint32_t longest_property = 4096;

// A property of 32-bit numbers that was asked for. Ask for all before the first answer is awaited:
// each wait costs a way to the display and back.
class Numbers {
 public:
  Numbers(xcb_connection_t* display, xcb_window_t window, const char* property, xcb_atom_t type)
      : display_(display),
        asked_(xcb_get_property(display, 0, window, atomNamed(display, property), type, 0,
                                longest_property)) {}

  /// None if it is missing. Once.
  [[nodiscard]] std::vector<std::int32_t> get() const {
    const XcbReply<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(display_, asked_, nullptr));
    if (reply == nullptr || reply->format != 32) return {};
    const auto* numbers = static_cast<const std::int32_t*>(xcb_get_property_value(reply.get()));
    const auto count = static_cast<std::size_t>(xcb_get_property_value_length(reply.get())) / 4;
    return {numbers, numbers + count};
  }

 private:
  xcb_connection_t* display_;
  xcb_get_property_cookie_t asked_;
};

Frame frameOfDisplay(xcb_connection_t* display, xcb_window_t root) {
  const XcbReply<xcb_get_geometry_reply_t> reply(
      xcb_get_geometry_reply(display, xcb_get_geometry(display, root), nullptr));
  return reply == nullptr ? Frame() : Frame{0, 0, reply->width, reply->height};
}

// The room that a window keeps free: _NET_WM_STRUT_PARTIAL, or the older _NET_WM_STRUT, which is as
// long as the edge.
class WindowStruts {
 public:
  WindowStruts(xcb_connection_t* display, xcb_window_t window)
      : partial_(display, window, "_NET_WM_STRUT_PARTIAL", XCB_ATOM_CARDINAL),
        whole_(display, window, "_NET_WM_STRUT", XCB_ATOM_CARDINAL) {}

  void addTo(Bars* bars) const {
    constexpr std::array<Edge, 4> edges{Edge::left, Edge::right, Edge::top, Edge::bottom};
    std::vector<std::int32_t> strut = partial_.get();
    const std::vector<std::int32_t> whole = whole_.get();
    if (strut.size() < 12) {
      if (whole.size() < 4) return;
      const int bottom = bars->display.height - 1;
      const int right = bars->display.width - 1;
      strut.assign(whole.begin(), whole.begin() + 4);
      strut.insert(strut.end(), {0, bottom, 0, bottom, 0, right, 0, right});
    }
    for (std::size_t i = 0; i < edges.size(); ++i) {
      if (strut[i] <= 0) continue;
      bars->struts.push_back({edges[i], strut[i], strut[4 + 2 * i], strut[5 + 2 * i]});
    }
  }

 private:
  Numbers partial_;
  Numbers whole_;
};

// Whether all of it was read before the time was over.
bool readAll(const FileDescriptor& socket, char* to, std::size_t size) {
  while (size > 0) {
    const ssize_t count = read(socket.get(), to, size);
    if (count <= 0) return false;
    to += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

// The answer of sway(1) to a message without content; empty if it does not come. (sway-ipc(7))
QByteArray askSway(const QByteArray& socket_path, std::uint32_t message) {
  constexpr timeval patience{0, 200'000};
  constexpr std::uint32_t longest_answer = 1U << 20U;
  struct Header {
    std::array<char, 6> magic{'i', '3', '-', 'i', 'p', 'c'};
    std::array<std::uint32_t, 2> length_and_kind{};
  } __attribute__((packed));
  static_assert(sizeof(Header) == 14);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (socket_path.size() >= static_cast<qsizetype>(sizeof address.sun_path)) return {};
  std::memcpy(address.sun_path, socket_path.constData(),
              static_cast<std::size_t>(socket_path.size()));
  const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  for (const int time : {SO_RCVTIMEO, SO_SNDTIMEO}) {
    setsockopt(socket.get(), SOL_SOCKET, time, &patience, sizeof patience);
  }
  Header header;
  header.length_and_kind = {0, message};
  if (connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      write(socket.get(), &header, sizeof header) != sizeof header ||
      !readAll(socket, reinterpret_cast<char*>(&header), sizeof header) ||
      header.length_and_kind[0] > longest_answer) {
    return {};
  }
  QByteArray answer(static_cast<qsizetype>(header.length_and_kind[0]), '\0');
  if (!readAll(socket, answer.data(), static_cast<std::size_t>(answer.size()))) return {};
  return answer;
}

// Its workspaces leave the bars out.
std::vector<Frame> workspacesOfSway(const QByteArray& socket_path) {
  constexpr std::uint32_t get_workspaces = 1;
  std::vector<Frame> frames;
  const auto workspaces = QJsonDocument::fromJson(askSway(socket_path, get_workspaces)).array();
  for (const QJsonValue& workspace : workspaces) {
    if (!workspace[QLatin1String("visible")].toBool()) continue;
    const QJsonValue rect = workspace[QLatin1String("rect")];
    const auto number = [&rect](const char* name) { return rect[QLatin1String(name)].toInt(); };
    frames.push_back({number("x"), number("y"), number("width"), number("height")});
  }
  return frames;
}

}  // namespace

// Extended Window Manager Hints.
Bars desktopBars() {
  Bars bars;
  xcb_connection_t* display = x11Connection();
  if (display == nullptr) return bars;
  const xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(display));
  if (screens.rem == 0) return bars;
  const xcb_window_t root = screens.data->root;
  const Numbers clients(display, root, "_NET_CLIENT_LIST", XCB_ATOM_WINDOW);
  const Numbers work_areas(display, root, "_NET_WORKAREA", XCB_ATOM_CARDINAL);
  const Numbers workspace(display, root, "_NET_CURRENT_DESKTOP", XCB_ATOM_CARDINAL);
  bars.display = frameOfDisplay(display, root);
  std::vector<WindowStruts> struts;
  for (const std::int32_t window : clients.get()) {
    struts.emplace_back(display, static_cast<xcb_window_t>(window));
  }
  for (const WindowStruts& strut : struts) strut.addTo(&bars);
  const auto areas = work_areas.get();
  const auto current = workspace.get();
  const std::int32_t number = current.empty() ? 0 : std::max(0, current.front());
  const auto at = static_cast<std::size_t>(number) * 4;
  if (areas.size() >= at + 4) {
    bars.work_areas.push_back({areas[at], areas[at + 1], areas[at + 2], areas[at + 3]});
  }
  if (const QByteArray sway = qgetenv("SWAYSOCK"); !sway.isEmpty()) {
    bars.work_areas = workspacesOfSway(sway);
  }
  return bars;
}

}  // namespace talvane
