#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "engine/soft_token_info.h"
#include "store/problem.h"

namespace talvane {

/// Why a new token cannot have its two names; nullopt if it can. Both must be non-empty UTF-8
/// without characters that control the display, have no width, or change the direction of writing.
std::optional<Problem> problemWithNames(const SoftTokenInfo& token);

/// The same check for the new name of a renamed token.
std::optional<Problem> problemWithNewName(const SoftTokenInfo& token);

/// The question before a token is stored. `replaces` is the present name of the token that would
/// go, which is named first: the new token's names are the choice of whoever made the URL.
std::string questionBefore(const SoftTokenInfo& token, const std::optional<std::string>& replaces);

/// The token that an otpauth URL describes. Its names and seed are not checked yet. A URL for other
/// passcodes than ours (SHA-1, six digits, 30 or 60 seconds) is a Problem.
[[nodiscard]] Result<std::unique_ptr<SoftTokenInfo>> tokenFromUrl(std::string_view url);

}  // namespace talvane
