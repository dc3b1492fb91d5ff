// What the application costs on a desktop, beside a bare tray program, in one run. Is itself the
// status area: it sees when an icon asks to be embedded, clicks it, and sees when the panel is
// mapped and painted. Run it through bench/application.
//
//   bench_desktop BARE_PROGRAM APPLICATION [ROUNDS]

#include <fcntl.h>
#include <fmt/core.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/damage.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int panel_width = 260;
constexpr auto patience = std::chrono::seconds(10);

struct Release {
  void operator()(void* memory) const { std::free(memory); }
};
using Event = std::unique_ptr<xcb_generic_event_t, Release>;

double inMilliseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

[[noreturn]] void fail(const std::string& what) {
  fmt::print(stderr, "bench_desktop: {}\n", what);
  std::exit(1);
}

struct Summary {
  double median = 0;
  double least = 0;
};

Summary summary(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return {values[values.size() / 2], values.front()};
}

class Display {
 public:
  Display() : connection_(xcb_connect(nullptr, nullptr)) {
    if (xcb_connection_has_error(connection_) != 0) fail("no display");
    screen_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    damage_event_ = xcb_get_extension_data(connection_, &xcb_damage_id)->first_event;
    xcb_discard_reply(connection_, xcb_damage_query_version(connection_, 1, 1).sequence);
    const std::uint32_t root_events = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection_, screen_->root, XCB_CW_EVENT_MASK, &root_events);
    tray_ = makeWindow();
    xcb_set_selection_owner(connection_, tray_, atom("_NET_SYSTEM_TRAY_S0"), XCB_CURRENT_TIME);
    opcode_ = atom("_NET_SYSTEM_TRAY_OPCODE");
    xcb_flush(connection_);
  }
  ~Display() { xcb_disconnect(connection_); }
  Display(const Display&) = delete;
  Display& operator=(const Display&) = delete;

  /// The window of the next icon that asks to be embedded, which is done.
  xcb_window_t dock() {
    xcb_window_t icon = XCB_NONE;
    waitFor("an icon", [&](const xcb_generic_event_t& event) {
      const auto& client = reinterpret_cast<const xcb_client_message_event_t&>(event);
      if (kind(event) != XCB_CLIENT_MESSAGE || client.type != opcode_) return false;
      icon = client.data.data32[2];
      return true;
    });
    const std::uint32_t size[] = {0, 0, 22, 22};
    xcb_reparent_window(connection_, icon, tray_, 0, 0);
    xcb_configure_window(connection_, icon,
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH |
                             XCB_CONFIG_WINDOW_HEIGHT,
                         size);
    xcb_map_window(connection_, icon);
    xcb_flush(connection_);
    return icon;
  }

  void click(xcb_window_t icon) {
    for (const int type : {XCB_BUTTON_PRESS, XCB_BUTTON_RELEASE}) {
      xcb_button_press_event_t event{};
      event.response_type = static_cast<std::uint8_t>(type);
      event.detail = XCB_BUTTON_INDEX_1;
      event.root = screen_->root;
      event.event = icon;
      event.event_x = 5;
      event.event_y = 5;
      event.state = type == XCB_BUTTON_RELEASE ? XCB_BUTTON_MASK_1 : 0;
      event.same_screen = 1;
      xcb_send_event(
          connection_, 0, icon,
          type == XCB_BUTTON_PRESS ? XCB_EVENT_MASK_BUTTON_PRESS : XCB_EVENT_MASK_BUTTON_RELEASE,
          reinterpret_cast<const char*>(&event));
    }
    xcb_flush(connection_);
  }

  /// Until a window as wide as the panel is mapped, and then painted.
  void waitForPanel() {
    xcb_window_t panel = XCB_NONE;
    waitFor("the panel", [&](const xcb_generic_event_t& event) {
      if (kind(event) == XCB_MAP_NOTIFY) {
        const auto window = reinterpret_cast<const xcb_map_notify_event_t&>(event).window;
        if (widthOf(window) != panel_width) return false;
        panel = window;
        xcb_damage_create(connection_, xcb_generate_id(connection_), panel,
                          XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
        xcb_flush(connection_);
      }
      return panel != XCB_NONE && kind(event) == damage_event_ + XCB_DAMAGE_NOTIFY;
    });
  }

  void waitForNoPanel() {
    waitFor("the panel to close",
            [&](const xcb_generic_event_t& event) { return kind(event) == XCB_UNMAP_NOTIFY; });
  }

 private:
  static int kind(const xcb_generic_event_t& event) { return event.response_type & 0x7f; }

  xcb_window_t makeWindow() {
    const xcb_window_t window = xcb_generate_id(connection_);
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window, screen_->root, 0, 0, 22, 22, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen_->root_visual, 0, nullptr);
    xcb_map_window(connection_, window);
    return window;
  }

  xcb_atom_t atom(const char* name) {
    const std::unique_ptr<xcb_intern_atom_reply_t, Release> reply(xcb_intern_atom_reply(
        connection_,
        xcb_intern_atom(connection_, 0, static_cast<std::uint16_t>(std::strlen(name)), name),
        nullptr));
    return reply == nullptr ? xcb_atom_t{XCB_ATOM_NONE} : reply->atom;
  }

  int widthOf(xcb_window_t window) {
    const std::unique_ptr<xcb_get_geometry_reply_t, Release> reply(
        xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, window), nullptr));
    return reply == nullptr ? 0 : reply->width;
  }

  template <typename Wanted>
  void waitFor(const char* what, Wanted wanted) {
    const auto end = Clock::now() + patience;
    for (;;) {
      const Event event(xcb_poll_for_event(connection_));
      if (event != nullptr) {
        if (wanted(*event)) return;
        continue;
      }
      if (Clock::now() > end) fail(std::string("waited in vain for ") + what);
      pollfd readable{xcb_get_file_descriptor(connection_), POLLIN, 0};
      poll(&readable, 1, 100);
    }
  }

  xcb_connection_t* connection_;
  xcb_screen_t* screen_ = nullptr;
  xcb_window_t tray_ = XCB_NONE;
  xcb_atom_t opcode_ = XCB_NONE;
  int damage_event_ = 0;
};

class Program {
 public:
  explicit Program(const std::string& path) : started_(Clock::now()), id_(fork()) {
    if (id_ != 0) return;
    const int nowhere = open("/dev/null", O_RDWR);
    dup2(nowhere, STDERR_FILENO);
    // As the installed menu and autostart entries start it; the bare program does not mind.
    execl(path.c_str(), path.c_str(), "--no-console-log", static_cast<char*>(nullptr));
    _exit(127);
  }
  ~Program() {
    if (id_ <= 0) return;
    kill(id_, SIGTERM);
    waitpid(id_, nullptr, 0);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  [[nodiscard]] Clock::time_point started() const { return started_; }

  /// A number of /proc/PID/status, as the kernel gives it.
  [[nodiscard]] long status(const std::string& key) const {
    std::ifstream file(fmt::format("/proc/{}/status", id_));
    std::string line;
    while (std::getline(file, line)) {
      if (line.starts_with(key + ":"))
        return std::strtol(line.c_str() + key.size() + 1, nullptr, 10);
    }
    return 0;
  }

  /// Processor time of all its threads.
  [[nodiscard]] double cpuMilliseconds() const {
    std::ifstream file(fmt::format("/proc/{}/schedstat", id_));
    double nanoseconds = 0;
    file >> nanoseconds;
    return nanoseconds / 1e6;
  }

 private:
  Clock::time_point started_;
  pid_t id_;
};

void benchStart(Display& display, const char* name, const std::string& path, int rounds) {
  std::vector<double> times;
  std::vector<double> sizes;
  for (int round = 0; round < rounds; ++round) {
    const Program program(path);
    display.dock();
    times.push_back(inMilliseconds(Clock::now() - program.started()));
    std::this_thread::sleep_for(milliseconds(400));
    sizes.push_back(static_cast<double>(program.status("VmRSS")) / 1024);
  }
  fmt::print("{:<22} tray ready {:6.1f} ms (least {:.1f})   resident {:5.1f} MB\n", name,
             summary(times).median, summary(times).least, summary(sizes).median);
}

constexpr milliseconds no_double_click{350};

void benchPanel(Display& display, const std::string& path, int rounds) {
  const Program program(path);
  const xcb_window_t icon = display.dock();
  std::this_thread::sleep_for(milliseconds(500));
  std::vector<double> times;
  double first = 0;
  for (int round = 0; round < rounds; ++round) {
    const auto start = Clock::now();
    display.click(icon);
    display.waitForPanel();
    const double time = inMilliseconds(Clock::now() - start);
    if (round == 0) first = time;
    times.push_back(time);
    std::this_thread::sleep_for(no_double_click);
    display.click(icon);
    display.waitForNoPanel();
    std::this_thread::sleep_for(no_double_click);
  }
  fmt::print("click to painted panel  first {:.1f} ms   median {:.1f} ms   least {:.1f} ms\n",
             first, summary(times).median, summary(times).least);
  fmt::print("resident after that     {:.1f} MB\n",
             static_cast<double>(program.status("VmRSS")) / 1024);

  display.click(icon);
  display.waitForPanel();
  std::this_thread::sleep_for(milliseconds(500));
  constexpr int ticks = 30;  // a whole time step: the dear second in which passcodes change too
  double before = program.cpuMilliseconds();
  std::this_thread::sleep_for(std::chrono::seconds(ticks));
  fmt::print("panel open              {:.2f} ms of processor time a tick\n",
             (program.cpuMilliseconds() - before) / ticks);
  display.click(icon);
  display.waitForNoPanel();
  std::this_thread::sleep_for(milliseconds(500));

  constexpr int idle_seconds = 60;
  before = program.cpuMilliseconds();
  const long wakeups = program.status("voluntary_ctxt_switches");
  std::this_thread::sleep_for(std::chrono::seconds(idle_seconds));
  fmt::print("panel closed            {:.2f} ms of processor time and {} wake-ups in {} s\n",
             program.cpuMilliseconds() - before,
             program.status("voluntary_ctxt_switches") - wakeups, idle_seconds);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) fail("usage: bench_desktop BARE_PROGRAM APPLICATION [ROUNDS]");
  const int rounds = argc > 3 ? std::max(1, std::atoi(argv[3])) : 20;
  Display display;
  benchStart(display, "bare tray program", argv[1], rounds);
  benchStart(display, "softtoken", argv[2], rounds);
  benchPanel(display, argv[2], rounds);
}
