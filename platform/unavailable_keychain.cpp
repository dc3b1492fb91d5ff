#include "platform/unavailable_keychain.h"

#include <string>
#include <utility>

#include "platform/keychain_service.h"

namespace talvane {

UnavailableKeychain::UnavailableKeychain(std::string name, std::string reason)
    : name_(std::move(name)), reason_(std::move(reason)) {}

KeychainStatus UnavailableKeychain::find(const std::string&, const std::string&, SecretBytes*) {
  return KeychainStatus::not_available;
}

KeychainStatus UnavailableKeychain::add(const std::string&, const std::string&,
                                        const SecretBytes&) {
  return KeychainStatus::not_available;
}

KeychainStatus UnavailableKeychain::replace(const std::string&, const std::string&,
                                            const SecretBytes&) {
  return KeychainStatus::not_available;
}

KeychainStatus UnavailableKeychain::remove(const std::string&, const std::string&) {
  return KeychainStatus::not_available;
}

std::string UnavailableKeychain::message(KeychainStatus) {
  return reason_;
}

KeychainDescription UnavailableKeychain::describe() {
  return {name_, "", KeychainStatus::not_available};
}

}  // namespace talvane
