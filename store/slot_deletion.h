#pragma once

#include <array>
#include <cstdint>

#include "engine/vane.h"
#include "platform/vaneinterface.h"
#include "store/problem.h"
#include "store/slots.h"

namespace talvane {

/// The slots whose flag is not 0.
using SelectedSlots = std::array<std::uint8_t, vane::max_tokens>;

/// The slots that have to go with the selected ones: a gap is deleted as a whole, otherwise it
/// would still hide the tokens behind it.
SelectedSlots withWholeGap(SelectedSlots selected, const Slots& slots);

/// Deletes the selected slots through the engine, and moves later tokens down. Success shows only
/// in another look: `isDeleted`.
void deleteSlots(const SelectedSlots& selected, const Slots& slots);

/// Whether the selected slots are gone, all others are there in the same order, and no token became
/// hidden.
bool isDeleted(const SelectedSlots& selected, const Slots& before, const Slots& after);

/// The tokens that stand in a second slot, as an interrupted change of a keychain leaves them. Of
/// two slots the later one counts as the second, unless only that one is `preferred`; a pair of
/// which one is in `leaving` counts as none.
SelectedSlots repeated(const Slots& slots, const SelectedSlots& leaving = {},
                       const SelectedSlots& preferred = {});

/// Deletes what stands in a second slot, and looks again.
Result<Slots> clearRepeated(vaneinterface& gateway, const vaneinterface::Recording& recording,
                            Slots&& before, const SelectedSlots& preferred = {});

}  // namespace talvane
