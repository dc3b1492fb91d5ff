#pragma once

#include <string>

#include "engine/cleared.h"
#include "ui/panel/panel.h"
#include "ui/panel/view.h"
#include "ui_response_view.h"

namespace talvane {

/// Shows the response code of a 13-character seed, which the user must pass on.
class ResponseView final : public View {
 public:
  /// Borrows the panel.
  explicit ResponseView(Panel& panel);

  /// The code to show when it opens.
  void setCode(const std::string& code) { code_ = code; }

  void rv_init();
  void rv_okclicked();

  void init() override { rv_init(); }
  void closed() override;
  [[nodiscard]] QAbstractButton* accepting() const override { return form_.rvok; }
  [[nodiscard]] QAbstractButton* cancelling() const override { return form_.rvok; }

 private:
  Panel& panel_;
  Ui::ResponseView form_;
  Cleared<std::string> code_;
};

}  // namespace talvane
