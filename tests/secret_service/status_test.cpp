#include "platform/linux/secret_service/status.h"
#include "platform/linux/secret_service/handles.h"

#include <gtest/gtest.h>

#include <set>

namespace talvane::secret_service {
namespace {

using Retry = Outcome::Retry;

Outcome outcomeOfBusError(const char* name, const char* words = "some words") {
  return outcomeOf(*ErrorHandle(g_dbus_error_new_for_dbus_error(name, words)));
}

Outcome outcomeOfGlibError(GIOErrorEnum code) {
  return outcomeOf(
      *ErrorHandle(g_error_new_literal(G_IO_ERROR, static_cast<gint>(code), "some words")));
}

TEST(SecretServiceStatus, TranslatesTheErrorsOfTheService) {
  EXPECT_EQ(outcomeOfBusError("org.freedesktop.Secret.Error.IsLocked").status,
            KeychainStatus::interaction_not_allowed);
  EXPECT_EQ(outcomeOfBusError("org.freedesktop.Secret.Error.NoSession").status,
            KeychainStatus::io_error);
  EXPECT_EQ(outcomeOfBusError("org.freedesktop.Secret.Error.NoSuchObject").status,
            KeychainStatus::io_error);
  EXPECT_EQ(outcomeOfBusError("org.example.Anything").status, KeychainStatus::io_error);
}

TEST(SecretServiceStatus, TranslatesTheSameOnceLibsecretKnowsItsErrors) {
  ASSERT_NE(secret_error_get_quark(), 0U);
  EXPECT_EQ(outcomeOfBusError("org.freedesktop.Secret.Error.IsLocked").status,
            KeychainStatus::interaction_not_allowed);
  EXPECT_EQ(outcomeOfBusError("org.freedesktop.Secret.Error.NoSession").retry, Retry::yes);
}

TEST(SecretServiceStatus, TranslatesTheErrorsOfTheBus) {
  EXPECT_EQ(outcomeOfBusError("org.freedesktop.DBus.Error.ServiceUnknown").status,
            KeychainStatus::not_available);
  EXPECT_EQ(outcomeOfBusError("org.freedesktop.DBus.Error.NameHasNoOwner").status,
            KeychainStatus::not_available);
  EXPECT_EQ(outcomeOfBusError("org.freedesktop.DBus.Error.TimedOut").status,
            KeychainStatus::not_responding);
  EXPECT_EQ(outcomeOfBusError("org.freedesktop.DBus.Error.NoReply").status,
            KeychainStatus::io_error);
}

TEST(SecretServiceStatus, TranslatesTheErrorsOfTheConnection) {
  EXPECT_EQ(outcomeOfGlibError(G_IO_ERROR_CANCELLED).status, KeychainStatus::not_responding);
  EXPECT_EQ(outcomeOfGlibError(G_IO_ERROR_TIMED_OUT).status, KeychainStatus::not_responding);
  EXPECT_EQ(outcomeOfGlibError(G_IO_ERROR_CLOSED).status, KeychainStatus::not_available);
  EXPECT_EQ(outcomeOfGlibError(G_IO_ERROR_BROKEN_PIPE).status, KeychainStatus::not_available);
  EXPECT_EQ(outcomeOfGlibError(G_IO_ERROR_INVALID_ARGUMENT).status, KeychainStatus::io_error);
}

TEST(SecretServiceStatus, TakesWhatIsNeitherFromTheBusNorTheConnectionForAFailure) {
  const Outcome outcome = outcomeOf(
      *ErrorHandle(g_error_new_literal(G_FILE_ERROR, G_FILE_ERROR_NOSPC, "No space is left.")));
  EXPECT_EQ(outcome.status, KeychainStatus::io_error);
  EXPECT_EQ(outcome.retry, Retry::no);
  EXPECT_EQ(outcome.words, "No space is left");
}

TEST(SecretServiceStatus, NothingButATimeoutIsAvailableWhenConnectingFails) {
  const ErrorHandle refused(g_error_new_literal(G_IO_ERROR, G_IO_ERROR_CONNECTION_REFUSED, "no"));
  EXPECT_EQ(outcomeOfConnecting(*refused).status, KeychainStatus::not_available);
  const ErrorHandle failed(g_dbus_error_new_for_dbus_error(
      "org.freedesktop.DBus.Error.Spawn.ChildExited", "it exited with status 1"));
  EXPECT_EQ(outcomeOfConnecting(*failed).status, KeychainStatus::not_available);
  const ErrorHandle slow(g_error_new_literal(G_IO_ERROR, G_IO_ERROR_TIMED_OUT, "slow"));
  EXPECT_EQ(outcomeOfConnecting(*slow).status, KeychainStatus::not_responding);
}

TEST(SecretServiceStatus, TellsWhatMayHaveBeenDoneFromWhatHasNot) {
  EXPECT_EQ(outcomeOfBusError("org.freedesktop.DBus.Error.ServiceUnknown").retry, Retry::yes);
  EXPECT_EQ(outcomeOfBusError("org.freedesktop.DBus.Error.UnknownMethod").retry, Retry::yes);
  EXPECT_EQ(outcomeOfBusError("org.freedesktop.DBus.Error.NoReply").retry, Retry::unless_changing);
  EXPECT_EQ(outcomeOfGlibError(G_IO_ERROR_CLOSED).retry, Retry::unless_changing);
  EXPECT_EQ(outcomeOfBusError("org.freedesktop.Secret.Error.IsLocked").retry, Retry::no);
  EXPECT_EQ(outcomeOfGlibError(G_IO_ERROR_CANCELLED).retry, Retry::no);
}

TEST(SecretServiceStatus, KeepsTheOtherSidesWordsAlone) {
  EXPECT_EQ(outcomeOfBusError("org.freedesktop.DBus.Error.Failed", "The disk is on fire.\n").words,
            "The disk is on fire");
}

TEST(SecretServiceStatus, EveryStatusHasASentenceOfItsOwn) {
  std::set<std::string> messages;
  const KeychainStatus statuses[] = {
      KeychainStatus::ok,
      KeychainStatus::disk_full,
      KeychainStatus::io_error,
      KeychainStatus::write_permission,
      KeychainStatus::not_available,
      KeychainStatus::no_default_keychain,
      KeychainStatus::interaction_not_allowed,
      KeychainStatus::duplicate_item,
      KeychainStatus::item_not_found,
      KeychainStatus::cannot_decode,
      KeychainStatus::invalid_keychain,
      KeychainStatus::not_responding,
  };
  for (const KeychainStatus status : statuses) {
    const std::string message = messageOf(status, "");
    EXPECT_FALSE(message.empty());
    EXPECT_NE(message.back(), '.') << message;
    EXPECT_NE(message.find("; "), std::string::npos) << "says not what to do: " << message;
    EXPECT_TRUE(messages.insert(message).second) << "said twice: " << message;
  }
}

TEST(SecretServiceStatus, AFailureIsToldInTheOtherSidesWords) {
  EXPECT_NE(messageOf(KeychainStatus::io_error, "The disk is on fire").find("The disk is on fire"),
            std::string::npos);
}

}  // namespace
}  // namespace talvane::secret_service
