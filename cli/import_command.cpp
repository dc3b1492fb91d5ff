#include <memory>

#include "cli/add_token.h"
#include "cli/command.h"
#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "cli/first_token.h"
#include "cli/session.h"
#include "cli/terminal.h"
#include "engine/cleared.h"
#include "engine/text.h"
#include "platform/qr_image.h"
#include "platform/translation.h"
#include "store/new_token.h"

namespace talvane {
namespace {

class ImportCommand final : public Command {
 public:
  CLI::App* addTo(CLI::App& line) override {
    CLI::App* parser = line.add_subcommand(
        "import", "Add a token from an otpauth:// URL or from the QR code in an image");
    parser
        ->add_option("source", source_,
                     "A PNG or JPEG file, a URL, or - to read a URL from standard input; while the "
                     "command runs, others on this computer can see a URL given here")
        ->default_str("-")
        ->type_name("URL|FILE");
    parser->add_flag("--replace", replace_,
                     "Replace the token that was created under the same name");
    return parser;
  }

  void run(Session& session) override {
    requireManual(session.settings());
    session.gateway();
    const auto token = tokenFromUrl(url().get());
    if (!token) throw failureOf(token.error());
    addToken(session, **token, replace_);
  }

 private:
  Cleared<std::string> url() {
    if (source_.empty())
      throw Failure(exit_usage, "The argument is empty; give a URL or an image file");
    if (source_ == "-") {
      const Cleared<std::string> line = readLine(marked("otpauth URL (not shown): "), true);
      return trimmed(line.get());  // copied from a page or a mail
    }
    if (source_.find("://") != std::string::npos) return source_;
    QrImage image = readQrImage(source_);
    if (!image.error.empty()) throw Failure(exit_failed, image.error);
    return image.text;
  }

  std::string source_ = "-";
  bool replace_ = false;
};

}  // namespace

std::unique_ptr<Command> makeImportCommand() {
  return std::make_unique<ImportCommand>();
}

}  // namespace talvane
