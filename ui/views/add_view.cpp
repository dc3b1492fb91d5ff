#include "ui/views/add_view.h"

#include "engine/vane.h"
#include "ui/kit/ui_text.h"
#include "ui/panel/panel.h"
#include "ui/panel/panel_geometry.h"
#include "ui/panel/view.h"

namespace talvane {

AddView::AddView(Panel& panel) : View("av", add_view_height), panel_(panel) {
  load(form_);
  setTitle(uiText("Add a token"));
  form_.avenrol->setDress(PanelButton::Dress::tile);
  form_.avmanual->setDress(PanelButton::Dress::tile);
  onClick(form_.avenrol, [this] { av_enrolclicked(); });
  onClick(form_.avmanual, [this] { av_manualclicked(); });
  onClick(form_.avcancel, [this] { av_cancelclicked(); });
}

void AddView::av_init() {
  vane::log("AV : init: begin");
  panel_.positionToolbarLeft(form_.avcancel);
  form_.avenrol->setFocus();
  vane::log("AV : init: end");
}

void AddView::av_enrolclicked() {
  vane::log("AV : enrolclicked: begin");
  panel_.switchViewfrom(window(), panel_.window("eva"));
  vane::log("AV : enrolclicked: end");
}

void AddView::av_manualclicked() {
  vane::log("AV : manualclicked: begin");
  panel_.switchViewfrom(window(), panel_.window("mv"));
  vane::log("AV : manualclicked: end");
}

void AddView::av_cancelclicked() {
  vane::log("AV : cancelclicked: begin");
  panel_.switchViewfrom(window(), panel_.window("tv"));
  vane::log("AV : cancelclicked: end");
}

}  // namespace talvane
