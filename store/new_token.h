#pragma once

#include <memory>
#include <optional>
#include <string_view>

#include "engine/soft_token_info.h"
#include "store/problem.h"

namespace talvane {

/// Why a new token cannot have its names; nullopt: it can. Both must be there, in UTF-8, and free
/// of characters that control the display, take no width, or change the direction of writing.
std::optional<Problem> problemWithNames(const SoftTokenInfo& token);

/// The same of a token that has been given another name, for that name alone.
std::optional<Problem> problemWithNewName(const SoftTokenInfo& token);

/// The token that an otpauth URL describes, its names and seed not checked yet.
[[nodiscard]] Result<std::unique_ptr<SoftTokenInfo>> tokenFromUrl(std::string_view url);

}  // namespace talvane
