#include <algorithm>

#include "engine/text.h"
#include "platform/new_token.h"
#include "platform/store_change.h"
#include "platform/token_deletion.h"
#include "ui/alert.h"
#include "ui/app_delegate.h"

namespace talvane {
namespace {

bool isSameToken(const SoftTokenInfo& a, const SoftTokenInfo& b) {
  return a.originalDescription() == b.originalDescription() && a.seed32 && b.seed32 &&
         a.seed32->get() == b.seed32->get();
}

}  // namespace

void SoftTokenOSXAppDelegate::clearManagementRows() {
  cvdesc.clear();
  cvdelete.clear();
  delete cvview;
  cvview = nullptr;
}

void SoftTokenOSXAppDelegate::cv_init() {
  vane::log("CV : init: begin");
  clearManagementRows();
  cvview = new FlippedView(withoutBands(frameOf(cv->contentView()->geometry())), cv->contentView());
  if (TOKENS == 0) {
    QMetaObject::invokeMethod(
        this, [this] { cvtv(); }, Qt::QueuedConnection);
    return;
  }
  QWidget* before = close;
  for (std::int32_t i = 0; i < TOKENS; ++i) {
    vane::log("CV : init: loop start [{}]", i);
    const QString name = QString::fromStdString(
        TOKEN[static_cast<std::size_t>(i)]->currentDescription().value_or(""));
    auto* field = new PanelField(cvview);
    field->setText(name);
    field->setGeometry(rectangle(managementFieldFrame(i)));
    field->setAlignment(Qt::AlignCenter);
    field->setAccessibleName(QStringLiteral("Description: ") + name);
    field->setCursorPosition(0);
    cvdesc.push_back(field);

    auto* checkbox = new PanelCheckbox(cvview);
    checkbox->setGeometry(rectangle(managementCheckboxFrame(i)));
    checkbox->setAccessibleName(QString::fromStdString(ini.StrButtonDelete) + QStringLiteral(": ") +
                                name);
    checkbox->setToolTip(checkbox->accessibleName().toHtmlEscaped());
    cvdelete.push_back(checkbox);
    for (QWidget* control : {static_cast<QWidget*>(field), static_cast<QWidget*>(checkbox)}) {
      QWidget::setTabOrder(before, control);
      before = control;
    }
  }
  cvview->show();
  cvtrash->setText(QString::fromStdString(ini.StrButtonDelete));
  cvhome->setText(QString::fromStdString(ini.StrButtonHome));
  cvadd->setText(QString::fromStdString(ini.StrButtonAdd));
  positionToolbarLeft(cvtrash);
  positionToolbarCentre(cvhome);
  positionToolbarRight(cvadd);
  QWidget::setTabOrder(before, cvtrash);
  cvdesc.front()->setFocus();
  vane::log("CV : init: end");
}

void SoftTokenOSXAppDelegate::cv_trashclicked() {
  vane::log("CV : trashclicked: begin");
  vane::log("CV : trashclicked: cvdelete item count:{}", cvdelete.size());
  std::array<std::uint8_t, vane::max_tokens> selected{};
  for (std::size_t i = 0; i < cvdelete.size() && i < selected.size(); ++i) {
    switch (cvdelete[i]->checkState()) {
      case Qt::Checked:
        selected[i] = 1;
        vane::log("CV : trashclicked: [{:02}] on\n", i);
        break;
      case Qt::Unchecked:
        vane::log("CV : trashclicked: [{:02}] off\n", i);
        break;
      case Qt::PartiallyChecked:
        vane::log("CV : trashclicked: [{:02}] unknown state\n", i);
        break;
    }
  }
  if (std::count(selected.begin(), selected.end(), 1) == 0) {
    simpleMessageBox(QString::fromStdString(ini.StrDeletePleaseSelect));
    vane::log("CV : trashclicked: end");
    return;
  }
  const Alert::Result result =
      Alert::ask(alertParent(), QString::fromStdString(ini.StrDeleteAreYouSure));
  if (result == Alert::Result::alternate_return) {
    vane::log("CV : trashclicked: delete tokens confirmation returned YES");
    if (const std::string words = deleteTokens(selected); !words.empty()) {
      simpleMessageBox(QString::fromStdString(words));
    }
    QMetaObject::invokeMethod(
        this,
        [this] {
          if (ow == cv) refreshView(cv);
        },
        Qt::QueuedConnection);
  } else if (result == Alert::Result::default_return) {
    vane::log("CV : trashclicked: delete tokens confirmation returned NO");
  } else {
    vane::log("CV : trashclicked: delete tokens confirmation returned unexpected value:{}",
              static_cast<int>(result));
  }
  vane::log("CV : trashclicked: end");
}

// What went wrong, for the user, who is told when others may change the store again.
std::string SoftTokenOSXAppDelegate::deleteTokens(
    const std::array<std::uint8_t, vane::max_tokens>& selected) {
  StoreChange change(*parts_.keychain);
  if (!change.begun()) return change.error();
  // What was confirmed is what the user saw: another program may have moved the slots meanwhile.
  vane::TokenArray stored;
  const std::int32_t count = vane::ReadAllTokens(stored);
  if (std::string trouble = readingTrouble(count); !trouble.empty()) return trouble;
  for (std::int32_t n = 0; n < TOKENS; ++n) {
    const auto i = static_cast<std::size_t>(n);
    if (n < count && isSameToken(*stored[i], *TOKEN[i])) continue;
    return "The tokens have changed meanwhile; nothing was deleted";
  }
  if (auto problem = deleteStoredTokens(gateway_, selected)) return *problem;
  return change.finish() ? std::string() : change.error();
}

void SoftTokenOSXAppDelegate::cv_homeclicked() {
  vane::log("CV : homeclicked: begin");
  std::string trouble;
  {
    StoreChange change(*parts_.keychain);
    if (change.begun()) {
      saveDescriptions();
      static_cast<void>(change.finish());
    } else {
      trouble = change.error();
    }
  }
  if (trouble.empty()) {
    switchViewfrom(cv, tv);
  } else {
    // What was typed stays in the fields.
    simpleMessageBox(QString::fromStdString(trouble));
  }
  vane::log("CV : homeclicked: end");
}

void SoftTokenOSXAppDelegate::saveDescriptions() {
  for (std::uint32_t n = 0; n < vane::max_tokens; ++n) {
    std::unique_ptr<SoftTokenInfo> token;
    if (!vane::ReadToken(n, &token)) {
      vane::log("CV : homeclicked: [{}] not found", n);
      return;
    }
    const bool shown = n < cvdesc.size() && TOKEN[n] != nullptr && isSameToken(*token, *TOKEN[n]);
    const std::string text =
        shown ? cvdesc[n]->text().toStdString() : token->currentDescription().value_or("");
    // A name that another program gave meanwhile stays where the user typed none.
    const bool typed = shown && TOKEN[n]->currentDescription().value_or("") != text;
    if (!typed || token->currentDescription().value_or("") == text) {
      vane::log("CV : homeclicked: [{}] nothing to do", n);
      continue;
    }
    vane::log("CV : homeclicked: [{}] updating desc...", n);
    token->updateDescription(text);
    auto index = static_cast<std::int32_t>(n);
    static_cast<void>(vane::WriteToken(&index, *token));
  }
}

void SoftTokenOSXAppDelegate::cv_addclicked() {
  vane::log("CV : addclicked: begin");
  addclicked(cv);
  vane::log("CV : addclicked: end");
}

void SoftTokenOSXAppDelegate::av_init() {
  vane::log("AV : init: begin");
  positionToolbarLeft(avcancel);
  avenrol->setFocus();
  vane::log("AV : init: end");
}

void SoftTokenOSXAppDelegate::av_enrolclicked() {
  vane::log("AV : enrolclicked: begin");
  switchViewfrom(av, eva);
  vane::log("AV : enrolclicked: end");
}

void SoftTokenOSXAppDelegate::av_manualclicked() {
  vane::log("AV : manualclicked: begin");
  switchViewfrom(av, mv);
  vane::log("AV : manualclicked: end");
}

void SoftTokenOSXAppDelegate::av_cancelclicked() {
  vane::log("AV : cancelclicked: begin");
  switchViewfrom(av, tv);
  vane::log("AV : cancelclicked: end");
}

void SoftTokenOSXAppDelegate::mv_init() {
  vane::log("MV : init: begin");
  mvdesclabel->showText(QString::fromStdString(ini.StrManualDesc));
  mvseedlabel->showText(QString::fromStdString(ini.StrManualSeed));
  mvdesclabel->setTextColour(Qt::white);
  mvseedlabel->setTextColour(Qt::white);
  forget(*mvdesc);
  forget(*mvseed);
  positionToolbarLeft(mvcancel);
  positionToolbarRight(mvok);
  mvdesc->setFocus();
  vane::log("MV : init: end");
}

void SoftTokenOSXAppDelegate::mv_okclicked() {
  vane::log("MV : okclicked: begin");
  createTypedToken();
  vane::log("MV : okclicked: end");
}

void SoftTokenOSXAppDelegate::createTypedToken() {
  const std::string desc = mvdesc->text().toStdString();
  const Cleared<std::string> seed = mvseed->text().toStdString();
  if (desc.empty()) {
    vane::log("MV : okclicked: aborted :desc empty");
    simpleMessageBox(QString::fromStdString(ini.StrManualDesc));
    return;
  }
  const std::size_t length = utf16Length(seed.get());
  if (length != 13 && length != 16) {
    vane::log("MV : okclicked: aborted :seed length wrong: ({})", length);
    simpleMessageBox(QString::fromStdString(ini.StrManualSeed));
    return;
  }
  SoftTokenInfo token;
  token.updateDescription(desc);
  token.seed32 = seed;
  token.type = 1;
  token.digits = 6;
  token.period = 30;
  token.counter = -1;
  const NewTokenResult result = storeToken(token);
  if (result.kind != NewTokenResult::Kind::stored) {
    vane::log("MV : okclicked: NewToken returned error: {}", result.error);
    simpleMessageBox(QString::fromStdString(result.error));
    return;
  }
  if (length == 13) {
    if (!result.response) {
      vane::log("MV : okclicked: response nil!");
      return;
    }
    vane::log("MV : okclicked: response: {}", *result.response);
    forget(*mvseed);
    rvcode->setText(QString::fromStdString(*result.response));
    switchViewfrom(mv, rv);
    return;
  }
  vane::log("MV : okclicked: NewToken success: 16 digit seed, returning to tv");
  forget(*mvseed);
  switchViewfrom(mv, tv);
}

NewTokenResult SoftTokenOSXAppDelegate::storeToken(const SoftTokenInfo& token) {
  NewTokenResult result;
  if (const auto problem = problemWithNames(token)) {
    result.kind = NewTokenResult::Kind::refused;
    result.error = *problem;
    return result;
  }
  StoreChange change(*parts_.keychain);
  if (change.begun()) {
    result = storeNewToken(gateway_, token);
    if (result.kind != NewTokenResult::Kind::stored || change.finish()) return result;
  }
  result.kind = NewTokenResult::Kind::keychain;
  result.error = change.error();
  return result;
}

void SoftTokenOSXAppDelegate::mv_cancelclicked() {
  vane::log("MV : cancelclicked: begin");
  switchViewfrom(mv, ini.bAllowTaEnrol ? av : tv);
  vane::log("MV : cancelclicked: end");
}

void SoftTokenOSXAppDelegate::rv_init() {
  vane::log("RV : init: begin");
  positionToolbarLeft(rvok);
  rvok->setFocus();
  vane::log("RV : init: end");
}

void SoftTokenOSXAppDelegate::rv_okclicked() {
  vane::log("RV : okclicked: begin");
  switchViewfrom(rv, tv);
  vane::log("RV : okclicked: end");
}

}  // namespace talvane
