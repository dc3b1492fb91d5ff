#include "store/slot_deletion.h"

#include <algorithm>
#include <cstddef>
#include <tl/expected.hpp>
#include <utility>

#include "engine/log.h"
#include "engine/soft_token_info.h"
#include "engine/vane.h"
#include "platform/vaneinterface.h"
#include "store/problem.h"
#include "store/slots.h"
#include "store/stored_tokens.h"
#include "store/undone.h"

namespace talvane {
namespace {

using State = Slots::State;
using Recording = vaneinterface::Recording;

}  // namespace

SelectedSlots withWholeGap(SelectedSlots selected, const Slots& slots) {
  for (std::size_t slot = 1; slot < selected.size() && slots.recordsBehind(slot) > 0; ++slot) {
    if (slots.states[slot] == State::empty && slots.states[slot - 1] == State::empty &&
        selected[slot - 1] != 0) {
      selected[slot] = 1;
    }
  }
  return selected;
}

void deleteSlots(const SelectedSlots& selected, const Slots& slots) {
  if (!slots.firstUnreadable(0)) {
    vane::DeleteTokens(selected);
    return;
  }
  // The engine moves later tokens down as far as a record that must not be overwritten, so the last
  // slot goes first.
  for (std::size_t slot = selected.size(); slot-- > 0;) {
    if (selected[slot] == 0) continue;
    SelectedSlots one{};
    one[slot] = 1;
    vane::DeleteTokens(one);
  }
}

SelectedSlots repeated(const Slots& slots, const SelectedSlots& leaving,
                       const SelectedSlots& preferred) {
  SelectedSlots second{};
  for (std::size_t i = 0; i < second.size(); ++i) {
    for (std::size_t j = i + 1; j < second.size() && second[i] == 0; ++j) {
      if (slots.tokens[i] == nullptr || slots.tokens[j] == nullptr || second[j] != 0 ||
          leaving[i] != 0 || leaving[j] != 0 || !isSameToken(*slots.tokens[i], *slots.tokens[j])) {
        continue;
      }
      second[preferred[j] != 0 && preferred[i] == 0 ? i : j] = 1;
    }
  }
  return second;
}

bool isDeleted(const SelectedSlots& selected, const Slots& before, const Slots& after) {
  std::size_t kept = 0;
  std::size_t left = 0;  // records, whatever their state
  bool closes_gap = false;
  std::size_t next = 0;  // where the next token may be now
  for (std::size_t slot = 0; slot < selected.size(); ++slot) {
    const State state = before.states[slot];
    if (selected[slot] == 0 && state != State::empty) ++left;
    if (selected[slot] != 0) {
      closes_gap = closes_gap || state == State::empty;
      continue;
    }
    if (state == State::damaged || state == State::foreign) {
      if (after.states[slot] != state) return false;
      continue;
    }
    if (state != State::loads) continue;
    while (next < selected.size() && after.states[next] != State::loads) ++next;
    if (next == selected.size()) return false;
    const SoftTokenInfo& found = *after.tokens[next++];
    if (!isSameToken(found, *before.tokens[slot]) ||
        found.description != before.tokens[slot]->description) {
      return false;
    }
    if (slot < before.count()) ++kept;
  }
  while (next < selected.size() && after.states[next] != State::loads) ++next;
  const auto records = std::count_if(after.states.begin(), after.states.end(),
                                     [](State s) { return s != State::empty; });
  return next == selected.size() && static_cast<std::size_t>(records) == left &&
         after.count() >= kept + (closes_gap ? 1 : 0);
}

Result<Slots> clearRepeated(vaneinterface& gateway, const Recording& recording, Slots&& before,
                            const SelectedSlots& preferred) {
  const SelectedSlots second = repeated(before, {}, preferred);
  if (second == SelectedSlots{}) return std::move(before);
  const EngineLog::Pause quiet;
  deleteSlots(second, before);
  auto after = lookAtSlots(gateway, recording, LookLog::off);
  if (after && !isDeleted(second, before, *after)) {
    return tl::unexpected(recording.failedChange() && !recording.refused()
                              ? keychainProblem(*recording.failedChange())
                              : cutShort(Undone::changed));
  }
  return after;
}

}  // namespace talvane
