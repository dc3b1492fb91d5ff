#include "store/slots.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <tl/expected.hpp>
#include <utility>

#include "engine/gateway.h"
#include "engine/log.h"
#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "engine/vane.h"
#include "platform/device_identifiers.h"
#include "platform/keychain_service.h"
#include "platform/translation.h"
#include "platform/vaneinterface.h"
#include "store/problem.h"
#include "store/stored_tokens.h"

namespace talvane {
namespace {

using State = Slots::State;

// Why a record that is whole does not load.
struct Reason {
  Words words;
  Words repair;
};

Words shown(const std::string& identifier) {
  return identifier.empty() ? translated("missing") : Words(printable(identifier));
}

Reason reasonOf(const Identity& then, const Identity& now) {
  if (then == Identity()) {
    return {translated("it belongs to another computer or user, or was changed"),
            translated("restore the keychain from a backup")};
  }
  Words changes;
  const auto add = [&changes](const Words& change) {
    if (!changes.empty()) changes += translated(", and ");
    changes += change;
  };
  if (then.serial_number != now.serial_number) {
    add(translatedWith("when the machine ID was {}; it is {} now", shown(then.serial_number),
                       shown(now.serial_number)));
  }
  if (then.volume_uuid != now.volume_uuid) {
    add(translatedWith("when the root file system was {}; it is {} now", shown(then.volume_uuid),
                       shown(now.volume_uuid)));
  }
  if (then.user != now.user) {
    add(translatedWith("when the user was {}; it is {} now", shown(then.user), shown(now.user)));
  }
  if (changes.empty()) {
    return {translated("it was changed after it was stored"),
            translated("restore the keychain from a backup")};
  }
  return {translatedWith("it was stored {}", changes), translated("undo that change")};
}

Words hiddenWords(std::int32_t hidden) {
  if (hidden == 0) return "";
  return translatedCount(" and hides the token after it", " and hides the {} tokens after it",
                         static_cast<std::uint64_t>(hidden));
}

std::int32_t numberOf(std::size_t slot) {
  return static_cast<std::int32_t>(slot);
}

}  // namespace

std::size_t Slots::count() const {
  const auto end =
      std::find_if(states.begin(), states.end(), [](State state) { return state != State::loads; });
  return static_cast<std::size_t>(end - states.begin());
}

std::int32_t Slots::recordsBehind(std::size_t slot) const {
  return static_cast<std::int32_t>(
      std::count_if(states.begin() + static_cast<std::ptrdiff_t>(slot) + 1, states.end(),
                    [](State state) { return state != State::empty; }));
}

Obstacle Slots::obstacleAt(std::size_t slot) const {
  Obstacle obstacle;
  obstacle.slot = numberOf(slot);
  obstacle.hidden = recordsBehind(slot);
  const Words hides = hiddenWords(obstacle.hidden);
  switch (states[slot]) {
    case State::damaged:
      obstacle.kind = Obstacle::Kind::damaged;
      obstacle.words = translatedWith("The record in slot {} is damaged{}", slot, hides);
      obstacle.repair = translated("restore the keychain from a backup");
      break;
    case State::foreign: {
      Reason reason = reasonOf(stored_under[slot], identity);
      obstacle.kind = Obstacle::Kind::foreign;
      obstacle.words =
          translatedWith("The record in slot {} does not load{}: {}", slot, hides, reason.words);
      obstacle.repair = std::move(reason.repair);
      break;
    }
    case State::empty:
    case State::loads:
      obstacle.kind = Obstacle::Kind::gap;
      obstacle.words = translatedWith("Slot {} is empty{}", slot, hides);
      break;
  }
  return obstacle;
}

std::optional<Obstacle> Slots::obstacle() const {
  const std::size_t end = count();
  for (std::size_t slot = end; slot < states.size(); ++slot) {
    if (states[slot] == State::empty) continue;
    return obstacleAt(states[slot] == State::loads ? end : slot);
  }
  return std::nullopt;
}

std::optional<std::size_t> Slots::firstUnreadable(std::size_t from) const {
  for (std::size_t slot = from; slot < states.size(); ++slot) {
    if (states[slot] == State::damaged || states[slot] == State::foreign) return slot;
  }
  return std::nullopt;
}

Result<Slots> lookAtSlots(vaneinterface& gateway, const vaneinterface::Recording& recording,
                          LookLog log) {
  const SlotReading reading(&gateway);
  vane::clearIdentityCache();
  Slots slots;
  slots.identity = recording.identity();
  std::size_t slot = 0;
  bool is_read = false;  // the slot that ended the engine's reading is not read twice
  if (log == LookLog::on) {
    slot = static_cast<std::size_t>(vane::ReadAllTokens(slots.tokens));
    std::fill_n(slots.states.begin(), slot, State::loads);
    is_read = true;
  }
  const EngineLog::Pause quiet;
  for (; slot < slots.states.size(); ++slot) {
    std::unique_ptr<SoftTokenInfo>& token = slots.tokens[slot];
    if (!std::exchange(is_read, false)) vane::ReadToken(static_cast<std::uint32_t>(slot), &token);
    switch (recording.lastLoad().status) {
      case KeychainStatus::ok:
        slots.states[slot] = token != nullptr ? State::loads : State::foreign;
        if (token == nullptr) slots.stored_under[slot] = recording.storedUnder();
        break;
      case KeychainStatus::item_not_found:
        slots.states[slot] = State::empty;
        break;
      case KeychainStatus::cannot_decode:
        slots.states[slot] = State::damaged;
        break;
      default:
        return tl::unexpected(keychainProblem(recording.lastLoad()));
    }
  }
  return slots;
}

Problem keychainProblem(const vaneinterface::Answer& answer) {
  Problem problem{Problem::Next::check_keychain, answer.words};
  problem.locked = answer.status == KeychainStatus::interaction_not_allowed;
  return problem;
}

}  // namespace talvane
