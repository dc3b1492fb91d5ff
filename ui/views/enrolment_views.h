#pragma once

#include <cstdint>
#include <string>

#include "config/ini.h"
#include "engine/cleared.h"
#include "engine/soft_token_info.h"
#include "enrol/enrol_flow.h"
#include "ui/panel/panel.h"
#include "ui/views/address_view.h"
#include "ui/views/authentication_view.h"
#include "ui/views/questions_view.h"
#include "ui/views/shell.h"

namespace talvane {

/// The three enrolment views, as the flow uses them. It must not use them before `add`.
class EnrolmentViews final : public EnrolViews {
 public:
  /// Borrows both.
  EnrolmentViews(Panel& panel, Shell& shell) : panel_(panel), shell_(shell) {}

  /// Makes the views and adds them to the panel. Borrows both.
  void add(const Ini& ini, EnrolFlow& flow);

  void switchView(View from, View to) override;
  void stored(std::int32_t slot) override { panel_.setAdded(slot); }
  void goHome() override;
  void refreshAuthentication() override;
  bool showsAuthentication() override;
  void eva_layout() override { eva_->eva_layout(); }
  void setAuthenticationMessage(const std::string& text) override { eva_->setMessage(text); }
  void enableAuthenticationSubmit(bool enabled) override { eva_->enableSubmit(enabled); }
  Cleared<std::string> input(Field field) override { return eva_->input(field); }
  void clear(Field field) override { eva_->clear(field); }
  GetInfoInput getInfoInput() override { return evgi_->input(); }
  void enableGetInfoSubmit(bool enabled) override { evgi_->enableSubmit(enabled); }
  std::string addressInput() override { return evgu_->input(); }
  void setAddressMessage(const std::string& text) override { evgu_->setMessage(text); }
  void simpleMessageBox(const std::string& text) override;
  bool mayReplace(const SoftTokenInfo& issued, const std::string& stored) override;

 private:
  Panel& panel_;
  Shell& shell_;
  AuthenticationView* eva_ = nullptr;
  QuestionsView* evgi_ = nullptr;
  AddressView* evgu_ = nullptr;
};

}  // namespace talvane
