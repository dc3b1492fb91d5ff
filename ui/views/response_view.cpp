#include "ui/views/response_view.h"

#include "engine/vane.h"
#include "ui/kit/fields.h"
#include "ui/kit/look.h"
#include "ui/kit/ui_text.h"
#include "ui/panel/panel.h"
#include "ui/panel/panel_geometry.h"
#include "ui/panel/view.h"

namespace talvane {
namespace {

constexpr int code_font_size = 22;

}  // namespace

ResponseView::ResponseView(Panel& panel) : View("rv", response_view_height), panel_(panel) {
  load(form_);
  setTitle(uiText("Response code"));
  QFont digits = panelFont(code_font_size);
  digits.setLetterSpacing(QFont::AbsoluteSpacing, 1);
  form_.rvcode->setFont(digits);
  form_.rvprompt->setBuddy(form_.rvcode);
  form_.rvcode->setAccessibleName(form_.rvprompt->text());
  onClick(form_.rvok, [this] { rv_okclicked(); });
}

void ResponseView::closed() {
  forget(*form_.rvcode);
}

void ResponseView::rv_init() {
  vane::log("RV : init: begin");
  form_.rvcode->setText(QString::fromStdString(code_));
  code_.clear();
  panel_.positionToolbarLeft(form_.rvok);
  form_.rvok->setFocus();
  vane::log("RV : init: end");
}

void ResponseView::rv_okclicked() {
  vane::log("RV : okclicked: begin");
  panel_.switchViewfrom(window(), panel_.window("tv"));
  vane::log("RV : okclicked: end");
}

}  // namespace talvane
