#pragma once

#include <string>

#include "store/token_store.h"

namespace talvane {

/// The stored tokens, as they were when the open view was opened. Empty while no view shows them.
class ShownTokens {
 public:
  /// Borrows it.
  explicit ShownTokens(TokenStore& store) : store_(store) {}

  /// Reads them anew.
  void read();
  void clear();

  [[nodiscard]] const StoredTokens& stored() const { return stored_; }
  [[nodiscard]] int count() const { return static_cast<int>(stored_.list.size()); }
  /// For the user: why the tokens, or those behind the last one, could not be read; empty: they
  /// were.
  [[nodiscard]] const std::string& trouble() const { return trouble_; }

 private:
  TokenStore& store_;
  StoredTokens stored_;
  std::string trouble_;
};

}  // namespace talvane
