#include "cli/session.h"

#include <fmt/core.h>

#include <algorithm>
#include <charconv>
#include <utility>

#include "cli/failure.h"
#include "config/read_settings.h"

namespace talvane {
namespace {

bool isMissing(const vaneinterface::Outcome& outcome) {
  return outcome.status == KeychainStatus::item_not_found;
}

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
    settings_.emplace(*defaults_);
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

vaneinterface& Session::gateway() {
  if (!gateway_) {
    settings();
    gateway_.emplace(*keychain().service, *identifiers_);
    gateway_->setConsole(options_.console_log);
    vane::SetInterface(&*gateway_);
  }
  return *gateway_;
}

void Session::describeProblem(Tokens& tokens, std::size_t slot) {
  const auto& load = gateway().lastLoad();
  if (load.status != KeychainStatus::ok && load.status != KeychainStatus::cannot_decode) {
    throw Failure(exit_keychain, load.words());
  }
  tokens.problem_slot = slot;
  tokens.problem = fmt::format(
      "The record in slot {0} is {1} and hides those after it; delete it with: softtoken-cli "
      "delete "
      "{0}",
      slot,
      load.status == KeychainStatus::ok ? "of another computer or user, or was altered,"
                                        : "damaged");
}

Session::Tokens Session::readTokens() {
  gateway();
  vane::TokenArray array;
  const auto count = static_cast<std::size_t>(vane::ReadAllTokens(array));
  Tokens tokens;
  for (std::size_t i = 0; i < count; ++i) tokens.list.push_back(std::move(array[i]));
  if (count < array.size() && !isMissing(gateway().lastLoad())) describeProblem(tokens, count);
  return tokens;
}

Session::Tokens Session::readTokensAndGaps() {
  Tokens tokens = readTokens();
  if (!tokens.problem.empty()) return tokens;
  const std::size_t gap = tokens.list.size();
  const SlotReading reading(&gateway());
  for (std::size_t slot = gap + 1; slot < vane::max_tokens; ++slot) {
    const bool there = vane::ReadToken(static_cast<std::uint32_t>(slot), nullptr);
    if (there) {
      tokens.problem_slot = gap;
      tokens.problem = fmt::format(
          "Slot {0} is empty and hides those after it; close the gap with: softtoken-cli delete "
          "{0}",
          gap);
      return tokens;
    }
    if (!isMissing(gateway().lastLoad())) {
      describeProblem(tokens, slot);
      return tokens;
    }
  }
  return tokens;
}

std::size_t Session::find(const Tokens& tokens, const std::string& wanted) {
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
  const std::string hint = "see the names and slots with: softtoken-cli list";
  if (found.empty()) {
    throw Failure(exit_no_such_token,
                  tokens.problem.empty()
                      ? fmt::format("No token \"{}\"; {}", wanted, hint)
                      : fmt::format("No token \"{}\". {}", wanted, tokens.problem));
  }
  throw Failure(exit_no_such_token,
                fmt::format("\"{}\" fits {} tokens; {}", wanted, found.size(), hint));
}

SessionChange::SessionChange(Session& session) : change_(*session.keychain().service) {
  if (!change_.begun()) {
    throw Failure(change_.busy() ? exit_failed : exit_keychain, change_.error());
  }
}

void SessionChange::finish() {
  if (!change_.finish()) throw Failure(exit_keychain, change_.error());
}

}  // namespace talvane
