#include "ui/views/authentication_view.h"

#include <QFontMetrics>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <utility>

#include "config/ini.h"
#include "engine/cleared.h"
#include "engine/vane.h"
#include "enrol/enrol_flow.h"
#include "enrol/enrol_layout.h"
#include "ui/kit/fields.h"
#include "ui/kit/look.h"
#include "ui/kit/ui_text.h"
#include "ui/panel/panel.h"
#include "ui/panel/panel_geometry.h"
#include "ui/panel/view.h"
#include "ui/views/address_view.h"
#include "ui/views/enrolment_ending.h"
#include "ui/views/shell.h"

namespace talvane {
namespace {

using Field = EnrolViews::Field;

// The width of the three rows without their widest label, in points.
constexpr int label_room = 17;
constexpr int field_distance = 34;
constexpr int field_room = 51;

int widestText(const QFontMetrics& metrics, std::initializer_list<const std::string*> texts) {
  int widest = 0;
  for (const std::string* text : texts) {
    widest = std::max(widest, metrics.horizontalAdvance(QString::fromStdString(*text)));
  }
  return widest;
}

}  // namespace

AuthenticationView::AuthenticationView(Panel& panel, Shell& shell, const Ini& ini, EnrolFlow& flow,
                                       AddressView& address)
    : View("eva", authentication_view_height),
      panel_(panel),
      shell_(shell),
      ini_(ini),
      flow_(flow),
      address_(address) {
  load(form_);
  setTitle(uiText("Sign in"));
  form_.eva_message->setAnnounced();
  form_.eva_useridlabel->setBuddy(form_.eva_userid);
  form_.eva_passwordlabel->setBuddy(form_.eva_password);
  form_.eva_passcodelabel->setBuddy(form_.eva_passcode);
  form_.eva_userid->setAccessibleName(QString::fromStdString(ini_.StrUsername));
  form_.eva_password->setAccessibleName(QString::fromStdString(ini_.StrPassword));
  form_.eva_passcode->setAccessibleName(QString::fromStdString(ini_.StrPasscode));
  layOutSignIn();
  connectFields();
  onClick(form_.eva_submit, [this] { eva_submitclicked(); });
  onClick(form_.eva_cancel, [this] { eva_cancelclicked(); });
}

void AuthenticationView::layOutSignIn() {
  const int widest = widestText(form_.eva_useridlabel->fontMetrics(),
                                {&ini_.StrUsername, &ini_.StrPassword, &ini_.StrPasscode});
  for (QWidget* label : {form_.eva_useridlabel, form_.eva_passwordlabel, form_.eva_passcodelabel}) {
    label->resize(widest + label_room, label->height());
  }
  for (QWidget* field : {form_.eva_userid, form_.eva_password, form_.eva_passcode}) {
    field->setGeometry(widest + field_distance, field->y(), window()->width() - field_room - widest,
                       field->height());
  }
  labels_ = {form_.eva_useridlabel->geometry(), form_.eva_passwordlabel->geometry(),
             form_.eva_passcodelabel->geometry()};
  fields_ = {form_.eva_userid->geometry(), form_.eva_password->geometry(),
             form_.eva_passcode->geometry()};
}

void AuthenticationView::connectFields() {
  using Changed = EnrolFlow::Changed;
  const std::pair<QLineEdit*, Changed> fields[] = {{form_.eva_userid, Changed::userid},
                                                   {form_.eva_password, Changed::password},
                                                   {form_.eva_passcode, Changed::passcode}};
  for (const auto& [field, changed] : fields) {
    // Only typing by the user counts as a change.
    QObject::connect(field, &QLineEdit::textEdited, window(),
                     [this, what = changed] { flow_.controlTextDidChange(what); });
  }
}

QLineEdit* AuthenticationView::fieldOf(Field field) const {
  switch (field) {
    case Field::userid:
      return form_.eva_userid;
    case Field::password:
      return form_.eva_password;
    case Field::passcode:
      break;
  }
  return form_.eva_passcode;
}

Cleared<std::string> AuthenticationView::input(Field field) const {
  return secretIn(*fieldOf(field));
}

void AuthenticationView::clear(Field field) {
  forget(*fieldOf(field));
}

View* AuthenticationView::standIn() {
  if (!ini_.EnrolURL.empty()) return nullptr;
  address_.setMessage(ini_.StrErrNoEnrolURL);
  return &address_;
}

void AuthenticationView::closed() {
  for (const Field field : {Field::userid, Field::password, Field::passcode}) clear(field);
  if (!flow_.hasWorker()) return;
  vane::log("APP: closeWindow: aborting eva thead");
  flow_.abandonWorker();
}

void AuthenticationView::eva_init() {
  vane::log("EVA: init: begin");
  panel_.positionToolbarLeft(form_.eva_cancel);
  panel_.positionToolbarRight(form_.eva_submit);
  flow_.eva_init();
  vane::log("EVA: init: end");
}

void AuthenticationView::eva_layout() {
  const AuthenticationLayout layout = authenticationLayout(
      ini_, flow_.taenrol(), flow_.pleasewait(), message_, form_.eva_userid->text().isEmpty());
  form_.eva_message->setTextColour(layout.message_is_error ? paint::error : paint::text);
  form_.eva_message->showText(QString::fromStdString(layout.message));
  form_.eva_message->setVisible(!layout.message.empty());
  showRows(layout);
  if (layout.mode == AuthenticationLayout::Mode::busy) {
    // The next call may block, so show the wait first.
    if (panel_.openPanel() == window()) window()->repaint();
    return;
  }
  const auto row = static_cast<std::size_t>(layout.passcode_row);
  form_.eva_passcodelabel->setGeometry(labels_[row]);
  form_.eva_passcode->setGeometry(fields_[row]);
  form_.eva_submit->setEnabled(flow_.eva_calcsubmitstate());
  showFocus(layout.focus);
}

void AuthenticationView::showRows(const AuthenticationLayout& layout) {
  struct Row {
    TextLabel* label;
    QLineEdit* field;
    const std::string& text;
    bool shown;
  };
  const Row rows[] = {
      {form_.eva_useridlabel, form_.eva_userid, ini_.StrUsername, layout.shows_userid},
      {form_.eva_passwordlabel, form_.eva_password, ini_.StrPassword, layout.shows_password},
      {form_.eva_passcodelabel, form_.eva_passcode, ini_.StrPasscode, layout.shows_passcode}};
  const bool busy = layout.mode == AuthenticationLayout::Mode::busy;
  for (const Row& row : rows) {
    row.label->setVisible(row.shown);
    row.field->setVisible(row.shown);
    row.field->setEnabled(row.shown);
    row.label->showText(QString::fromStdString(row.text));
    row.label->setTextColour(busy ? QColor(Qt::darkGray) : paint::text);
  }
}

void AuthenticationView::showFocus(AuthenticationLayout::Field focus) {
  switch (focus) {
    case AuthenticationLayout::Field::userid:
      form_.eva_userid->setFocus();
      return;
    case AuthenticationLayout::Field::password:
      form_.eva_password->setFocus();
      return;
    case AuthenticationLayout::Field::passcode:
      form_.eva_passcode->setFocus();
      return;
    case AuthenticationLayout::Field::submit:
      form_.eva_submit->setFocus();
      return;
    case AuthenticationLayout::Field::none:
      break;
  }
}

void AuthenticationView::eva_submitclicked() {
  vane::log("EVA: submitclicked: begin");
  flow_.eva_submitclicked();
  tellClockTrouble(flow_, shell_);
  vane::log("EVA: submitclicked: end");
}

void AuthenticationView::eva_cancelclicked() {
  vane::log("EVA: cancelclicked: begin");
  flow_.eva_cancelclicked();
  vane::log("EVA: cancelclicked: end");
}

}  // namespace talvane
