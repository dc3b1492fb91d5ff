#pragma once

#include <vector>

#include "ui/panel/panel.h"
#include "ui/panel/view.h"
#include "ui_add_view.h"

namespace talvane {

/// Offers the two ways to add a token: enrolment at a server, or a typed seed.
class AddView final : public View {
 public:
  /// Borrows the panel.
  explicit AddView(Panel& panel);

  void av_init();
  void av_enrolclicked();
  void av_manualclicked();
  void av_cancelclicked();

  void init() override { av_init(); }
  [[nodiscard]] QAbstractButton* cancelling() const override { return form_.avcancel; }
  [[nodiscard]] std::vector<QWidget*> rows() const override {
    return {form_.avenrol, form_.avmanual};
  }

 private:
  Panel& panel_;
  Ui::AddView form_;
};

}  // namespace talvane
