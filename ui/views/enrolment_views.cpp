#include "ui/views/enrolment_views.h"

#include <string>

#include "engine/soft_token_info.h"
#include "enrol/enrol_flow.h"
#include "store/new_token.h"
#include "ui/kit/alert.h"
#include "ui/views/address_view.h"
#include "ui/views/authentication_view.h"
#include "ui/views/questions_view.h"
#include "ui/wait/wait.h"

namespace talvane {
namespace {

const char* nameOf(EnrolViews::View view) {
  switch (view) {
    case EnrolViews::View::av:
      return "av";
    case EnrolViews::View::eva:
      return "eva";
    case EnrolViews::View::evgi:
      return "evgi";
    case EnrolViews::View::evgu:
      return "evgu";
    case EnrolViews::View::tv:
      break;
  }
  return "tv";
}

}  // namespace

void EnrolmentViews::join(AuthenticationView& eva, QuestionsView& evgi, AddressView& evgu) {
  eva_ = &eva;
  evgi_ = &evgi;
  evgu_ = &evgu;
}

void EnrolmentViews::switchView(View from, View to) {
  panel_.switchViewfrom(panel_.window(nameOf(from)), panel_.window(nameOf(to)));
}

void EnrolmentViews::goHome() {
  // Cancel or the close button has said where to go instead.
  if (Wait::isLeaving()) return;
  panel_.switchViewfrom(panel_.openPanel(), panel_.window("tv"));
}

void EnrolmentViews::refreshAuthentication() {
  panel_.refreshView(eva_->window());
}

bool EnrolmentViews::showsAuthentication() {
  return panel_.openPanel() == eva_->window();
}

void EnrolmentViews::simpleMessageBox(const std::string& text) {
  shell_.simpleMessageBox(QString::fromStdString(text));
}

bool EnrolmentViews::mayReplace(const SoftTokenInfo& issued, const std::string& stored) {
  return Alert::ask(panel_.alertSite(), QString::fromStdString(questionBefore(issued, stored))) ==
         Alert::Result::alternate_return;
}

}  // namespace talvane
