#include "store/token_store.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tl/expected.hpp>
#include <utility>
#include <vector>

#include "engine/cleared.h"
#include "engine/log.h"
#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "engine/vane.h"
#include "platform/folders.h"
#include "platform/keychain_service.h"
#include "platform/translation.h"
#include "platform/user_defaults.h"
#include "platform/vaneinterface.h"
#include "store/new_token.h"
#include "store/problem.h"
#include "store/slot_deletion.h"
#include "store/slots.h"
#include "store/store_change.h"
#include "store/stored_tokens.h"
#include "store/undone.h"

namespace talvane {
namespace {

using Next = Problem::Next;
using State = Slots::State;
using Recording = vaneinterface::Recording;

Problem cannotBeSealed() {
  return {Next::other_input,
          translated("Cannot seal this seed on this computer; ask for another one")};
}

// What the engine says of a refused token.
[[maybe_unused]] constexpr const char* refusals[] = {
    marked("Invalid seed length"), marked("Invalid character in seed"),
    marked("Failed to find unique device id"), marked("Failed to generate passcode")};

// Commits the change, unless it was made under an identity that did not last.
Result<void> finish(StoreChange& change, const Recording& recording) {
  if (!recording.hasSameIdentity()) {
    return tl::unexpected(Problem{
        Next::try_again,
        translated(
            "This computer's identity changed in the meantime; check the tokens and try again")});
  }
  return change.finish();
}

// Running out of memory is a Problem too. The change has been abandoned by then.
template <typename Change>
auto withoutThrowing(Change change) -> decltype(change()) {
  try {
    return change();
  } catch (const std::bad_alloc&) {
    return tl::unexpected(Problem{Next::try_again, translated(not_enough_memory)});
  }
}

Problem sameNameTaken(const TokenStore::Plan& plan, const std::string& created_as) {
  Words words = translatedWith("Slot {} already holds the token \"{}\"", plan.slot,
                               shownName(*plan.replaces));
  if (*plan.replaces != created_as) {
    words += translatedWith(", which was created as \"{}\"", shownName(created_as));
  }
  return {Next::confirm, words, plan.slot};
}

// Where the engine puts the token; a Problem if that would lose or hide a record.
Result<TokenStore::Plan> placeFor(const SoftTokenInfo& token, const Slots& slots) {
  const auto name = token.originalDescription();
  const std::size_t count = slots.count();
  TokenStore::Plan plan{static_cast<std::int32_t>(count), std::nullopt};
  for (std::size_t slot = 0; slot < count && !plan.replaces; ++slot) {
    if (slots.tokens[slot]->originalDescription() != name) continue;
    plan = {static_cast<std::int32_t>(slot), slots.tokens[slot]->currentDescription().value_or("")};
  }
  if (const auto unreadable = slots.firstUnreadable(count)) {
    const bool in_its_place = !plan.replaces && *unreadable == count;
    if (in_its_place || slots.recordsBehind(*unreadable) > 0) {
      return tl::unexpected(inTheWay(Undone::stored, *slots.obstacle()));
    }
  }
  if (plan.replaces) return plan;
  if (count == slots.states.size()) {
    return tl::unexpected(
        Problem{Next::make_room, translated("All 32 slots hold tokens; delete one first")});
  }
  for (std::size_t slot = count; slot < slots.states.size(); ++slot) {
    if (slots.tokens[slot] != nullptr && slots.tokens[slot]->originalDescription() == name) {
      return tl::unexpected(inTheWay(Undone::stored, *slots.obstacle()));
    }
  }
  return plan;
}

// Why the engine refuses the token's seed; nullopt if it does not.
std::optional<Problem> problemWithSeed(const SoftTokenInfo& token) {
  const EngineLog::Pause quiet;
  std::optional<std::string> response;
  auto refused = vane::NewToken(token, &response, nullptr, true);
  if (!refused) return std::nullopt;
  return Problem{Next::other_input, translated(*refused)};
}

// Whether the slot loads under the current device identity and holds the token.
bool isStored(const SoftTokenInfo& token, std::int32_t slot) {
  vane::clearIdentityCache();
  const EngineLog::Pause quiet;
  std::unique_ptr<SoftTokenInfo> stored;
  return vane::ReadToken(static_cast<std::uint32_t>(slot), &stored) &&
         stored->description == token.description && isSameToken(*stored, token);
}

bool isAsSeen(const TokenStore::Selection& selected, const StoredTokens& seen, const Slots& now) {
  const std::size_t count = now.count();
  const auto obstacle = now.obstacle();
  for (std::size_t slot = 0; slot < selected.size(); ++slot) {
    if (selected[slot] == 0) continue;
    if (slot < seen.list.size()) {
      if (slot >= count || !isSameToken(*now.tokens[slot], *seen.list[slot])) return false;
    } else if (!seen.obstacle || !obstacle || seen.obstacle->slot != obstacle->slot ||
               seen.obstacle->kind != obstacle->kind ||
               static_cast<std::size_t>(obstacle->slot) != slot) {
      return false;
    }
  }
  return true;
}

// Whether the slots from one to the other hold the tokens that the user saw there.
bool isOrderAsSeen(std::int32_t from, std::int32_t to, const StoredTokens& seen, const Slots& now) {
  const auto last = static_cast<std::size_t>(std::max(from, to));
  if (from < 0 || to < 0 || last >= seen.list.size() || last >= now.count()) return false;
  for (auto slot = static_cast<std::size_t>(std::min(from, to)); slot <= last; ++slot) {
    if (!isSameToken(*now.tokens[slot], *seen.list[slot])) return false;
  }
  return true;
}

// The token with the 13 characters that its seed was completed from; nullopt if it was complete.
// The last of them is not known, and does not count.
std::optional<SoftTokenInfo> rootOf(const SoftTokenInfo& token) {
  if (!token.seed32 || token.seed32->get().size() != 16) return std::nullopt;
  SoftTokenInfo root;
  root.period = token.period;
  Cleared<std::string> seed;
  seed.mutableValue().assign(token.seed32->get(), 0, 13);
  root.seed32 = std::move(seed);
  const EngineLog::Pause quiet;
  const auto full = vane::ExpandSeed(root, nullptr);
  vane::clearIdentityCache();
  if (!full || full->get() != token.seed32->get()) return std::nullopt;
  return root;
}

// The slot of the token; the slots hold it.
std::int32_t slotOf(const SoftTokenInfo& token, const Slots& slots) {
  const auto found = std::find_if(
      slots.tokens.begin(), slots.tokens.end(),
      [&](const auto& stored) { return stored != nullptr && isSameToken(*stored, token); });
  return static_cast<std::int32_t>(found - slots.tokens.begin());
}

// The tokens by slot, as they shall stand.
using Order = std::array<const SoftTokenInfo*, vane::max_tokens>;

Order movedOrder(const Slots& slots, std::int32_t from, std::int32_t to) {
  Order order{};
  std::transform(slots.tokens.begin(), slots.tokens.end(), order.begin(),
                 [](const auto& token) { return token.get(); });
  const auto first = order.begin() + std::min(from, to);
  const auto end = order.begin() + std::max(from, to) + 1;
  std::rotate(first, from < to ? first + 1 : end - 1, end);
  return order;
}

bool standsIn(const Order& order, const Slots& slots) {
  return std::equal(order.begin(), order.end(), slots.tokens.begin(),
                    [](const SoftTokenInfo* wanted, const auto& found) {
                      if (wanted == nullptr || found == nullptr) return wanted == found.get();
                      return isSameToken(*wanted, *found) &&
                             wanted->description == found->description;
                    });
}

// The creation names that no token has any longer.
std::vector<std::string> namesGone(const Slots& before, const Slots& after) {
  const auto isKept = [&](const std::string& name) {
    return std::any_of(after.tokens.begin(), after.tokens.end(), [&](const auto& token) {
      return token != nullptr && token->originalDescription() == name;
    });
  };
  std::vector<std::string> gone;
  for (const auto& token : before.tokens) {
    if (token == nullptr) continue;
    std::string name = token->originalDescription().value_or("");
    if (!isKept(name)) gone.push_back(std::move(name));
  }
  return gone;
}

}  // namespace

TokenStore::TokenStore(vaneinterface& gateway, KeychainService& keychain, UserDefaults* defaults,
                       std::chrono::milliseconds patience, Blocking blocking)
    : gateway_(gateway),
      keychain_(keychain),
      patience_(patience),
      blocking_(std::move(blocking)),
      enrolled_at_(defaults) {}

Result<StoredTokens> TokenStore::read() {
  const Recording recording(gateway_);
  return lookAtSlots(gateway_, recording, LookLog::on).map([](Slots&& slots) {
    StoredTokens stored;
    stored.obstacle = slots.obstacle();
    const std::size_t count = slots.count();
    for (std::size_t i = 0; i < count; ++i) stored.list.push_back(std::move(slots.tokens[i]));
    return stored;
  });
}

bool TokenStore::unlock() {
  const std::string account = Recording(gateway_).identity().login_name;
  return keychain_.unlock(account, {}) == KeychainStatus::ok;
}

Result<TokenStore::Plan> TokenStore::plan(const SoftTokenInfo& token, const std::string& server) {
  if (auto problem = problemWithNames(token)) return tl::unexpected(std::move(*problem));
  if (auto problem = problemWithSeed(token)) return tl::unexpected(std::move(*problem));
  const EngineLog::Pause quiet;
  const Recording recording(gateway_);
  auto plan = lookAtSlots(gateway_, recording, LookLog::off).and_then([&](const Slots& slots) {
    return placeFor(token, slots);
  });
  if (plan && plan->replaces) {
    plan->from_same_server = enrolled_at_.isFrom(server, *token.originalDescription());
  }
  return plan;
}

Result<void> TokenStore::checkRoom() {
  const Recording recording(gateway_);
  return lookAtSlots(gateway_, recording, LookLog::off)
      .and_then([](const Slots& slots) { return placeFor(SoftTokenInfo(), slots); })
      .map([](const Plan& /*plan*/) {});
}

Result<TokenStore::Added> TokenStore::add(const SoftTokenInfo& token, SameName same_name) {
  return withoutThrowing([&] { return store(token, same_name, std::nullopt); });
}

Result<TokenStore::Added> TokenStore::addIssued(const SoftTokenInfo& token,
                                                const std::string& server, SameName same_name) {
  return withoutThrowing([&] { return store(token, same_name, server); });
}

Result<TokenStore::Added> TokenStore::store(const SoftTokenInfo& token, SameName same_name,
                                            const std::optional<std::string>& server) {
  if (auto problem = problemWithNames(token)) return tl::unexpected(std::move(*problem));
  // Nobody shall be asked about a seed that cannot work.
  if (auto problem = server ? std::nullopt : problemWithSeed(token)) {
    return tl::unexpected(std::move(*problem));
  }
  StoreChange change(keychain_, patience_, blocking_);
  if (change.problem()) return tl::unexpected(*change.problem());
  Recording recording(gateway_);
  const auto plan = lookAtSlots(gateway_, recording, LookLog::off)
                        .and_then([&](Slots&& slots) {
                          return clearRepeated(gateway_, recording, std::move(slots));
                        })
                        .and_then([&](const Slots& slots) { return placeFor(token, slots); });
  if (!plan) return tl::unexpected(plan.error());
  const std::string name = token.originalDescription().value_or("");
  if (plan->replaces) {
    if (same_name == SameName::refuse && !(server && enrolled_at_.isFrom(*server, name))) {
      return tl::unexpected(sameNameTaken(*plan, name));
    }
    recording.mayReplace(vane::recordName(static_cast<std::uint32_t>(plan->slot)));
  }

  // First, so that a failure at worst makes a later enrolment ask. What a server has issued must be
  // stored all the same.
  const bool known = server && enrolled_at_.isFrom(*server, name);
  if (!known && !enrolled_at_.forget(name) && !server) {
    return tl::unexpected(Problem{
        Next::check_keychain,
        translatedWith("Cannot change the user defaults; check that {} can be read and written",
                       configFolder())});
  }
  Added added{vane::slot_of_same_name, std::nullopt};
  if (server) {
    static_cast<void>(vane::WriteToken(&added.slot, token));
  } else if (auto refused = vane::NewToken(token, &added.response, &added.slot, false)) {
    return tl::unexpected(Problem{Next::other_input, translated(*refused)});
  }
  if (recording.refused()) return tl::unexpected(cutShort(Undone::stored));
  if (recording.failedChange()) return tl::unexpected(keychainProblem(*recording.failedChange()));
  if (added.slot != plan->slot) return tl::unexpected(cutShort(Undone::stored));
  if (!recording.hasSaved()) return tl::unexpected(cannotBeSealed());
  vane::clearIdentityCache();
  std::unique_ptr<SoftTokenInfo> stored;
  static_cast<void>(vane::ReadToken(static_cast<std::uint32_t>(added.slot), &stored));
  if (recording.lastLoad().status != KeychainStatus::ok) {
    return tl::unexpected(recording.lastLoad().words.empty()
                              ? cutShort(Undone::stored)
                              : keychainProblem(recording.lastLoad()));
  }
  if (stored == nullptr || stored->description != token.description) {
    return tl::unexpected(cannotBeSealed());
  }
  return finish(change, recording).map([&] {
    if (server && !server->empty()) enrolled_at_.note(*server, name);
    return added;
  });
}

bool TokenStore::hasResponse(const SoftTokenInfo& token) {
  const Recording recording(gateway_);
  return recording.identity().problem.empty() && rootOf(token).has_value();
}

Result<std::string> TokenStore::response(const SoftTokenInfo& token) {
  const Recording recording(gateway_);
  if (const std::string& problem = recording.identity().problem; !problem.empty()) {
    return tl::unexpected(Problem{
        Next::check_keychain,
        translatedWith("This computer's identity cannot be read: {}; fix that and try again",
                       problem)});
  }
  const auto root = rootOf(token);
  if (!root) {
    return tl::unexpected(Problem{
        Next::other_input,
        translated("This token has no response code: its seed was complete, with 16 characters")});
  }
  const EngineLog::Pause quiet;
  std::optional<std::string> response;
  const bool refused = vane::NewToken(*root, &response, nullptr, true).has_value();
  vane::clearIdentityCache();
  if (refused || !response) {
    return tl::unexpected(
        Problem{Next::try_again, translated("No response code can be made from the present "
                                            "passcode; try again with the next one")});
  }
  return *response;
}

Result<void> TokenStore::rename(std::span<const Rename> renames) {
  return withoutThrowing([&]() -> Result<void> {
    StoreChange change(keychain_, patience_, blocking_);
    if (change.problem()) return tl::unexpected(*change.problem());
    Recording recording(gateway_);
    auto slots = lookAtSlots(gateway_, recording, LookLog::on);
    if (!slots) return tl::unexpected(slots.error());

    // Check all of them before writing the first.
    std::vector<std::int32_t> changed;
    for (const Rename& wanted : renames) {
      const auto slot = static_cast<std::size_t>(wanted.slot);
      if (wanted.slot < 0 || slot >= slots->count() || wanted.seen == nullptr ||
          !isSameToken(*slots->tokens[slot], *wanted.seen)) {
        return tl::unexpected(changedMeanwhile(Undone::renamed));
      }
      SoftTokenInfo& token = *slots->tokens[slot];
      if (token.currentDescription() == wanted.name) continue;
      const auto before = token.description;
      token.updateDescription(wanted.name);
      if (token.description == before) {
        if (wanted.name.find_first_not_of('|') != std::string::npos) continue;
        return tl::unexpected(Problem{
            Next::other_input,
            translated("The new name is empty; enter at least one character other than |")});
      }
      if (auto problem = problemWithNewName(token)) return tl::unexpected(std::move(*problem));
      changed.push_back(wanted.slot);
    }
    if (changed.empty()) return {};

    for (std::int32_t slot : changed) {
      recording.mayReplace(vane::recordName(static_cast<std::uint32_t>(slot)));
      const bool written = vane::WriteToken(&slot, *slots->tokens[static_cast<std::size_t>(slot)]);
      if (recording.failedChange()) {
        return tl::unexpected(keychainProblem(*recording.failedChange()));
      }
      const auto& renamed = *slots->tokens[static_cast<std::size_t>(slot)];
      if (!written || !isStored(renamed, slot)) return tl::unexpected(cutShort(Undone::renamed));
    }
    Selection renamed_slots{};
    for (const std::int32_t slot : changed) renamed_slots[static_cast<std::size_t>(slot)] = 1;
    slots = clearRepeated(gateway_, recording, std::move(*slots), renamed_slots);
    if (!slots) return tl::unexpected(slots.error());
    return finish(change, recording);
  });
}

Result<void> TokenStore::move(std::int32_t from, std::int32_t to, const StoredTokens& seen) {
  return withoutThrowing([&]() -> Result<void> {
    StoreChange change(keychain_, patience_, blocking_);
    if (change.problem()) return tl::unexpected(*change.problem());
    Recording recording(gateway_);
    auto slots = lookAtSlots(gateway_, recording, LookLog::off);
    if (!slots) return tl::unexpected(slots.error());
    if (!isOrderAsSeen(from, to, seen, *slots))
      return tl::unexpected(changedMeanwhile(Undone::moved));

    slots = clearRepeated(gateway_, recording, std::move(*slots));
    if (!slots) return tl::unexpected(slots.error());
    from = slotOf(*seen.list[static_cast<std::size_t>(from)], *slots);
    to = slotOf(*seen.list[static_cast<std::size_t>(to)], *slots);
    if (from == to) return finish(change, recording);
    if (auto settled = change.settle(); !settled) return settled;

    // The moved token waits in a spare slot while the others move one by one. So each of them is
    // somewhere at any moment, and an interruption leaves one twice at worst.
    const std::size_t count = slots->count();
    const auto spare = static_cast<std::int32_t>(count);
    const bool has_spare = count < slots->states.size() && slots->states[count] == State::empty;
    if (!has_spare && !keychain_.keepsChangesTogether()) {
      return tl::unexpected(
          count < slots->states.size()
              ? inTheWay(Undone::moved, *slots->obstacle())
              : Problem{
                    Next::make_room,
                    translated(
                        "Moving a token needs an empty slot, and all 32 hold tokens; delete one "
                        "first")});
    }
    const Order order = movedOrder(*slots, from, to);
    bool has_moved = false;  // so that it cannot be undone
    const auto failed = [&] {
      if (recording.failedChange() && !recording.refused()) {
        return keychainProblem(*recording.failedChange());
      }
      return has_moved
                 ? Problem{Next::try_again, translated("The keychain gave contradictory answers")}
                 : cutShort(Undone::moved);
    };
    const auto write = [&](std::int32_t slot, const SoftTokenInfo& token) -> Result<void> {
      const bool written = vane::WriteToken(&slot, token);
      if (recording.failedChange() || !written || !isStored(token, slot)) {
        return tl::unexpected(failed());
      }
      return change.settle();
    };
    const auto moveAll = [&]() -> Result<void> {
      const SoftTokenInfo& moved = *order[static_cast<std::size_t>(to)];
      if (has_spare) {
        if (auto done = write(spare, moved); !done) return done;
      }
      for (std::int32_t slot = from;; slot += from < to ? 1 : -1) {
        recording.mayReplace(vane::recordName(static_cast<std::uint32_t>(slot)));
        if (auto done = write(slot, *order[static_cast<std::size_t>(slot)]); !done) return done;
        has_moved = !keychain_.keepsChangesTogether();
        if (slot == to) break;
      }
      if (has_spare) vane::DeleteToken(static_cast<std::uint32_t>(spare));
      const auto after = lookAtSlots(gateway_, recording, LookLog::off);
      if (!after) return tl::unexpected(after.error());
      if (!standsIn(order, *after)) return tl::unexpected(failed());
      return finish(change, recording);
    };
    return moveAll().map_error([&](Problem problem) {
      if (has_moved)
        problem.words =
            translatedWith("{}. Some tokens have moved, and one may show twice", problem.words);
      return problem;
    });
  });
}

Result<void> TokenStore::remove(const Selection& selected, const StoredTokens& seen) {
  return withoutThrowing([&]() -> Result<void> {
    StoreChange change(keychain_, patience_, blocking_);
    if (change.problem()) return tl::unexpected(*change.problem());
    const Recording recording(gateway_);
    const auto before = lookAtSlots(gateway_, recording, LookLog::off);
    if (!before) return tl::unexpected(before.error());
    if (!isAsSeen(selected, seen, *before))
      return tl::unexpected(changedMeanwhile(Undone::deleted));
    Selection leaving = selected;
    const Selection second = repeated(*before, selected);
    for (std::size_t slot = 0; slot < leaving.size(); ++slot) leaving[slot] |= second[slot];
    deleteSlots(withWholeGap(leaving, *before), *before);
    const auto after = lookAtSlots(gateway_, recording, LookLog::off);
    if (!after) return tl::unexpected(after.error());
    if (!isDeleted(leaving, *before, *after)) {
      return tl::unexpected(recording.failedChange() && !recording.refused()
                                ? keychainProblem(*recording.failedChange())
                                : cutShort(Undone::deleted));
    }
    return finish(change, recording).map([&] {
      // What stays noted does no harm: a token that is added under the name forgets it.
      for (const std::string& name : namesGone(*before, *after)) {
        static_cast<void>(enrolled_at_.forget(name));
      }
    });
  });
}

}  // namespace talvane
