#include "cli/session.h"

#include <fmt/format.h>
#include <fmt/ranges.h>  // IWYU pragma: keep (the place of join() since version 11)

#include <charconv>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "cli/exit_codes.h"
#include "cli/failure.h"
#include "config/ini.h"
#include "config/read_settings.h"
#include "engine/soft_token_info.h"
#include "engine/vane.h"
#include "platform/device_identifiers.h"
#include "platform/keychains.h"
#include "platform/translation.h"
#include "platform/user_defaults.h"
#include "platform/vaneinterface.h"
#include "store/problem.h"
#include "store/stored_tokens.h"
#include "store/token_store.h"

namespace talvane {
namespace {

// Each try lost to a change by another program.
constexpr int most_tries = 100;

std::optional<std::size_t> slotNumber(const std::string& text) {
  std::size_t slot = 0;
  const char* end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, slot);
  if (error != std::errc() || rest != end) return std::nullopt;
  return slot;
}

template <typename Predicate>
std::vector<std::size_t> indexesWhere(const std::vector<std::unique_ptr<SoftTokenInfo>>& tokens,
                                      Predicate predicate) {
  std::vector<std::size_t> indexes;
  for (std::size_t i = 0; i < tokens.size(); ++i) {
    if (predicate(*tokens[i])) indexes.push_back(i);
  }
  return indexes;
}

}  // namespace

Session::Session(SessionOptions options)
    : options_(std::move(options)),
      defaults_(systemUserDefaults()),
      identifiers_(systemDeviceIdentifiers()) {
  vane::InitColors();
}

Session::~Session() {
  vane::SetInterface(nullptr);
}

Ini& Session::settings() {
  if (!settings_) {
    settings_.emplace(*defaults_, options_.folders);
    readSettingsQuietly(*settings_, trace_path);
  }
  return *settings_;
}

UserKeychain& Session::keychain() {
  if (keychain_.service == nullptr) {
    keychain_ = openUserKeychain(*defaults_, options_.keychain);
    if (keychain_.service == nullptr) throw Failure(exit_keychain, keychain_.error);
  }
  return keychain_;
}

std::string Session::keychainKind() {
  if (keychain_.service != nullptr) return keychain_.kind;
  return openUserKeychain(*defaults_, "").kind;
}

vaneinterface& Session::gateway() {
  if (!gateway_) {
    settings();
    gateway_.emplace(*keychain().service, *identifiers_);
    gateway_->setConsole(options_.console_log);
    vane::SetInterface(&*gateway_);
  }
  return *gateway_;
}

TokenStore& Session::store() {
  if (!store_) store_.emplace(gateway(), *keychain().service, defaults_.get());
  return *store_;
}

StoredTokens Session::readTokens() {
  auto tokens = store().read();
  if (!tokens) throw failureOf(tokens.error());
  return std::move(*tokens);
}

void Session::changeTokens(const std::function<Result<void>(const StoredTokens&)>& change,
                           InputFrom from) {
  for (int tries = most_tries; tries > 0; --tries) {
    const auto changed = change(readTokens());
    if (changed) return;
    if (changed.error().next != Problem::Next::look_again || tries == 1) {
      throw failureOf(changed.error(), from);
    }
  }
}

std::size_t Session::find(const StoredTokens& tokens, const std::string& wanted) {
  const auto& list = tokens.list;
  const auto current = [&](const SoftTokenInfo& t) { return t.currentDescription() == wanted; };
  const auto original = [&](const SoftTokenInfo& t) { return t.originalDescription() == wanted; };
  const auto prefix = [&](const SoftTokenInfo& t) {
    return t.currentDescription().value_or("").starts_with(wanted);
  };
  auto found = indexesWhere(list, current);
  if (found.empty()) found = indexesWhere(list, original);
  if (found.empty()) {
    const auto slot = slotNumber(wanted);
    if (slot && *slot < list.size()) return *slot;
    if (!wanted.empty()) found = indexesWhere(list, prefix);
  }
  if (found.size() == 1) return found.front();
  if (found.empty()) {
    throw Failure(exit_no_such_token,
                  tokens.obstacle
                      ? translatedWith("No token \"{}\". {}", wanted, wordsFor(*tokens.obstacle))
                      : translatedWith("No token \"{}\"; `softtoken-cli list` shows the names and "
                                       "slots",
                                       wanted));
  }
  std::vector<std::string> names;
  for (const std::size_t slot : found) {
    names.push_back(list[slot]->currentDescription().value_or(""));
  }
  throw Failure(exit_no_such_token,
                translatedWith("\"{}\" matches {} tokens: {}; give a whole name, or a slot "
                               "number from `softtoken-cli list`",
                               wanted, found.size(), fmt::join(names, ", ")));
}

}  // namespace talvane
