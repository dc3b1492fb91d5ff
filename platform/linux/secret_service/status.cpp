#include "platform/linux/secret_service/status.h"

#include <fmt/core.h>

#include <string>
#include <string_view>
#include <utility>

#include "platform/keychain_service.h"
#include "platform/linux/secret_service/handles.h"
#include "platform/translation.h"

namespace talvane::secret_service {
namespace {

using Retry = Outcome::Retry;

struct Meaning {
  std::string_view name;
  KeychainStatus status;
  Retry retry;
};

// Errors that have a name on the bus.
constexpr Meaning named_meanings[] = {
    {"org.freedesktop.Secret.Error.IsLocked", KeychainStatus::interaction_not_allowed, Retry::no},
    {"org.freedesktop.Secret.Error.NoSession", KeychainStatus::io_error, Retry::yes},
    // The collection or item existed a moment ago.
    {"org.freedesktop.Secret.Error.NoSuchObject", KeychainStatus::io_error, Retry::yes},
    {"org.freedesktop.DBus.Error.UnknownObject", KeychainStatus::io_error, Retry::yes},
    {"org.freedesktop.DBus.Error.UnknownMethod", KeychainStatus::io_error, Retry::yes},
    {"org.freedesktop.DBus.Error.UnknownInterface", KeychainStatus::io_error, Retry::yes},
    {"org.freedesktop.DBus.Error.ServiceUnknown", KeychainStatus::not_available, Retry::yes},
    {"org.freedesktop.DBus.Error.NameHasNoOwner", KeychainStatus::not_available, Retry::yes},
    // The bus reports this when the recipient left without answering.
    {"org.freedesktop.DBus.Error.NoReply", KeychainStatus::io_error, Retry::unless_changing},
    {"org.freedesktop.DBus.Error.Disconnected", KeychainStatus::not_available,
     Retry::unless_changing},
    {"org.freedesktop.DBus.Error.Timeout", KeychainStatus::not_responding, Retry::no},
    {"org.freedesktop.DBus.Error.TimedOut", KeychainStatus::not_responding, Retry::no},
};

Meaning meaningOf(const GError& error) {
  const Meaning other = {{}, KeychainStatus::io_error, Retry::no};
  if (g_dbus_error_is_remote_error(&error) != FALSE || error.domain != G_IO_ERROR) {
    gchar* remote = g_dbus_error_get_remote_error(&error);
    const std::string name = remote != nullptr ? remote : "";
    g_free(remote);
    for (const Meaning& meaning : named_meanings) {
      if (meaning.name == name) return meaning;
    }
    return other;
  }
  switch (error.code) {
    case G_IO_ERROR_CANCELLED:
    case G_IO_ERROR_TIMED_OUT:
      return {{}, KeychainStatus::not_responding, Retry::no};
    case G_IO_ERROR_CLOSED:
    case G_IO_ERROR_BROKEN_PIPE:
      return {{}, KeychainStatus::not_available, Retry::unless_changing};
    default:
      return other;
  }
}

std::string wordsOf(const GError& error) {
  ErrorHandle copy(g_error_copy(&error));
  g_dbus_error_strip_remote_error(copy.get());
  std::string words = copy->message != nullptr ? copy->message : "";
  words.erase(words.find_last_not_of(". \t\r\n") + 1);
  return words;
}

}  // namespace

Outcome outcomeOf(const GError& error) {
  const Meaning meaning = meaningOf(error);
  return {meaning.status, wordsOf(error), meaning.retry};
}

Outcome outcomeOfConnecting(const GError& error) {
  Outcome outcome = outcomeOf(error);
  if (outcome.status == KeychainStatus::io_error) outcome.status = KeychainStatus::not_available;
  return outcome;
}

Outcome outcomeOf(KeychainStatus status) {
  return {status, {}, Retry::no};
}

Outcome failure(std::string words) {
  return {KeychainStatus::io_error, std::move(words), Retry::no};
}

std::string messageOf(KeychainStatus status, const std::string& words) {
  switch (status) {
    case KeychainStatus::ok:
      return marked("The keychain works; there is nothing to do");
    case KeychainStatus::item_not_found:
      return marked("The keychain has no such item; add the token again if it should be there");
    case KeychainStatus::duplicate_item:
      return marked("The keychain already has such an item; delete it first, or keep it");
    case KeychainStatus::interaction_not_allowed:
      return marked(
          "The keychain is locked; unlock it, for example in the desktop's password "
          "manager, and try again");
    case KeychainStatus::not_available:
      if (words.empty()) {
        return marked(
            "No Secret Service on the session bus; log in to the desktop, or start a keychain "
            "service such as GNOME Keyring, and try again");
      }
      return fmt::format(
          marked("No Secret Service on the session bus ({}); log in to the desktop, or start a "
                 "keychain service such as GNOME Keyring, and try again"),
          words);
    case KeychainStatus::no_default_keychain:
      return marked(
          "The Secret Service has no default keychain; create one in the desktop's password "
          "manager and try again");
    case KeychainStatus::cannot_decode:
      return marked(
          "The item in the keychain is damaged; restore it from a backup, or delete it and add "
          "the token again");
    case KeychainStatus::not_responding:
      return marked(
          "The keychain did not answer within two seconds; try again in a moment, and restart "
          "the keychain service if that does not help");
    case KeychainStatus::disk_full:
      return marked("The disk is full and the item was not stored; free some space and try again");
    case KeychainStatus::write_permission:
      return marked("The keychain is read-only; choose another default keychain and try again");
    case KeychainStatus::invalid_keychain:
      return marked("The keychain is damaged; restore it from a backup and try again");
    case KeychainStatus::io_error:
      break;
  }
  if (words.empty()) {
    return marked(
        "The keychain reported an error; try again, and restart the keychain service if that does "
        "not help");
  }
  return fmt::format(marked("The keychain reported an error ({}); try again, and restart the "
                            "keychain service if that does not help"),
                     words);
}

}  // namespace talvane::secret_service
