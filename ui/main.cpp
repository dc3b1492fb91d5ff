#include <signal.h>
#include <unistd.h>
#include <QApplication>
#include <QDesktopServices>
#include <QFileOpenEvent>
#include <QLibraryInfo>
#include <QTimer>
#include <QTranslator>
#include <QUrl>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "config/ini.h"
#include "config/read_settings.h"
#include "engine/vane.h"
#include "platform/core_dumps.h"
#include "platform/device_identifiers.h"
#include "platform/folders.h"
#include "platform/keychain_service.h"
#include "platform/keychains.h"
#include "platform/login_item.h"
#include "platform/running_program.h"
#include "platform/translation.h"
#include "platform/url_loading.h"
#include "platform/user_defaults.h"
#include "store/problem.h"
#include "ui/app_delegate.h"
#include "ui/desktop/animations.h"
#include "ui/desktop/desktop_search.h"
#include "ui/desktop/display.h"
#include "ui/desktop/instance_channel.h"
#include "ui/desktop/notification.h"
#include "ui/desktop/session_bus.h"
#include "ui/desktop/shortcut_choice.h"
#include "ui/desktop/status_icon.h"
#include "ui/desktop/system_shortcut.h"
#include "ui/desktop/tray.h"
#include "ui/kit/product.h"
#include "ui/kit/style.h"
#include "ui/kit/ui_text.h"
#include "ui/start.h"
#include "ui/wait/background_thread.h"
#include "ui/wait/keychain_in_background.h"
#include "ui/wait/url_loader_in_background.h"
#include "ui/wait/wait.h"

namespace talvane {
namespace {

constexpr int exit_failed = 1;
constexpr int exit_usage = 2;

// Until the program that serves only the search ends, after the last question. A passcode that it
// has copied has expired then.
constexpr std::chrono::minutes patience_in_background{2};

class Application final : public QApplication {
 public:
  Application(int& argc, char** argv) : QApplication(argc, argv) {
    out_of_memory_.setSingleShot(true);
    connect(&out_of_memory_, &QTimer::timeout, this, [this] {
      if (ranOutOfMemory) ranOutOfMemory();
    });
  }
  std::function<void(const QString& link)> opened;
  std::function<void()> ranOutOfMemory;

 private:
  // An action that gets no memory is left where it was, and the user is told when it is over.
  bool notify(QObject* receiver, QEvent* event) override {
    try {
      return QApplication::notify(receiver, event);
    } catch (const std::bad_alloc&) {
      out_of_memory_.start(0);
      return false;
    }
  }

  // On macOS a link that the user opens arrives as an event, also in a running program.
  bool event(QEvent* event) override {
    if (event->type() != QEvent::FileOpen || !opened) return QApplication::event(event);
    opened(static_cast<QFileOpenEvent*>(event)->url().toString(QUrl::FullyEncoded));
    return true;
  }

  QTimer out_of_memory_;
};

int fail(const std::string& error) {
  std::fprintf(stderr, "softtoken: %s\n", error.c_str());
  return exit_failed;
}

/// Passes the request to the running program. Returns the exit status.
int handOver(const InstanceChannel& channel, const QString& request) {
  if (!channel.error().empty()) return fail(channel.error());
  if (channel.send(request)) return 0;
  return fail(
      translated("Already running, but not responding; end the program and start it again"));
}

Tray::Texts menuTexts(const Ini& ini) {
  return {QString::fromStdString(ini.StrMenuOpen), uiText("Close"),
          QString::fromStdString(ini.StrMenuAdd), QString::fromStdString(ini.StrButtonHelp),
          QString::fromStdString(ini.StrMenuExit)};
}

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

/// What the command line can find out of this program.
ProgramFacts factsOf(const Ini& ini, const Tray& tray) {
  ProgramFacts facts{{"pid", std::to_string(getpid())},
                     {"version", product::version},
                     {"qt", qVersion()},
                     {"platform", QGuiApplication::platformName().toStdString()},
                     {"desktop", variable("XDG_CURRENT_DESKTOP")},
                     {"session", variable("XDG_SESSION_TYPE")},
                     {"tray", tray.isShown() ? "shown" : "none"}};
  for (const auto& [key, value] : ini.written()) facts[setting_fact + key] = value;
  return facts;
}

std::vector<std::string> recordNames() {
  std::vector<std::string> names;
  for (std::uint32_t slot = 0; slot < vane::max_tokens; ++slot) {
    names.push_back(vane::recordName(slot));
  }
  return names;
}

/// `idle` runs only while the program serves nothing but the search.
SearchSource searchSource(SoftTokenOSXAppDelegate& delegate, QTimer& idle) {
  const auto used = [&idle] {
    if (idle.isActive()) idle.start();
  };
  return {[&delegate, used](const std::string& query, auto found) {
            used();
            delegate.findNames(query, std::move(found));
          },
          [&delegate, used](const std::string& name) {
            used();
            delegate.copyByName(name);
          },
          [&delegate] { delegate.showPanel(); }};
}

/// Runs as the first program, until the user quits it.
int stay(int argc, char** argv, const StartOptions& options, InstanceChannel& channel) {
  std::optional<SilentBusGuard> bus(std::in_place);
  Application application(argc, argv);
  bus.reset();
  QApplication::setApplicationName(QStringLiteral("Talvane Soft Token"));
  QApplication::setApplicationVersion(QLatin1String(product::version));
  QGuiApplication::setDesktopFileName(QStringLiteral("softtoken"));
  QApplication::setQuitOnLastWindowClosed(false);
  applyLook();
  // The toolkit's own texts, such as the menus of fields, where they are installed.
  QTranslator toolkit;
  if (const std::string language(userLanguage());
      !language.empty() &&
      toolkit.load(QStringLiteral("qtbase_") + QString::fromStdString(language),
                   QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
    QApplication::installTranslator(&toolkit);
  }

  const auto defaults = systemUserDefaults();
  const auto identifiers = systemDeviceIdentifiers();
  const auto user_keychain = makeLazyUserKeychain(*defaults, MayAsk::yes);
  BackgroundThread keychain_thread;
  KeychainInBackground keychain(*user_keychain, keychain_thread);
  Ini ini(*defaults);
  Tray* tray = nullptr;
  AppParts parts;
  parts.keychain = &keychain;
  parts.identifiers = identifiers.get();
  parts.defaults = defaults.get();
  parts.ini = &ini;
  parts.make_login_item = [] { return std::make_unique<talibobjc_LoginItem>(); };
  parts.open_url = [](const QString& address) { QDesktopServices::openUrl(QUrl(address)); };
  parts.notify = [](const QString& text) { notify(text); };
  parts.show_status_item = [&tray, &ini, &channel] {
    tray->show(menuTexts(ini), ini.bAllowManual || ini.bAllowTaEnrol);
    prepareAnimations();
    channel.tell(factsOf(ini, *tray));
  };
  parts.item_place = [&tray] { return tray->place(); };
  parts.panel_turned = [&tray, &ini, &channel](bool open) {
    tray->setOpen(open);
    if (!open) channel.tell(factsOf(ini, *tray));
  };
  parts.make_loader = [](std::string* error) -> std::unique_ptr<UrlLoader> {
    auto loader = makeUrlLoader(error);
    if (loader == nullptr) return nullptr;
    return std::make_unique<UrlLoaderInBackground>(std::move(loader));
  };
  parts.blocking = [&keychain_thread](std::function<void()> work) {
    return Wait::run(keychain_thread, std::move(work), Wait::For::change);
  };
  parts.trace_path = trace_path;
  parts.console = options.console;
  std::function<void()> pressed;
  ShortcutChoice shortcut(*defaults, systemGlobalShortcut([&pressed] { pressed(); }));
  parts.shortcut = &shortcut;
  parts.read_ahead = [&keychain, &identifiers](QObject* context,
                                               std::function<void(bool readable)> work) {
    keychain.readAhead(context, recordNames(), identifiers->read().login_name, std::move(work));
  };
  parts.in_background = options.request == QLatin1String(request::background);
  QTimer idle;
  idle.setSingleShot(true);
  idle.setInterval(patience_in_background);
  QObject::connect(&idle, &QTimer::timeout, [] { QApplication::quit(); });
  if (parts.in_background) idle.start();
  parts.came_forward = [&idle] { idle.stop(); };
  SoftTokenOSXAppDelegate delegate(std::move(parts));
  pressed = [&delegate] { delegate.iconClicked(); };
  Tray status_item(
      statusIcon(),
      {[&delegate] { delegate.iconClicked(); }, [&delegate] { delegate.iconDoubleClicked(); },
       [&delegate] { delegate.menuOpen(); }, [&delegate] { delegate.menuAdd(); },
       [&delegate] { delegate.menuHelp(); }, [&delegate] { delegate.menuExit(); }});
  tray = &status_item;

  application.opened = [&delegate](const QString& link) { delegate.importLink(link); };
  application.ranOutOfMemory = [&delegate] {
    delegate.simpleMessageBox(uiText(not_enough_memory));
  };
  std::unique_ptr<DesktopSearch> search;
  channel.received = [&delegate](const QString& what) { delegate.perform(what); };
  channel.listen();
  // In the event loop, so that a request to quit also closes the first question.
  QTimer::singleShot(0, &delegate, [&] {
    delegate.applicationDidFinishLaunching();
    if (ini.bAllowSearch) search = serveDesktopSearch(searchSource(delegate, idle));
    if (options.request == QLatin1String(request::background)) {
      if (search == nullptr) QApplication::quit();
      return;
    }
    // Before the first click, so that it opens the panel at once.
    QTimer::singleShot(0, &delegate, [&delegate] { delegate.loadInterface(); });
    if (options.request != QLatin1String(request::start)) delegate.perform(options.request);
  });
  const int exit_code = QApplication::exec();
  if (keychain_thread.isBusy()) {
    // A keychain that does not answer must not delay the end.
    channel.close();
    std::_Exit(exit_code);
  }
  return exit_code;
}

int run(int argc, char** argv) {
  const StartOptions options = readOptions(argc, argv);
  if (!options.output.empty()) {
    std::fputs(options.output.c_str(), options.failed ? stderr : stdout);
    return options.failed ? exit_usage : 0;
  }
  if (executablePath().empty()) return fail(own_path_unknown);
  // A peer that closes its end must not kill this program.
  std::signal(SIGPIPE, SIG_IGN);
  InstanceChannel channel(displayName());
  if (!channel.becomeFirst()) return handOver(channel, options.request);
  if (options.request == QLatin1String(request::quit)) return 0;
  if (const std::string error = prepareDisplay(); !error.empty()) return fail(error);
  return stay(argc, argv, options, channel);
}

}  // namespace
}  // namespace talvane

int main(int argc, char** argv) {
  talvane::forbidCoreDumps();
  return talvane::run(argc, argv);
}
