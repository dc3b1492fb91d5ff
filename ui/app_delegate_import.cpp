#include <memory>

#include "platform/new_token.h"
#include "platform/qr_image.h"
#include "ui/alert.h"
#include "ui/app_delegate.h"
#include "ui/start.h"

namespace talvane {

void SoftTokenOSXAppDelegate::perform(const QString& request) {
  const QLatin1String open(request::open);
  if (request == QLatin1String(request::quit)) {
    menuExit();
  } else if (request.startsWith(open)) {
    importLink(request.mid(open.size()));
  } else {
    iconClicked();
  }
}

void SoftTokenOSXAppDelegate::importLink(const QString& link) {
  if (Alert::isOpen()) return;
  loadInterface();
  offerToken(link.trimmed().toStdString());
}

void SoftTokenOSXAppDelegate::importPicture(const QString& path) {
  if (Alert::isOpen()) return;
  loadInterface();
  if (!mayAddTokens()) return;
  const QrImage image = readQrImage(path.toStdString());
  if (!image.error.empty()) {
    simpleMessageBox(QString::fromStdString(image.error));
    return;
  }
  offerToken(image.text.get());
}

bool SoftTokenOSXAppDelegate::mayAddTokens() {
  if (ini.bAllowManual) return true;
  simpleMessageBox(
      QStringLiteral("Tokens may not be added this way here: the setting AllowManual is off. Your "
                     "administrator can tell you how to get a token"));
  return false;
}

void SoftTokenOSXAppDelegate::offerToken(const std::string& url) {
  if (!mayAddTokens()) return;
  std::unique_ptr<SoftTokenInfo> token;
  AuthUrlProblem problem = AuthUrlProblem::none;
  if (!vane::ParseAuthUrl(url, &token, &problem)) {
    simpleMessageBox(QString::fromStdString(wordsFor(problem)));
    return;
  }
  if (const auto wrong = problemWithNames(*token)) {
    simpleMessageBox(QString::fromStdString(*wrong));
    return;
  }
  vane::TokenArray stored;
  const std::int32_t count = vane::ReadAllTokens(stored);
  bool replaces = false;
  for (std::int32_t i = 0; i < count; ++i) {
    replaces = replaces || stored[static_cast<std::size_t>(i)]->originalDescription() ==
                               token->originalDescription();
  }
  const QString question =
      QStringLiteral("Add the token \"%1\", with a new passcode every %2 seconds?")
          .arg(QString::fromStdString(token->currentDescription().value_or("")))
          .arg(token->period);
  const QString warning = QStringLiteral("\n\nIt replaces the token of that name.");
  if (Alert::ask(alertParent(), replaces ? question + warning : question) !=
      Alert::Result::alternate_return) {
    return;
  }
  const NewTokenResult result = storeToken(*token);
  if (result.kind != NewTokenResult::Kind::stored) {
    simpleMessageBox(QString::fromStdString(result.error));
    return;
  }
  if (result.response) rvcode->setText(QString::fromStdString(*result.response));
  SoftTokenWindow* next = result.response ? rv : tv;
  if (bOpen) {
    switchViewfrom(ow, next);
  } else {
    openWindow(next, -1, -1, true);
  }
}

}  // namespace talvane
