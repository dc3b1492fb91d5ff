#pragma once

#include <QLineEdit>
#include <QRect>

#include <array>
#include <string>

#include "config/ini.h"
#include "engine/cleared.h"
#include "enrol/enrol_flow.h"
#include "enrol/enrol_layout.h"
#include "ui/panel/panel.h"
#include "ui/panel/view.h"
#include "ui/views/address_view.h"
#include "ui/views/shell.h"
#include "ui_authentication_view.h"

namespace talvane {

/// The sign-in of an enrolment: user name, password and passcode, or the answer to a challenge.
class AuthenticationView final : public View {
 public:
  /// Borrows all. `address` opens instead if no server address is known.
  AuthenticationView(Panel& panel, Shell& shell, const Ini& ini, EnrolFlow& flow,
                     AddressView& address);

  void eva_init();
  void eva_layout();
  void eva_submitclicked();
  void eva_cancelclicked();

  /// The flow's message; if empty, the view shows its own prompt. The next `eva_layout` shows it.
  void setMessage(const std::string& text) { message_ = text; }
  void enableSubmit(bool enabled) { form_.eva_submit->setEnabled(enabled); }
  [[nodiscard]] Cleared<std::string> input(EnrolViews::Field field) const;
  void clear(EnrolViews::Field field);

  View* standIn() override;
  void init() override { eva_init(); }
  void closed() override;
  void released() override { flow_.forgetSecrets(); }
  [[nodiscard]] QAbstractButton* accepting() const override { return form_.eva_submit; }
  [[nodiscard]] QAbstractButton* cancelling() const override { return form_.eva_cancel; }

 private:
  void layOutSignIn();
  void connectFields();
  void showRows(const AuthenticationLayout& layout);
  void showFocus(AuthenticationLayout::Field focus);
  [[nodiscard]] QLineEdit* fieldOf(EnrolViews::Field field) const;

  Panel& panel_;
  Shell& shell_;
  const Ini& ini_;
  EnrolFlow& flow_;
  AddressView& address_;
  Ui::AuthenticationView form_;
  // The positions of the form's rows. The modes move the passcode to one of them.
  std::array<QRect, 3> labels_;
  std::array<QRect, 3> fields_;
  std::string message_;
};

}  // namespace talvane
