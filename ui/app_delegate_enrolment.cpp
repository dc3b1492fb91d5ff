#include <QComboBox>
#include <algorithm>

#include "enrol/clock_trouble.h"
#include "enrol/enrol_layout.h"
#include "enrol/pin_rules.h"
#include "ui/app_delegate.h"

namespace talvane {
namespace {

constexpr int control_x = 10;
constexpr int control_width = 240;
constexpr int control_height = 20;
constexpr int most_questions = 1000;  // of one menu, whatever the server sends

// A frame of the get-info view, given from its lower edge.
QRect upwards(int y, int height, int view_height) {
  return rectangle(flipped({control_x, y, control_width, height}, view_height));
}

void place(QWidget* control, const std::optional<int>& y, int height, int view_height) {
  control->setVisible(y.has_value());
  if (y) control->setGeometry(upwards(*y, height, view_height));
}

}  // namespace

// What the flow asks of the views.

SoftTokenWindow* SoftTokenOSXAppDelegate::windowOf(View view) const {
  switch (view) {
    case View::av:
      return av;
    case View::eva:
      return eva;
    case View::evgi:
      return evgi;
    case View::evgu:
      return evgu;
    case View::tv:
      break;
  }
  return tv;
}

QLineEdit* SoftTokenOSXAppDelegate::fieldOf(Field field) const {
  switch (field) {
    case Field::userid:
      return eva_userid;
    case Field::password:
      return eva_password;
    case Field::passcode:
      break;
  }
  return eva_passcode;
}

void SoftTokenOSXAppDelegate::switchView(View from, View to) {
  switchViewfrom(windowOf(from), windowOf(to));
}

void SoftTokenOSXAppDelegate::goHome() {
  if (ow != nullptr) switchViewfrom(ow, tv);
}

void SoftTokenOSXAppDelegate::refreshAuthentication() {
  refreshView(eva);
}

bool SoftTokenOSXAppDelegate::showsAuthentication() {
  return ow == eva;
}

void SoftTokenOSXAppDelegate::setAuthenticationMessage(const std::string& text) {
  eva_message_text_ = text;
}

void SoftTokenOSXAppDelegate::whitenAuthenticationMessage() {
  eva_message->setTextColour(Qt::white);
}

void SoftTokenOSXAppDelegate::enableAuthenticationSubmit(bool enabled) {
  eva_submit->setEnabled(enabled);
}

std::string SoftTokenOSXAppDelegate::input(Field field) {
  return fieldOf(field)->text().toStdString();
}

void SoftTokenOSXAppDelegate::clear(Field field) {
  forget(*fieldOf(field));
}

EnrolViews::GetInfoInput SoftTokenOSXAppDelegate::getInfoInput() {
  GetInfoInput result;
  result.pin = evgi_pin->text().toStdString();
  for (std::size_t i = 0; i < result.questions.size(); ++i) {
    result.questions[i] = questionMenus()[i]->currentText().toStdString();
    result.answers[i] = answerFields()[i]->text().toStdString();
  }
  return result;
}

void SoftTokenOSXAppDelegate::enableGetInfoSubmit(bool enabled) {
  evgi_submit->setEnabled(enabled);
}

std::string SoftTokenOSXAppDelegate::addressInput() {
  return evgu_url->text().toStdString();
}

void SoftTokenOSXAppDelegate::setAddressMessage(const std::string& text) {
  evgu_message->showText(QString::fromStdString(text));
}

void SoftTokenOSXAppDelegate::simpleMessageBox(const std::string& text) {
  simpleMessageBox(QString::fromStdString(text));
}

void SoftTokenOSXAppDelegate::performOnMainThread(std::function<void()> work) {
  QMetaObject::invokeMethod(this, std::move(work), Qt::QueuedConnection);
}

// The sign-in view.

void SoftTokenOSXAppDelegate::connectEnrolment() {
  using Changed = EnrolFlow::Changed;
  const std::pair<QLineEdit*, Changed> fields[] = {{eva_userid, Changed::userid},
                                                   {eva_password, Changed::password},
                                                   {eva_passcode, Changed::passcode},
                                                   {evgi_pin, Changed::pin}};
  for (const auto& [field, changed] : fields) {
    // Only what the user types counts as a change.
    connect(field, &QLineEdit::textEdited, this,
            [this, what = changed] { flow_.controlTextDidChange(what); });
  }
  for (QComboBox* menu : questionMenus()) {
    connect(menu, &QComboBox::activated, this, [this, menu] { evgi_questionselected(menu); });
  }
}

void SoftTokenOSXAppDelegate::eva_init() {
  vane::log("EVA: init: begin");
  positionToolbarLeft(eva_cancel);
  positionToolbarRight(eva_submit);
  flow_.eva_init();
  vane::log("EVA: init: end");
}

void SoftTokenOSXAppDelegate::eva_layout() {
  using Mode = AuthenticationLayout::Mode;
  using Shown = AuthenticationLayout::Field;
  const AuthenticationLayout layout = authenticationLayout(
      ini, flow_.taenrol(), flow_.pleasewait(), eva_message_text_, eva_userid->text().isEmpty());
  eva_message->setTextColour(layout.message_is_error ? paint::error : paint::text);
  eva_message->showText(QString::fromStdString(layout.message));
  struct Row {
    TextLabel* label;
    QLineEdit* field;
    const std::string& text;
    bool shown;
  };
  const Row rows[] = {{eva_useridlabel, eva_userid, ini.StrUsername, layout.shows_userid},
                      {eva_passwordlabel, eva_password, ini.StrPassword, layout.shows_password},
                      {eva_passcodelabel, eva_passcode, ini.StrPasscode, layout.shows_passcode}};
  for (const Row& row : rows) {
    row.label->setVisible(row.shown);
    row.field->setVisible(row.shown);
    row.field->setEnabled(row.shown);
    row.label->showText(QString::fromStdString(row.text));
    row.label->setTextColour(layout.mode == Mode::busy ? QColor(Qt::darkGray) : paint::text);
  }
  if (layout.mode == Mode::busy) {
    // What follows may block: the wait shows at once.
    if (ow == eva) eva->repaint();
    return;
  }
  const auto row = static_cast<std::size_t>(layout.passcode_row);
  eva_passcodelabel->setGeometry(sign_in_labels_[row]);
  eva_passcode->setGeometry(sign_in_fields_[row]);
  const std::pair<Shown, QLineEdit*> focus[] = {{Shown::userid, eva_userid},
                                                {Shown::password, eva_password},
                                                {Shown::passcode, eva_passcode}};
  for (const auto& [field, widget] : focus) {
    if (layout.focus == field) widget->setFocus();
  }
  eva_submit->setEnabled(flow_.eva_calcsubmitstate());
}

void SoftTokenOSXAppDelegate::eva_submitclicked() {
  vane::log("EVA: submitclicked: begin");
  flow_.eva_submitclicked();
  reportEnrolment();
  vane::log("EVA: submitclicked: end");
}

void SoftTokenOSXAppDelegate::eva_cancelclicked() {
  vane::log("EVA: cancelclicked: begin");
  flow_.eva_cancelclicked();
  vane::log("EVA: cancelclicked: end");
}

// The get-info view.

std::array<QComboBox*, 3> SoftTokenOSXAppDelegate::questionMenus() const {
  return {evgi_question1, evgi_question2, evgi_question3};
}

std::array<QLineEdit*, 3> SoftTokenOSXAppDelegate::answerFields() const {
  return {evgi_answer1, evgi_answer2, evgi_answer3};
}

int SoftTokenOSXAppDelegate::evgi_height() {
  const TaEnrolClient* client = flow_.taenrol();
  return client == nullptr ? other_view_height : getInfoHeight(*client);
}

void SoftTokenOSXAppDelegate::evgi_init() {
  vane::log("EVGI: init: begin");
  positionToolbarLeft(evgi_cancel);
  positionToolbarRight(evgi_submit);
  const TaEnrolClient* client = flow_.taenrol();
  if (client == nullptr) return;
  const int height = evgi_height();
  const QString prompt = QString::fromStdString(pinPrompt(*client));
  evgi_pinlabel->showText(prompt);
  forget(*evgi_pin);
  evgi_pin->setAccessibleName(prompt);
  evgi_questionlabel->showText(QString::fromStdString(ini.StrSecretQuestions));
  evgi_pinlabel->setTextColour(Qt::white);
  evgi_questionlabel->setTextColour(Qt::white);

  const std::array<const std::optional<TaEnrolClient::Questions>*, 3> lists{
      &client->QUESTIONS1, &client->QUESTIONS2, &client->QUESTIONS3};
  for (std::size_t i = 0; i < lists.size(); ++i) {
    QComboBox* menu = questionMenus()[i];
    menu->clear();
    forget(*answerFields()[i]);
    answerFields()[i]->setAccessibleName(QStringLiteral("Answer %1").arg(i + 1));
    menu->setAccessibleName(evgi_questionlabel->text() + QStringLiteral(" %1").arg(i + 1));
    if (!*lists[i]) continue;
    for (const std::string& question : **lists[i]) {
      if (menu->count() == most_questions) break;
      menu->addItem(QString::fromStdString(question));
    }
    menu->setCurrentIndex(std::min(static_cast<int>(i), menu->count() - 1));
  }
  vane::log("EVGI: init: height:{}", height);

  for (QWidget* control : {static_cast<QWidget*>(evgi_pinlabel), static_cast<QWidget*>(evgi_pin),
                           static_cast<QWidget*>(evgi_questionlabel)}) {
    control->show();
  }
  for (std::size_t i = 0; i < lists.size(); ++i) {
    const bool asked = i < 2 || *lists[i];
    questionMenus()[i]->setVisible(asked);
    answerFields()[i]->setVisible(asked);
  }

  const GetInfoState state = getInfoState(*client);
  if (state == GetInfoState::nothing) {
    vane::log("EVGI: unexpected state: bUSERCREATEPIN and bENROL false");
  } else {
    vane::log("EVGI: init: {}", nameOf(state));
    const GetInfoPlaces places = getInfoPlaces(*client, height);
    if (places.questions[2]) vane::log("EVGI: init: 3 questions");
    place(evgi_pinlabel, places.pin_label, pinPromptHeight(*client), height);
    place(evgi_pin, places.pin, control_height, height);
    place(evgi_questionlabel, places.question_label, control_height, height);
    for (std::size_t i = 0; i < lists.size(); ++i) {
      place(questionMenus()[i], places.questions[i], control_height, height);
      place(answerFields()[i], places.answers[i], control_height, height);
    }
    if (state != GetInfoState::questions_only) evgi_submit->setEnabled(pinIsGood());
  }
  showEarlierAnswers(*client);
  if (state == GetInfoState::questions_only) {
    evgi_answer1->setFocus();
  } else {
    evgi_pin->setFocus();
  }
  vane::log("EVGI: init: end");
}

bool SoftTokenOSXAppDelegate::pinIsGood() {
  const TaEnrolClient* client = flow_.taenrol();
  return client != nullptr && checkPIN(*client, evgi_pin->text().toStdString());
}

void SoftTokenOSXAppDelegate::showEarlierAnswers(const TaEnrolClient& client) {
  if (!hasEarlierAnswers(client)) return;
  struct Earlier {
    const std::optional<TaEnrolClient::Questions>& titles;
    const std::string& question;
    const std::string& answer;
  };
  const Earlier all[] = {{client.QUESTIONS1, client.QUESTION1, client.ANSWER1},
                         {client.QUESTIONS2, client.QUESTION2, client.ANSWER2},
                         {client.QUESTIONS3, client.QUESTION3, client.ANSWER3}};
  for (std::size_t i = 0; i < questionMenus().size(); ++i) {
    const Earlier& earlier = all[i];
    if (!earlier.titles || earlier.question.empty()) continue;
    const auto item = earlierQuestion(*earlier.titles, earlier.question);
    if (!item) continue;
    questionMenus()[i]->setCurrentIndex(static_cast<int>(*item));
    answerFields()[i]->setText(QString::fromStdString(earlier.answer));
  }
}

void SoftTokenOSXAppDelegate::evgi_questionselected(const QComboBox* sender) {
  vane::log("EVGI: questionselected: begin: {}", sender->currentText().toStdString());
  const TaEnrolClient* client = flow_.taenrol();
  std::vector<TaEnrolClient::Questions> lists;
  std::vector<std::size_t> selected;
  std::size_t changed = 0;
  const std::size_t count = client != nullptr && client->QUESTIONS3 ? 3 : 2;
  for (std::size_t i = 0; i < count; ++i) {
    const QComboBox* menu = questionMenus()[i];
    if (menu == sender) changed = i;
    TaEnrolClient::Questions titles;
    for (int item = 0; item < menu->count(); ++item) {
      titles.push_back(menu->itemText(item).toStdString());
    }
    lists.push_back(std::move(titles));
    selected.push_back(static_cast<std::size_t>(std::max(0, menu->currentIndex())));
  }
  questionMenus()[changed]->setCurrentIndex(
      static_cast<int>(distinctQuestion(lists, selected, changed)));
  vane::log("EVGI: questionselected: end");
}

void SoftTokenOSXAppDelegate::evgi_submitclicked() {
  vane::log("EVGI: submitclicked: begin");
  flow_.evgi_submitclicked();
  reportEnrolment();
  vane::log("EVGI: submitclicked: end");
}

void SoftTokenOSXAppDelegate::evgi_cancelclicked() {
  vane::log("EVGI: cancelclicked: begin");
  flow_.evgi_cancelclicked();
  vane::log("EVGI: cancelclicked: end");
}

// The address view.

void SoftTokenOSXAppDelegate::evgu_init() {
  vane::log("EVGU: init: begin");
  evgu_message->setTextColour(paint::error);
  evgu_label->showText(QString::fromStdString(ini.StrGetURL));
  evgu_label->setTextColour(Qt::white);
  evgu_url->setText(QString::fromStdString(ini.EnrolURL));
  positionToolbarLeft(evgu_cancel);
  positionToolbarRight(evgu_submit);
  evgu_url->setFocus();
  vane::log("EVGU: init: end");
}

void SoftTokenOSXAppDelegate::evgu_submitclicked() {
  vane::log("EVGU: submitclicked: begin");
  flow_.evgu_submitclicked();
  vane::log("EVGU: submitclicked: end");
}

void SoftTokenOSXAppDelegate::evgu_cancelclicked() {
  vane::log("EVGU: cancelclicked: begin");
  flow_.evgu_cancelclicked();
  vane::log("EVGU: cancelclicked: end");
}

// A clock that is wrong makes every passcode wrong: said once, when the server's is known.
void SoftTokenOSXAppDelegate::reportEnrolment() {
  const auto& ending = flow_.ending();
  if (!ending || !ending->stored || !ending->server_ahead) return;
  if (const auto words = clockTrouble(*ending->server_ahead)) simpleMessageBox(*words);
}

}  // namespace talvane
