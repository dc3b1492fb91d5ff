#include "ui/views/address_view.h"

#include <string>

#include "config/ini.h"
#include "engine/vane.h"
#include "enrol/enrol_flow.h"
#include "ui/kit/fields.h"
#include "ui/kit/look.h"
#include "ui/kit/ui_text.h"
#include "ui/panel/panel.h"
#include "ui/panel/panel_geometry.h"
#include "ui/panel/view.h"

namespace talvane {

AddressView::AddressView(Panel& panel, const Ini& ini, EnrolFlow& flow)
    : View("evgu", address_view_height), panel_(panel), ini_(ini), flow_(flow) {
  load(form_);
  setTitle(uiText("Enrolment server"));
  form_.evgu_message->setAnnounced();
  form_.evgu_label->setBuddy(form_.evgu_url);
  form_.evgu_url->setAccessibleName(QString::fromStdString(ini_.StrGetURL));
  onClick(form_.evgu_submit, [this] { evgu_submitclicked(); });
  onClick(form_.evgu_cancel, [this] { evgu_cancelclicked(); });
}

void AddressView::setMessage(const std::string& text) {
  form_.evgu_message->showText(QString::fromStdString(text));
  form_.evgu_message->setVisible(!text.empty());
}

std::string AddressView::input() const {
  return form_.evgu_url->text().toStdString();
}

void AddressView::closed() {
  forget(*form_.evgu_url);
}

void AddressView::evgu_init() {
  vane::log("EVGU: init: begin");
  form_.evgu_message->setTextColour(paint::error);
  form_.evgu_message->setVisible(!form_.evgu_message->text().isEmpty());
  form_.evgu_label->showText(QString::fromStdString(ini_.StrGetURL));
  form_.evgu_label->setTextColour(Qt::white);
  form_.evgu_url->setText(QString::fromStdString(ini_.EnrolURL));
  panel_.positionToolbarLeft(form_.evgu_cancel);
  panel_.positionToolbarRight(form_.evgu_submit);
  form_.evgu_url->setFocus();
  vane::log("EVGU: init: end");
}

void AddressView::evgu_submitclicked() {
  vane::log("EVGU: submitclicked: begin");
  flow_.evgu_submitclicked();
  vane::log("EVGU: submitclicked: end");
}

void AddressView::evgu_cancelclicked() {
  vane::log("EVGU: cancelclicked: begin");
  flow_.evgu_cancelclicked();
  vane::log("EVGU: cancelclicked: end");
}

}  // namespace talvane
