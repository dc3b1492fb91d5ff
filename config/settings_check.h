#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace talvane {

/// A problem in a settings file, for the administrator.
struct SettingsFinding {
  std::size_t line = 0;  // from 1
  std::string text;
};

/// Finds lines without "=", after which nothing is read; unknown and repeated keys; values that
/// their default replaces; numbers that do not fit; an `EnrolURL` that cannot be used; spaces
/// around
/// "=", which count as part of the key or value; and a last line without a line end. `allow_http`
/// is the setting `AllowHTTP` in effect; without it, the text's own counts.
std::vector<SettingsFinding> checkSettings(std::string_view text,
                                           std::optional<bool> allow_http = {});

/// What is wrong with the address of an enrolment server, with what to do; empty if nothing is.
std::string problemWithEnrolURL(std::string_view url, bool allow_http);

/// Whether others than the user and root can change the file or put another in its place, with what
/// to do; empty if not.
std::string changeableByOthers(const std::string& path);

/// What to say of a settings file that is there and could not be read.
std::string unreadableFile(const std::string& path);

}  // namespace talvane
