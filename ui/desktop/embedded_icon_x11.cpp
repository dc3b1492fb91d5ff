#include "ui/desktop/embedded_icon_x11.h"

#include <xcb/xcb.h>
#include <QGuiApplication>
#include <QPainter>

#include <algorithm>
#include <cstdint>
#include <utility>

#include "ui/desktop/xcb_atom.h"

namespace talvane {
namespace {

constexpr std::uint32_t request_dock = 0;
constexpr int usual_size = 22;

}  // namespace

EmbeddedIcon::EmbeddedIcon(QIcon image)
    : QWidget(nullptr, Qt::FramelessWindowHint | Qt::BypassWindowManagerHint),
      image_(std::move(image)) {
  // The toolkit's name for such a widget.
  setObjectName(QStringLiteral("QSystemTrayIconSys"));
  setAttribute(Qt::WA_TranslucentBackground);
  setAttribute(Qt::WA_QuitOnClose, false);
  setContextMenuPolicy(Qt::CustomContextMenu);
  // A status area without a size of its own takes this.
  setMinimumSize(usual_size, usual_size);
  qGuiApp->installNativeEventFilter(this);
}

EmbeddedIcon::~EmbeddedIcon() {
  qGuiApp->removeNativeEventFilter(this);
}

void EmbeddedIcon::dock() {
  xcb_connection_t* display = x11Connection();
  if (display == nullptr) return;
  const xcb_window_t area = embeddingTray(display);
  if (area == XCB_WINDOW_NONE || area == area_) return;
  area_ = area;
  // To see its end.
  const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
  xcb_change_window_attributes(display, area_, XCB_CW_EVENT_MASK, &events);
  hide();
  destroy();
  xcb_client_message_event_t request{};
  request.response_type = XCB_CLIENT_MESSAGE;
  request.format = 32;
  request.window = area_;
  request.type = atomNamed(display, "_NET_SYSTEM_TRAY_OPCODE");
  request.data.data32[0] = XCB_CURRENT_TIME;
  request.data.data32[1] = request_dock;
  request.data.data32[2] = static_cast<std::uint32_t>(winId());
  xcb_send_event(display, 0, area_, XCB_EVENT_MASK_NO_EVENT,
                 reinterpret_cast<const char*>(&request));
  show();
}

void EmbeddedIcon::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  const int side = std::min(width(), height());
  image_.paint(&painter, QRect((width() - side) / 2, (height() - side) / 2, side, side));
}

bool EmbeddedIcon::nativeEventFilter(const QByteArray& type, void* message, qintptr* /*result*/) {
  if (type != "xcb_generic_event_t") return false;
  const auto* event = static_cast<const xcb_generic_event_t*>(message);
  if ((event->response_type & 0x7f) != XCB_DESTROY_NOTIFY) return false;
  if (reinterpret_cast<const xcb_destroy_notify_event_t*>(event)->window == area_) {
    area_ = XCB_WINDOW_NONE;
    hide();
  }
  return false;
}

}  // namespace talvane
