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
  /// Whether they were read and the user has none yet.
  [[nodiscard]] bool isEmpty() const { return TOKENS == 0 && trouble_.empty(); }
  /// The number of things that can be deleted: the tokens, and what hides others.
  [[nodiscard]] int deletable() const { return TOKENS + (TOKEN.obstacle ? 1 : 0); }
  /// For the user: why the tokens, or those after the last one, could not be read; empty if they
  /// could.
  [[nodiscard]] const std::string& trouble() const { return trouble_; }

  /// Whether they could not be read because the keychain is locked, and `unlock` can ask the user.
  [[nodiscard]] bool canUnlock() const { return can_unlock_; }
  /// Asks the user to unlock the keychain, and waits for the answer.
  void unlock() { static_cast<void>(store_.unlock()); }
  /// Whether the keychain is still locked, as far as it tells.
  [[nodiscard]] bool isStillLocked();

 private:
  TokenStore& store_;
  StoredTokens TOKEN;
  int TOKENS = 0;
  std::string trouble_;
  bool can_unlock_ = false;
};

}  // namespace talvane
