#pragma once

// The one translator from the bus's, the daemon's and libsecret's errors to the keychain's.

#include <string>

#include "platform/keychain_service.h"
#include "platform/linux/secret_service/handles.h"

namespace talvane::secret_service {

/// How a request ended.
struct [[nodiscard]] Outcome {
  /// Whether asking anew, from the start, can do better.
  enum class Retry {
    no,
    unless_changing,  // the daemon went away and may have carried the request out
    yes,              // the request was not carried out: what it was sent to is gone
  };

  KeychainStatus status = KeychainStatus::ok;
  std::string words;  // the other side's own
  Retry retry = Retry::no;

  [[nodiscard]] bool good() const { return status == KeychainStatus::ok; }
};

/// The outcome of the error.
Outcome outcomeOf(const GError& error);

/// The outcome that is nothing but its status.
Outcome outcomeOf(KeychainStatus status);

/// The outcome of an error on the way to the bus or of starting the daemon: where `outcomeOf` knows
/// no better, there is no keychain to be had.
Outcome outcomeOfConnecting(const GError& error);

/// An io_error of our own finding.
Outcome failure(std::string words);

/// One sentence for the user; `words` are those of the outcome.
std::string messageOf(KeychainStatus status, const std::string& words);

}  // namespace talvane::secret_service
