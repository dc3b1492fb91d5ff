#pragma once

#include <string>

#include "config/ini.h"
#include "enrol/enrol_flow.h"
#include "ui/panel/panel.h"
#include "ui/panel/view.h"
#include "ui_address_view.h"

namespace talvane {

/// Asks for the address of the enrolment server.
class AddressView final : public View {
 public:
  /// Borrows all.
  AddressView(Panel& panel, const Ini& ini, EnrolFlow& flow);

  void evgu_init();
  void evgu_submitclicked();
  void evgu_cancelclicked();

  /// Why the view asks for the address.
  void setMessage(const std::string& text);
  [[nodiscard]] std::string input() const;

  void init() override { evgu_init(); }
  void closed() override;
  [[nodiscard]] QAbstractButton* accepting() const override { return form_.evgu_submit; }
  [[nodiscard]] QAbstractButton* cancelling() const override { return form_.evgu_cancel; }

 private:
  Panel& panel_;
  const Ini& ini_;
  EnrolFlow& flow_;
  Ui::AddressView form_;
};

}  // namespace talvane
