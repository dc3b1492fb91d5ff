#include "ui/views/manual_view.h"

#include <cstddef>
#include <optional>
#include <string>

#include "config/ini.h"
#include "engine/cleared.h"
#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "engine/vane.h"
#include "store/new_token.h"
#include "store/problem.h"
#include "store/token_store.h"
#include "ui/kit/alert.h"
#include "ui/kit/fields.h"
#include "ui/kit/ui_text.h"
#include "ui/panel/panel.h"
#include "ui/panel/panel_geometry.h"
#include "ui/panel/view.h"
#include "ui/views/response_view.h"
#include "ui/views/shell.h"

namespace talvane {
namespace {

constexpr std::size_t short_seed_length = 13;  // the server completes it by the response code
constexpr std::size_t whole_seed_length = 16;

SoftTokenInfo typedToken(const std::string& description, const Cleared<std::string>& seed) {
  SoftTokenInfo token;
  token.updateDescription(description);
  token.seed32 = seed;
  token.type = 1;
  token.digits = 6;
  token.period = 30;
  token.counter = -1;
  return token;
}

}  // namespace

ManualView::ManualView(Panel& panel, Shell& shell, const Ini& ini, TokenStore& store,
                       ResponseView& response)
    : View("mv", manual_view_height),
      panel_(panel),
      shell_(shell),
      ini_(ini),
      store_(store),
      response_(response) {
  load(form_);
  setTitle(uiText("Add a token by hand"));
  form_.mvdesclabel->setBuddy(form_.mvdesc);
  form_.mvseedlabel->setBuddy(form_.mvseed);
  form_.mvdesc->setAccessibleName(QString::fromStdString(ini_.StrManualDesc));
  form_.mvseed->setAccessibleName(QString::fromStdString(ini_.StrManualSeed));
  onClick(form_.mvok, [this] { mv_okclicked(); });
  onClick(form_.mvcancel, [this] { mv_cancelclicked(); });
}

void ManualView::mv_init() {
  vane::log("MV : init: begin");
  form_.mvdesclabel->showText(QString::fromStdString(ini_.StrManualDesc));
  form_.mvseedlabel->showText(QString::fromStdString(ini_.StrManualSeed));
  form_.mvdesclabel->setTextColour(Qt::white);
  form_.mvseedlabel->setTextColour(Qt::white);
  panel_.positionToolbarLeft(form_.mvcancel);
  panel_.positionToolbarRight(form_.mvok);
  form_.mvdesc->setFocus();
  vane::log("MV : init: end");
}

void ManualView::closed() {
  forget(*form_.mvdesc);
  forget(*form_.mvseed);
}

void ManualView::mv_okclicked() {
  vane::log("MV : okclicked: begin");
  createToken();
  vane::log("MV : okclicked: end");
}

void ManualView::createToken() {
  const std::string description = form_.mvdesc->text().toStdString();
  const Cleared<std::string> seed = secretIn(*form_.mvseed);
  if (description.empty()) {
    vane::log("MV : okclicked: aborted :desc empty");
    shell_.simpleMessageBox(QString::fromStdString(ini_.StrManualDesc));
    return;
  }
  const std::size_t length = utf16Length(seed.get());
  if (length != short_seed_length && length != whole_seed_length) {
    vane::log("MV : okclicked: aborted :seed length wrong: ({})", length);
    shell_.simpleMessageBox(QString::fromStdString(ini_.StrManualSeed));
    return;
  }
  const SoftTokenInfo token = typedToken(description, seed);
  const auto plan = store_.plan(token);
  if (!plan && plan.error().next != Problem::Next::other_input) return refuse(plan.error());
  auto same_name = TokenStore::SameName::refuse;
  if (plan && plan->replaces) {
    const QString question = QString::fromStdString(questionBefore(token, plan->replaces));
    if (Alert::ask(panel_.alertSite(), question) != Alert::Result::alternate_return) return;
    same_name = TokenStore::SameName::replace;
  }
  // What is wrong with the input is traced when the token is added.
  const auto added = store_.add(token, same_name);
  if (!plan && !added && added.error().next == Problem::Next::confirm) {
    std::optional<std::string> response;
    static_cast<void>(vane::NewToken(token, &response, nullptr, true));
    return refuse(plan.error());
  }
  if (!added) return refuse(added.error());
  panel_.setAdded(added->slot);
  mv_created(length, *added);
}

void ManualView::refuse(const Problem& problem) {
  vane::log("MV : okclicked: NewToken returned error: {}", problem.words.english());
  shell_.simpleMessageBox(QString::fromStdString(problem.words));
}

void ManualView::mv_created(std::size_t seed_length, const TokenStore::Added& added) {
  if (seed_length == whole_seed_length) {
    vane::log("MV : okclicked: NewToken success: 16 digit seed, returning to tv");
    panel_.switchViewfrom(window(), panel_.window("tv"));
    return;
  }
  if (!added.response) {
    vane::log("MV : okclicked: response nil!");
    return;
  }
  vane::log("MV : okclicked: response: {}", *added.response);
  response_.setCode(*added.response);
  panel_.switchViewfrom(window(), response_.window());
}

void ManualView::mv_cancelclicked() {
  vane::log("MV : cancelclicked: begin");
  panel_.switchViewfrom(window(), panel_.window(ini_.bAllowTaEnrol ? "av" : "tv"));
  vane::log("MV : cancelclicked: end");
}

}  // namespace talvane
