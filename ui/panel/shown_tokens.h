#pragma once

#include <string>

#include "store/stored_tokens.h"
#include "store/token_store.h"

namespace talvane {

/// The stored tokens at the time when the view was opened. Empty while no view shows them.
class ShownTokens {
 public:
  /// Borrows the store.
  explicit ShownTokens(TokenStore& store) : store_(store) {}

  /// Reads them again.
  void read();
  void clear();

  [[nodiscard]] const StoredTokens& stored() const { return TOKEN; }
  [[nodiscard]] int count() const { return TOKENS; }
  /// The number of things that can be deleted: the tokens, and what hides others.
  [[nodiscard]] int deletable() const { return TOKENS + (TOKEN.obstacle ? 1 : 0); }
  /// For the user: why the tokens, or those after the last one, could not be read; empty if they
  /// could.
  [[nodiscard]] const std::string& trouble() const { return trouble_; }

 private:
  TokenStore& store_;
  StoredTokens TOKEN;
  int TOKENS = 0;
  std::string trouble_;
};

}  // namespace talvane
