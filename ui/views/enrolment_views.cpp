#include "ui/views/enrolment_views.h"

#include <memory>
#include <string>

#include "config/ini.h"
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

void EnrolmentViews::add(const Ini& ini, EnrolFlow& flow) {
  evgu_ = &panel_.add(std::make_unique<AddressView>(panel_, ini, flow));
  eva_ = &panel_.add(std::make_unique<AuthenticationView>(panel_, shell_, ini, flow, *evgu_));
  evgi_ = &panel_.add(std::make_unique<QuestionsView>(panel_, shell_, ini, flow));
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
