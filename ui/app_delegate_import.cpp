#include <memory>

#include "platform/qr_image.h"
#include "store/new_token.h"
#include "ui/app_delegate.h"
#include "ui/kit/alert.h"
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
  const auto parsed = tokenFromUrl(url);
  const auto plan = parsed.and_then([this](const auto& found) { return store_.plan(*found); });
  if (!plan) {
    simpleMessageBox(QString::fromStdString(plan.error().words));
    return;
  }
  const SoftTokenInfo* token = parsed->get();
  const QString question =
      QStringLiteral("Add the token \"%1\", with a new passcode every %2 seconds?")
          .arg(QString::fromStdString(token->currentDescription().value_or("")))
          .arg(token->period);
  const QString warning = QStringLiteral("\n\nIt replaces the token of that name.");
  if (Alert::ask(alertParent(), plan->replaces ? question + warning : question) !=
      Alert::Result::alternate_return) {
    return;
  }
  const auto added = store_.add(*token, TokenStore::SameName::replace);
  if (!added) {
    simpleMessageBox(QString::fromStdString(added.error().words));
    return;
  }
  if (added->response) rvcode->setText(QString::fromStdString(*added->response));
  SoftTokenWindow* next = added->response ? rv : tv;
  if (bOpen) {
    switchViewfrom(ow, next);
  } else {
    openWindow(next, -1, -1, true);
  }
}

}  // namespace talvane
