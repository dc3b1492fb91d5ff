#include "ui/start.h"

#include <QCommandLineParser>
#include <QStringList>

#include "platform/translation.h"
#include "ui/kit/product.h"
#include "ui/kit/ui_text.h"

namespace talvane {
StartOptions readOptions(int argc, char** argv) {
  QStringList arguments;
  for (int i = 0; i < argc; ++i) arguments.append(QString::fromLocal8Bit(argv[i]));
  QCommandLineParser parser;
  parser.setApplicationDescription(
      uiText("Shows your one-time passcodes from the status area. If the program is already "
             "running, a second\nstart opens or closes its panel."));
  const QCommandLineOption toggle(QStringLiteral("toggle"), uiText("Open or close the panel."));
  const QCommandLineOption background(
      QStringLiteral("background"),
      uiText("Only serve the desktop's search, until another start."));
  const QCommandLineOption quit(QStringLiteral("quit"), uiText("Quit the running program."));
  const QCommandLineOption quiet(QStringLiteral("no-console-log"),
                                 uiText("Do not write the log to standard error; it holds seeds."));
  const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")},
                                   uiText("Print the version and exit."));
  const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                uiText("Print this help and exit."));
  parser.addOptions({toggle, background, quit, quiet, version, help});
  parser.addPositionalArgument(QStringLiteral("link"),
                               uiText("An otpauth:// link to add as a token, after asking."),
                               QStringLiteral("[link]"));
  StartOptions options;
  const bool parsed = parser.parse(arguments);
  const QStringList links = parser.positionalArguments();
  const int wishes = static_cast<int>(links.size()) + parser.isSet(toggle) +
                     parser.isSet(background) + parser.isSet(quit);
  if (!parsed || wishes > 1) {
    options.failed = true;
    options.output =
        "softtoken: " +
        (parsed ? translated("Give only one of --toggle, --background, --quit and a link")
                : parser.errorText().toStdString()) +
        translated("; see `softtoken --help`") + "\n";
    return options;
  }
  if (parser.isSet(help)) {
    const std::string text = parser.helpText().toStdString();
    options.output = translated("Usage: softtoken [options] [link]") + text.substr(text.find('\n'));
  }
  if (parser.isSet(version)) {
    options.output = std::string("softtoken ") + product::version + "\n";
  }
  options.console = !parser.isSet(quiet);
  if (parser.isSet(toggle)) options.request = QLatin1String(request::toggle);
  if (parser.isSet(background)) options.request = QLatin1String(request::background);
  if (parser.isSet(quit)) options.request = QLatin1String(request::quit);
  if (!links.isEmpty()) options.request = QLatin1String(request::open) + links.front();
  return options;
}

}  // namespace talvane
