#include "ui/views/questions_view.h"

#include <QAbstractItemView>
#include <QLabel>
#include <QPalette>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "config/ini.h"
#include "engine/cleared.h"
#include "engine/vane.h"
#include "enrol/enrol_flow.h"
#include "enrol/enrol_layout.h"
#include "enrol/pin_rules.h"
#include "enrol/ta_enrol_client.h"
#include "platform/translation.h"
#include "ui/kit/accessible.h"
#include "ui/kit/fields.h"
#include "ui/kit/look.h"
#include "ui/kit/ui_text.h"
#include "ui/panel/panel.h"
#include "ui/panel/panel_geometry.h"
#include "ui/panel/view.h"
#include "ui/views/enrolment_ending.h"
#include "ui/views/shell.h"

namespace talvane {
namespace {

constexpr int control_x = 10;
constexpr int control_width = 240;
constexpr int control_height = 20;
constexpr int most_questions = 1000;  // limit for one menu, whatever the server sends

// `y` is the lower edge, measured from the view's lower edge; nullopt if not shown.
void place(QWidget* control, const std::optional<int>& y, int height, int view_height) {
  control->setVisible(y.has_value());
  if (!y) return;
  control->setGeometry(rectangle(flipped({control_x, *y, control_width, height}, view_height)));
}

QString titleOf(GetInfoState state) {
  switch (state) {
    case GetInfoState::pin_only:
      return uiText("New PIN");
    case GetInfoState::questions_only:
      return uiText("Secret questions");
    case GetInfoState::pin_and_questions:
    case GetInfoState::nothing:
      break;
  }
  return uiText("New PIN and secret questions");
}

}  // namespace

QuestionsView::QuestionsView(Panel& panel, Shell& shell, const Ini& ini, EnrolFlow& flow)
    : View("evgi", other_view_height), panel_(panel), shell_(shell), ini_(ini), flow_(flow) {
  load(form_);
  form_.evgi_pinlabel->setBuddy(form_.evgi_pin);
  labelMenus();
  // Only typing by the user counts as a change.
  QObject::connect(form_.evgi_pin, &QLineEdit::textEdited, window(), [this] {
    flow_.controlTextDidChange(EnrolFlow::Changed::pin);
    forget(*form_.evgi_pinagain);
    showPinProblem();
  });
  for (QComboBox* menu : menus()) {
    QObject::connect(menu, &QComboBox::activated, window(),
                     [this, menu] { evgi_questionselected(menu); });
  }
  onClick(form_.evgi_submit, [this] { evgi_submitclicked(); });
  onClick(form_.evgi_cancel, [this] { evgi_cancelclicked(); });
}

// To screen readers, the toolkit calls a menu by its choice. What it is for, they take from its
// label, which need not be seen.
void QuestionsView::labelMenus() {
  for (std::size_t i = 0; i < menus().size(); ++i) {
    QComboBox* menu = menus()[i];
    const QString name = QString::fromStdString(translatedWith("Question {}", i + 1));
    auto* label = new QLabel(name, menu->parentWidget());
    label->hide();
    label->setBuddy(menu);
    menu->setAccessibleName(name);
    menu->view()->setAccessibleName(name);
  }
}

std::array<QComboBox*, 3> QuestionsView::menus() const {
  return {form_.evgi_question1, form_.evgi_question2, form_.evgi_question3};
}

std::array<QLineEdit*, 3> QuestionsView::answers() const {
  return {form_.evgi_answer1, form_.evgi_answer2, form_.evgi_answer3};
}

EnrolViews::GetInfoInput QuestionsView::input() const {
  EnrolViews::GetInfoInput result;
  result.pin = secretIn(*form_.evgi_pin);
  result.pin_again = secretIn(*form_.evgi_pinagain);
  for (std::size_t i = 0; i < result.questions.size(); ++i) {
    result.questions[i] = menus()[i]->currentText().toStdString();
    result.answers[i] = secretIn(*answers()[i]);
  }
  return result;
}

int QuestionsView::evgi_height() {
  const TaEnrolClient* client = flow_.taenrol();
  return client == nullptr ? other_view_height : getInfoHeight(*client);
}

void QuestionsView::closed() {
  forget(*form_.evgi_pin);
  forget(*form_.evgi_pinagain);
  for (QLineEdit* answer : answers()) forget(*answer);
}

void QuestionsView::evgi_init() {
  vane::log("EVGI: init: begin");
  panel_.positionToolbarLeft(form_.evgi_cancel);
  panel_.positionToolbarRight(form_.evgi_submit);
  const TaEnrolClient* client = flow_.taenrol();
  if (client == nullptr) return;
  const int height = evgi_height();
  fill(*client);
  vane::log("EVGI: init: height:{}", height);
  layOut(*client, height);
  showEarlierAnswers(*client);
  if (getInfoState(*client) == GetInfoState::questions_only) {
    form_.evgi_answer1->setFocus();
  } else {
    form_.evgi_pin->setFocus();
  }
  vane::log("EVGI: init: end");
}

void QuestionsView::fill(const TaEnrolClient& client) {
  const QString prompt = QString::fromStdString(pinPrompt(client));
  form_.evgi_pinlabel->showText(prompt);
  forget(*form_.evgi_pin);
  form_.evgi_pin->setAccessibleName(prompt.trimmed());
  forget(*form_.evgi_pinagain);
  form_.evgi_pinagain->setAccessibleName(uiText("Type the PIN again"));
  showPinProblem();
  form_.evgi_questionlabel->showText(QString::fromStdString(ini_.StrSecretQuestions));
  form_.evgi_pinlabel->setTextColour(Qt::white);
  form_.evgi_questionlabel->setTextColour(Qt::white);
  fillMenu(0, client.QUESTIONS1);
  fillMenu(1, client.QUESTIONS2);
  fillMenu(2, client.QUESTIONS3);
}

void QuestionsView::fillMenu(std::size_t index,
                             const std::optional<TaEnrolClient::Questions>& titles) {
  QComboBox* menu = menus()[index];
  QLineEdit* answer = answers()[index];
  menu->clear();
  forget(*answer);
  answer->setAccessibleName(QString::fromStdString(translatedWith("Answer {}", index + 1)));
  if (!titles) return;
  for (const std::string& title : *titles) {
    if (menu->count() == most_questions) break;
    menu->addItem(QString::fromStdString(title));
  }
  menu->setCurrentIndex(std::min(static_cast<int>(index), menu->count() - 1));
}

void QuestionsView::layOut(const TaEnrolClient& client, int height) {
  form_.evgi_pinlabel->show();
  form_.evgi_pin->show();
  form_.evgi_pinagain->hide();
  form_.evgi_questionlabel->show();
  for (std::size_t i = 0; i < menus().size(); ++i) {
    const bool asked = i < 2 || client.QUESTIONS3;
    menus()[i]->setVisible(asked);
    answers()[i]->setVisible(asked);
  }
  const GetInfoState state = getInfoState(client);
  if (state == GetInfoState::nothing) {
    vane::log("EVGI: unexpected state: bUSERCREATEPIN and bENROL false");
    return;
  }
  vane::log("EVGI: init: {}", nameOf(state));
  const GetInfoPlaces places = getInfoPlaces(client, height);
  setTitle(titleOf(state));
  if (places.questions[2]) vane::log("EVGI: init: 3 questions");
  place(form_.evgi_pinlabel, places.pin_label, pinPromptHeight(client), height);
  place(form_.evgi_pin, places.pin, control_height, height);
  place(form_.evgi_pinagain, places.pin_again, control_height, height);
  place(form_.evgi_questionlabel, places.question_label, control_height, height);
  for (std::size_t i = 0; i < menus().size(); ++i) {
    place(menus()[i], places.questions[i], control_height, height);
    place(answers()[i], places.answers[i], control_height, height);
  }
  if (state != GetInfoState::questions_only) form_.evgi_submit->setEnabled(pinIsGood());
}

bool QuestionsView::pinIsGood() const {
  const TaEnrolClient* client = flow_.taenrol();
  return client != nullptr && checkPIN(*client, secretIn(*form_.evgi_pin));
}

std::optional<std::string> QuestionsView::problemWithPin() const {
  const TaEnrolClient* client = flow_.taenrol();
  if (client == nullptr) return std::nullopt;
  return pinProblem(*client, secretIn(*form_.evgi_pin));
}

// In the field for the second time, which is empty while the PIN is typed: there is no other room
// near it.
void QuestionsView::showPinProblem() {
  const auto problem = form_.evgi_pin->text().isEmpty() ? std::nullopt : problemWithPin();
  QPalette palette = form_.evgi_pin->palette();
  if (problem) palette.setColor(QPalette::PlaceholderText, paint::error_on_light);
  form_.evgi_pinagain->setPalette(palette);
  form_.evgi_pinagain->setPlaceholderText(problem ? QString::fromStdString(*problem)
                                                  : uiText("Type the PIN again"));
  form_.evgi_pin->setAccessibleDescription(QString::fromStdString(problem.value_or("")));
  // Without one, the toolkit takes the words in the field, which are the name already.
  form_.evgi_pinagain->setAccessibleDescription(problem ? QString::fromStdString(*problem)
                                                        : uiText("The same as above"));
}

void QuestionsView::showEarlierAnswers(const TaEnrolClient& client) {
  if (!hasEarlierAnswers(client)) return;
  struct Earlier {
    const std::string& question;
    const Cleared<std::string>& answer;
  };
  const Earlier all[] = {{client.QUESTION1, client.ANSWER1},
                         {client.QUESTION2, client.ANSWER2},
                         {client.QUESTION3, client.ANSWER3}};
  for (std::size_t i = 0; i < menus().size(); ++i) {
    const Earlier& earlier = all[i];
    // The menu may hold fewer questions than the server sent; an empty one has none.
    const int item = menus()[i]->findText(QString::fromStdString(earlier.question));
    if (earlier.question.empty() || item < 0) continue;
    menus()[i]->setCurrentIndex(item);
    answers()[i]->setText(QString::fromStdString(earlier.answer));
  }
}

void QuestionsView::evgi_questionselected(const QComboBox* sender) {
  vane::log("EVGI: questionselected: begin: {}", sender->currentText().toStdString());
  const TaEnrolClient* client = flow_.taenrol();
  std::vector<TaEnrolClient::Questions> lists;
  std::vector<std::size_t> selected;
  std::size_t changed = 0;
  const std::size_t count = client != nullptr && client->QUESTIONS3 ? 3 : 2;
  for (std::size_t i = 0; i < count; ++i) {
    const QComboBox* menu = menus()[i];
    if (menu == sender) changed = i;
    TaEnrolClient::Questions titles;
    for (int item = 0; item < menu->count(); ++item) {
      titles.push_back(menu->itemText(item).toStdString());
    }
    lists.push_back(std::move(titles));
    selected.push_back(static_cast<std::size_t>(std::max(0, menu->currentIndex())));
  }
  menus()[changed]->setCurrentIndex(static_cast<int>(distinctQuestion(lists, selected, changed)));
  vane::log("EVGI: questionselected: end");
}

TextLabel* QuestionsView::topLabel() const {
  return form_.evgi_pinlabel->isHidden() ? form_.evgi_questionlabel : form_.evgi_pinlabel;
}

// The same words as in the sign-in view; what was typed still shows, and cannot be changed.
void QuestionsView::waits(bool waiting) {
  if (waiting) {
    prompt_ = topLabel()->text();
    topLabel()->showText(QString::fromStdString(ini_.StrPleaseWait));
    announce(*window(), topLabel()->text());
  } else if (topLabel()->text() == QString::fromStdString(ini_.StrPleaseWait)) {
    topLabel()->showText(prompt_);
  }
  const TaEnrolClient* client = flow_.taenrol();
  const bool wants_pin = client != nullptr && client->bUSERCREATEPIN;
  form_.evgi_submit->setEnabled(!waiting && (!wants_pin || pinIsGood()));
}

void QuestionsView::evgi_submitclicked() {
  vane::log("EVGI: submitclicked: begin");
  flow_.evgi_submitclicked();
  if (panel_.openPanel() == window() && form_.evgi_pinagain->text() != form_.evgi_pin->text()) {
    forget(*form_.evgi_pinagain);
    (problemWithPin() ? form_.evgi_pin : form_.evgi_pinagain)->setFocus();
  }
  tellClockTrouble(flow_, shell_);
  vane::log("EVGI: submitclicked: end");
}

void QuestionsView::evgi_cancelclicked() {
  vane::log("EVGI: cancelclicked: begin");
  flow_.evgi_cancelclicked();
  vane::log("EVGI: cancelclicked: end");
}

}  // namespace talvane
