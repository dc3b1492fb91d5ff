#include <algorithm>

#include "engine/text.h"
#include "ui/app_delegate.h"
#include "ui/kit/alert.h"

namespace talvane {
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
  StoredTokens seen;
  for (std::int32_t n = 0; n < TOKENS; ++n) {
    seen.list.push_back(std::make_unique<SoftTokenInfo>(*TOKEN[static_cast<std::size_t>(n)]));
  }
  const auto removed = store_.remove(selected, seen);
  return removed ? std::string() : removed.error().words;
}

void SoftTokenOSXAppDelegate::cv_homeclicked() {
  vane::log("CV : homeclicked: begin");
  const std::string trouble = saveDescriptions();
  if (trouble.empty()) {
    switchViewfrom(cv, tv);
  } else {
    // What was typed stays in the fields.
    simpleMessageBox(QString::fromStdString(trouble));
  }
  vane::log("CV : homeclicked: end");
}

// What went wrong, for the user. A name that another program gave in the meantime stays where the
// user typed none.
std::string SoftTokenOSXAppDelegate::saveDescriptions() {
  std::vector<TokenStore::Rename> renames;
  for (std::int32_t n = 0; n < TOKENS; ++n) {
    const auto i = static_cast<std::size_t>(n);
    const std::string text = i < cvdesc.size() ? cvdesc[i]->text().toStdString() : std::string();
    if (i >= cvdesc.size() || TOKEN[i]->currentDescription().value_or("") == text) {
      vane::log("CV : homeclicked: [{}] nothing to do", n);
      continue;
    }
    vane::log("CV : homeclicked: [{}] updating desc...", n);
    renames.push_back({n, TOKEN[i].get(), text});
  }
  if (TOKENS < vane::max_tokens) vane::log("CV : homeclicked: [{}] not found", TOKENS);
  if (renames.empty()) return {};
  const auto renamed = store_.rename(renames);
  return renamed ? std::string() : renamed.error().words;
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
  const auto added = store_.add(token, TokenStore::SameName::replace);
  if (!added) {
    vane::log("MV : okclicked: NewToken returned error: {}", added.error().words);
    simpleMessageBox(QString::fromStdString(added.error().words));
    return;
  }
  if (length == 13) {
    if (!added->response) {
      vane::log("MV : okclicked: response nil!");
      return;
    }
    vane::log("MV : okclicked: response: {}", *added->response);
    forget(*mvseed);
    rvcode->setText(QString::fromStdString(*added->response));
    switchViewfrom(mv, rv);
    return;
  }
  vane::log("MV : okclicked: NewToken success: 16 digit seed, returning to tv");
  forget(*mvseed);
  switchViewfrom(mv, tv);
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
