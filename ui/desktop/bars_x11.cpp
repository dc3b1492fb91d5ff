#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>

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

// The property's numbers; none if it is missing.
std::vector<std::int32_t> numbersIn(xcb_connection_t* display, xcb_window_t window,
                                    const char* property, xcb_atom_t type) {
  const XcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
      display,
      xcb_get_property(display, 0, window, atomNamed(display, property), type, 0, longest_property),
      nullptr));
  if (reply == nullptr || reply->format != 32) return {};
  const auto* numbers = static_cast<const std::int32_t*>(xcb_get_property_value(reply.get()));
  const auto count = static_cast<std::size_t>(xcb_get_property_value_length(reply.get())) / 4;
  return {numbers, numbers + count};
}

Frame frameOfDisplay(xcb_connection_t* display, xcb_window_t root) {
  const XcbReply<xcb_get_geometry_reply_t> reply(
      xcb_get_geometry_reply(display, xcb_get_geometry(display, root), nullptr));
  return reply == nullptr ? Frame() : Frame{0, 0, reply->width, reply->height};
}

// _NET_WM_STRUT_PARTIAL, or the older _NET_WM_STRUT, which is as long as the edge.
void addStruts(xcb_connection_t* display, xcb_window_t window, Bars* bars) {
  constexpr std::array<Edge, 4> edges{Edge::left, Edge::right, Edge::top, Edge::bottom};
  std::vector<std::int32_t> strut =
      numbersIn(display, window, "_NET_WM_STRUT_PARTIAL", XCB_ATOM_CARDINAL);
  if (strut.size() < 12) {
    strut = numbersIn(display, window, "_NET_WM_STRUT", XCB_ATOM_CARDINAL);
    if (strut.size() < 4) return;
    const int bottom = bars->display.height - 1;
    const int right = bars->display.width - 1;
    strut.resize(4);
    strut.insert(strut.end(), {0, bottom, 0, bottom, 0, right, 0, right});
  }
  for (std::size_t i = 0; i < edges.size(); ++i) {
    if (strut[i] <= 0) continue;
    bars->struts.push_back({edges[i], strut[i], strut[4 + 2 * i], strut[5 + 2 * i]});
  }
}

std::int32_t currentWorkspace(xcb_connection_t* display, xcb_window_t root) {
  const auto number = numbersIn(display, root, "_NET_CURRENT_DESKTOP", XCB_ATOM_CARDINAL);
  return number.empty() ? 0 : number.front();
}

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
  bars.display = frameOfDisplay(display, root);
  for (const std::int32_t window : numbersIn(display, root, "_NET_CLIENT_LIST", XCB_ATOM_WINDOW)) {
    addStruts(display, static_cast<xcb_window_t>(window), &bars);
  }
  const auto areas = numbersIn(display, root, "_NET_WORKAREA", XCB_ATOM_CARDINAL);
  const auto at = static_cast<std::size_t>(currentWorkspace(display, root)) * 4;
  if (areas.size() >= at + 4) {
    bars.work_areas.push_back({areas[at], areas[at + 1], areas[at + 2], areas[at + 3]});
  }
  if (const QByteArray sway = qgetenv("SWAYSOCK"); !sway.isEmpty()) {
    bars.work_areas = workspacesOfSway(sway);
  }
  return bars;
}

}  // namespace talvane
