#include "ui/app_delegate.h"

namespace talvane {

void SoftTokenOSXAppDelegate::eva_init() {
  vane::log("EVA: init: begin");
  positionToolbarLeft(eva_cancel);
  positionToolbarRight(eva_submit);
  vane::log("EVA: init: end");
}

void SoftTokenOSXAppDelegate::eva_cancelclicked() {
  switchViewfrom(eva, ini.bAllowManual ? av : tv);
}

int SoftTokenOSXAppDelegate::evgi_height() const {
  return other_view_height;
}

void SoftTokenOSXAppDelegate::evgi_init() {
  positionToolbarLeft(evgi_cancel);
  positionToolbarRight(evgi_submit);
}

void SoftTokenOSXAppDelegate::evgi_cancelclicked() {
  switchViewfrom(evgi, ini.bAllowManual ? av : tv);
}

void SoftTokenOSXAppDelegate::evgu_init() {
  vane::log("EVGU: init: begin");
  evgu_message->setTextColour(paint::error);
  evgu_label->showText(QString::fromStdString(ini.StrGetURL));
  evgu_label->setTextColour(Qt::white);
  evgu_url->setText(QString::fromStdString(ini.EnrolURL));
  positionToolbarLeft(evgu_cancel);
  positionToolbarRight(evgu_submit);
  vane::log("EVGU: init: end");
}

void SoftTokenOSXAppDelegate::evgu_cancelclicked() {
  switchViewfrom(evgu, ini.bAllowManual ? av : tv);
}

}  // namespace talvane
