#pragma once

#include <cstddef>

#include "config/ini.h"
#include "store/problem.h"
#include "store/token_store.h"
#include "ui/panel/panel.h"
#include "ui/panel/view.h"
#include "ui/views/response_view.h"
#include "ui/views/shell.h"
#include "ui_manual_view.h"

namespace talvane {

/// Adds a token from a typed description and seed.
class ManualView final : public View {
 public:
  /// Borrows all; `response` shows the response code of a 13-character seed.
  ManualView(Panel& panel, Shell& shell, const Ini& ini, TokenStore& store, ResponseView& response);

  void mv_init();
  void mv_okclicked();
  /// What follows once the token is stored: home, or the response code of a 13-character seed.
  void mv_created(std::size_t seed_length, const TokenStore::Added& added);
  void mv_cancelclicked();

  void init() override { mv_init(); }
  void closed() override;
  [[nodiscard]] QAbstractButton* accepting() const override { return form_.mvok; }
  [[nodiscard]] QAbstractButton* cancelling() const override { return form_.mvcancel; }

 private:
  void createToken();
  void refuse(const Problem& problem);

  Panel& panel_;
  Shell& shell_;
  const Ini& ini_;
  TokenStore& store_;
  ResponseView& response_;
  Ui::ManualView form_;
};

}  // namespace talvane
