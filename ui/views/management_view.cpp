#include "ui/views/management_view.h"

#include <QKeyEvent>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "config/ini.h"
#include "engine/soft_token_info.h"
#include "engine/vane.h"
#include "platform/translation.h"
#include "store/stored_tokens.h"
#include "store/token_store.h"
#include "ui/kit/accessible.h"
#include "ui/kit/alert.h"
#include "ui/kit/fields.h"
#include "ui/kit/flipped_view.h"
#include "ui/kit/hover_text.h"
#include "ui/kit/look.h"
#include "ui/kit/ui_text.h"
#include "ui/panel/panel.h"
#include "ui/panel/panel_geometry.h"
#include "ui/panel/view.h"
#include "ui/views/response_view.h"
#include "ui/views/shell.h"
#include "ui/wait/wait.h"

namespace talvane {

ManagementView::ManagementView(Panel& panel, Shell& shell, const Ini& ini, TokenStore& store,
                               ResponseView& response)
    : View("cv", managementViewHeight(0)),
      panel_(panel),
      shell_(shell),
      ini_(ini),
      store_(store),
      response_(response) {
  load(form_);
  setTitle(uiText("Edit tokens"));
  onClick(form_.cvtrash, [this] { cv_trashclicked(); });
  onClick(form_.cvhome, [this] { cv_homeclicked(); });
  onClick(form_.cvadd, [this] { cv_addclicked(); });
}

int ManagementView::height() {
  const int height = managementViewHeight(panel_.tokens().deletable());
  vane::log("APP: openWindow: calculated cv height: {}", height);
  return height;
}

std::vector<QWidget*> ManagementView::rows() const {
  std::vector<QWidget*> result(cvdesc.begin(), cvdesc.end());
  if (cvobstacle != nullptr) result.push_back(cvobstacle);
  return result;
}

void ManagementView::clearRows() {
  Panel::ClearViewArray(cvdesc);
  Panel::ClearViewArray(cvdelete);
  Panel::ClearViewArray(response_buttons_);
  delete std::exchange(cvobstacle, nullptr);
  delete std::exchange(cvview, nullptr);
}

void ManagementView::cv_init() {
  vane::log("CV : init: begin");
  clearRows();
  save_failed_ = false;
  cvview = new FlippedView(withoutBands(frameOf(panel_.form()->rect())), panel_.form());
  cvview->setObjectName(QStringLiteral("cvview"));
  if (panel_.tokens().deletable() == 0) {
    Wait::later(&panel_, [this] { panel_.cvtv(); });
    return;
  }
  const int count = panel_.tokens().count();
  for (int i = 0; i < count; ++i) addRow(i);
  if (const auto& obstacle = panel_.tokens().stored().obstacle) addObstacleRow(count, *obstacle);
  cvview->show();
  form_.cvtrash->setText(QString::fromStdString(ini_.StrButtonDelete));
  form_.cvhome->setText(QString::fromStdString(ini_.StrButtonHome));
  form_.cvadd->setText(QString::fromStdString(ini_.StrButtonAdd));
  panel_.positionToolbarLeft(form_.cvtrash);
  panel_.positionToolbarCentre(form_.cvhome);
  panel_.positionToolbarRight(form_.cvadd);
  setTabOrder();
  rows().front()->setFocus();
  vane::log("CV : init: end");
}

void ManagementView::addRow(int index) {
  vane::log("CV : init: loop start [{}]", index);
  const SoftTokenInfo& token = *panel_.tokens().stored().list[static_cast<std::size_t>(index)];
  const QString name = QString::fromStdString(token.currentDescription().value_or(""));
  auto* field = new PanelField(cvview);
  field->setObjectName(QStringLiteral("cvdesc"));
  field->setText(name);
  field->setGeometry(rectangle(managementFieldFrame(index)));
  field->setAlignment(Qt::AlignCenter);
  field->setAccessibleName(uiText("Description: ") + name);
  field->setCursorPosition(0);
  QObject::connect(field, &QLineEdit::textEdited, window(), [this] { save_failed_ = false; });
  cvdesc.push_back(field);

  addCheckbox(index, name);
  addResponseButton(index, name);
}

void ManagementView::addResponseButton(int index, const QString& name) {
  const auto row = static_cast<std::size_t>(index);
  response_buttons_.push_back(nullptr);
  if (!store_.hasResponse(*panel_.tokens().stored().list[row])) return;
  auto* shows = new PanelButton(cvview);
  shows->setObjectName(QStringLiteral("cvresponse"));
  shows->setDress(PanelButton::Dress::tile);
  shows->setGeometry(rectangle(managementResponseFrame(index)));
  shows->setText(QStringLiteral("R"));
  setHoverText(*shows, uiText("Response code"));
  shows->setAccessibleName(
      QString::fromStdString(translatedWith("Response code: {}", name.toStdString())));
  onClick(shows, [this, row] { showResponse(row); });
  response_buttons_[row] = shows;
}

// What hides tokens has no name, but can be deleted.
void ManagementView::addObstacleRow(int index, const Obstacle& obstacle) {
  const QString name = QString::fromStdString(
      obstacle.kind == Obstacle::Kind::gap ? translatedWith("Slot {}: empty", obstacle.slot)
                                           : translatedWith("Slot {}: unreadable", obstacle.slot));
  cvobstacle = new PanelField(cvview);
  cvobstacle->setObjectName(QStringLiteral("cvobstacle"));
  cvobstacle->setText(name);
  cvobstacle->setReadOnly(true);
  cvobstacle->setGeometry(rectangle(managementFieldFrame(index)));
  cvobstacle->setAlignment(Qt::AlignCenter);
  cvobstacle->setAccessibleName(name);
  const QString words = QString::fromStdString(obstacle.words);
  cvobstacle->setAccessibleDescription(words);
  setHoverText(*cvobstacle, words);
  addCheckbox(index, name);
}

void ManagementView::addCheckbox(int index, const QString& name) {
  auto* checkbox = new PanelCheckbox(cvview);
  checkbox->setObjectName(QStringLiteral("cvdelete"));
  checkbox->setGeometry(rectangle(managementCheckboxFrame(index)));
  checkbox->setAccessibleName(QString::fromStdString(ini_.StrButtonDelete) + QStringLiteral(": ") +
                              name);
  setHoverText(*checkbox, checkbox->accessibleName());
  cvdelete.push_back(checkbox);
}

void ManagementView::setTabOrder() {
  QWidget* before = panel_.closeButton();
  const auto follow = [&before](QWidget* next) {
    QWidget::setTabOrder(before, next);
    before = next;
  };
  const std::vector<QWidget*> fields = rows();
  for (std::size_t i = 0; i < fields.size(); ++i) {
    follow(fields[i]);
    follow(cvdelete[i]);
    if (i < response_buttons_.size() && response_buttons_[i] != nullptr) {
      follow(response_buttons_[i]);
    }
  }
  follow(form_.cvtrash);
}

std::size_t ManagementView::slotOf(std::size_t row) const {
  const StoredTokens& stored = panel_.tokens().stored();
  return row < stored.list.size() || !stored.obstacle
             ? row
             : static_cast<std::size_t>(stored.obstacle->slot);
}

TokenStore::Selection ManagementView::selection() const {
  TokenStore::Selection selected{};
  for (std::size_t i = 0; i < cvdelete.size() && i < selected.size(); ++i) {
    switch (cvdelete[i]->checkState()) {
      case Qt::Checked:
        selected[slotOf(i)] = 1;
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
  return selected;
}

// A record that does not load is no token that the user knows.
QString ManagementView::deletionQuestion(const TokenStore::Selection& selected) const {
  QString question = QString::fromStdString(ini_.StrDeleteAreYouSure);
  const auto& obstacle = panel_.tokens().stored().obstacle;
  if (!obstacle || selected[static_cast<std::size_t>(obstacle->slot)] == 0) return question;
  return question + QStringLiteral("\n\n") +
         QString::fromStdString(
             obstacle->kind == Obstacle::Kind::gap
                 ? translatedWith("{}. Deleting it closes the gap and loses no token.",
                                  obstacle->words)
                 : translatedWith("{}. Deleting it cannot be undone.", obstacle->words));
}

void ManagementView::cv_trashclicked() {
  vane::log("CV : trashclicked: begin");
  vane::log("CV : trashclicked: cvdelete item count:{}", cvdelete.size());
  const TokenStore::Selection selected = selection();
  if (std::count(selected.begin(), selected.end(), 1) == 0) {
    shell_.simpleMessageBox(QString::fromStdString(ini_.StrDeletePleaseSelect));
    vane::log("CV : trashclicked: end");
    return;
  }
  const Alert::Result result = Alert::ask(panel_.alertSite(), deletionQuestion(selected));
  if (result == Alert::Result::alternate_return) {
    vane::log("CV : trashclicked: delete tokens confirmation returned YES");
    const auto deleted = store_.remove(selected, panel_.tokens().stored());
    if (!deleted) tell(deleted.error());
    // A failure keeps the selection and the typed names, unless the tokens have changed.
    if (deleted || deleted.error().next == Problem::Next::look_again) refreshLater();
  } else if (result == Alert::Result::default_return) {
    vane::log("CV : trashclicked: delete tokens confirmation returned NO");
  } else {
    vane::log("CV : trashclicked: delete tokens confirmation returned unexpected value:{}",
              static_cast<int>(result));
  }
  vane::log("CV : trashclicked: end");
}

void ManagementView::cv_homeclicked() {
  vane::log("CV : homeclicked: begin");
  if (saveNames()) panel_.switchViewfrom(window(), panel_.window("tv"));
  vane::log("CV : homeclicked: end");
}

// False: the user has been told why not. The names stay in the fields of the tokens that are left.
bool ManagementView::saveNames() {
  const std::vector<TokenStore::Rename> renames = typedNames();
  const auto renamed = renames.empty() ? Result<void>() : store_.rename(renames);
  if (renamed) return true;
  save_failed_ = true;
  tell(renamed.error());
  if (renamed.error().next == Problem::Next::look_again) refreshLater();
  return false;
}

// For the ways out that had nothing to save before.
bool ManagementView::saveTypedNames() {
  const bool has_typed = std::any_of(cvdesc.begin(), cvdesc.end(),
                                     [](const PanelField* field) { return field->isModified(); });
  return !has_typed || saveNames();
}

std::vector<TokenStore::Rename> ManagementView::typedNames() const {
  std::vector<TokenStore::Rename> renames;
  const auto& tokens = panel_.tokens().stored().list;
  for (std::size_t n = 0; n < cvdesc.size() && n < tokens.size(); ++n) {
    const std::string text = cvdesc[n]->text().toStdString();
    // A field may not be able to hold what is stored: only what was typed counts.
    if (!cvdesc[n]->isModified() || text == tokens[n]->currentDescription().value_or("")) {
      vane::log("CV : homeclicked: [{}] nothing to do", n);
      continue;
    }
    vane::log("CV : homeclicked: [{}] updating desc...", n);
    renames.push_back({static_cast<std::int32_t>(n), tokens[n].get(), text});
  }
  if (cvdesc.size() < vane::max_tokens) {
    vane::log("CV : homeclicked: [{}] not found", cvdesc.size());
  }
  return renames;
}

void ManagementView::showResponse(std::size_t row) {
  if (!saveTypedNames()) return;
  const auto response = store_.response(*panel_.tokens().stored().list[row]);
  if (!response) {
    tell(response.error());
    return;
  }
  response_.setCode(*response);
  panel_.switchViewfrom(window(), response_.window());
}

bool ManagementView::keyPressed(const QKeyEvent& event) {
  const bool is_up = event.key() == Qt::Key_Up;
  if (!is_up && event.key() != Qt::Key_Down) return false;
  // The row goes, and the key's event is still at its widgets.
  Wait::later(window(), [this, is_up] { moveRow(is_up ? -1 : 1); });
  return true;
}

void ManagementView::moveRow(int step) {
  if (panel_.openPanel() != window()) return;
  const QWidget* focus = window()->focusWidget();
  const auto rowIn = [focus](const auto& widgets) {
    const auto found = std::find(widgets.begin(), widgets.end(), focus);
    return found == widgets.end() ? -1 : static_cast<int>(found - widgets.begin());
  };
  if (focus == nullptr) return;
  const bool in_box = rowIn(cvdelete) >= 0;
  const int from = std::max({rowIn(cvdesc), rowIn(cvdelete), rowIn(response_buttons_)});
  const int to = from + step;
  const int count = panel_.tokens().count();
  if (from < 0 || from >= count || to < 0 || to >= count) return;
  const auto moved = store_.move(from, to, panel_.tokens().stored());
  if (!moved) {
    tell(moved.error());
    if (moved.error().next == Problem::Next::look_again) refreshLater();
    return;
  }
  if (panel_.openPanel() != window()) return;
  const std::vector<Draft> kept = drafts(Keep::names_and_checks);
  panel_.refreshView(window());
  if (panel_.openPanel() != window() || static_cast<std::size_t>(to) >= cvdesc.size()) return;
  restore(kept);
  const auto row = static_cast<std::size_t>(to);
  (in_box ? static_cast<QWidget*>(cvdelete[row]) : cvdesc[row])->setFocus();
  announce(*window(), QString::fromStdString(translatedWith(
                          "{}: place {} of {}", cvdesc[row]->text().toStdString(), to + 1, count)));
}

std::vector<ManagementView::Draft> ManagementView::drafts(Keep keep) const {
  std::vector<Draft> result;
  const auto& tokens = panel_.tokens().stored().list;
  for (std::size_t i = 0; i < cvdesc.size() && i < tokens.size(); ++i) {
    const bool checked = keep == Keep::names_and_checks && cvdelete[i]->isChecked();
    if (!cvdesc[i]->isModified() && !checked) continue;
    result.push_back({*tokens[i], cvdesc[i]->text(), cvdesc[i]->isModified(), checked});
  }
  return result;
}

void ManagementView::restore(const std::vector<Draft>& drafts) {
  const auto& tokens = panel_.tokens().stored().list;
  for (std::size_t i = 0; i < cvdesc.size() && i < tokens.size(); ++i) {
    const auto draft = std::find_if(drafts.begin(), drafts.end(), [&](const Draft& candidate) {
      return isSameToken(candidate.token, *tokens[i]);
    });
    if (draft == drafts.end()) continue;
    cvdelete[i]->setChecked(draft->checked);
    if (!draft->typed) continue;
    cvdesc[i]->setText(draft->name);
    cvdesc[i]->setModified(true);
    cvdesc[i]->setCursorPosition(0);
  }
}

void ManagementView::refreshLater() {
  Wait::later(window(), [this] {
    if (panel_.openPanel() != window()) return;
    const std::vector<Draft> kept = drafts(Keep::names);
    panel_.refreshView(window());
    if (panel_.openPanel() == window()) restore(kept);
  });
}

void ManagementView::tell(const Problem& problem) {
  shell_.simpleMessageBox(QString::fromStdString(problem.words));
}

void ManagementView::cv_addclicked() {
  vane::log("CV : addclicked: begin");
  if (saveTypedNames()) shell_.addclicked(window());
  vane::log("CV : addclicked: end");
}

}  // namespace talvane
