#pragma once

#include <string>

#include "ui/panel/panel.h"
#include "ui_response_view.h"

namespace talvane {

/// The response code of a 13-character seed, for the user to hand on.
class ResponseView final : public View {
 public:
  /// Borrows it.
  explicit ResponseView(Panel& panel);

  /// What it shows from now on.
  void setCode(const std::string& code);

  void rv_init();
  void rv_okclicked();

  void init() override { rv_init(); }
  [[nodiscard]] QAbstractButton* accepting() const override { return form_.rvok; }

 private:
  Panel& panel_;
  Ui::ResponseView form_;
};

}  // namespace talvane
