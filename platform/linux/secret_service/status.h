#pragma once

// Translates errors of the bus, the daemon and libsecret to the keychain's, in this place only.

#include <glib.h>

#include <string>

#include "platform/keychain_service.h"

namespace talvane::secret_service {

/// How a request ended.
struct [[nodiscard]] Outcome {
  /// Whether trying again from the start may succeed.
  enum class Retry {
    no,
    unless_changing,  // the daemon went away and may have carried the request out
    yes,              // the request was not carried out: its recipient is gone
  };

  KeychainStatus status = KeychainStatus::ok;
  std::string words;  // the other side's error text
  Retry retry = Retry::no;

  [[nodiscard]] bool good() const { return status == KeychainStatus::ok; }
};

/// The outcome for the error.
Outcome outcomeOf(const GError& error);

/// The outcome for a status alone.
Outcome outcomeOf(KeychainStatus status);

/// The outcome for an error while connecting to the bus or starting the daemon: what `outcomeOf`
/// calls an io_error is not_available here.
Outcome outcomeOfConnecting(const GError& error);

/// An io_error that this side found.
Outcome failure(std::string words);

/// One sentence for the user; `words` come from the outcome.
std::string messageOf(KeychainStatus status, const std::string& words);

}  // namespace talvane::secret_service
