#pragma once

// The desktop's search: it asks the program for tokens by their names, and hands it the user's
// choice. Nothing but names leaves the program. Main thread only.

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace talvane {

/// What the search needs of the program.
struct SearchSource {
  using Names = std::vector<std::string>;
  /// Calls `found`, at once or from the event loop, with the names that match the query, the best
  /// first; with none while the tokens cannot be read.
  std::function<void(const std::string& query, std::function<void(const Names& names)> found)> find;
  /// The user has chosen the token of this name.
  std::function<void(const std::string& name)> choose;
  /// The user wants to see the program itself.
  std::function<void()> open;
};

class DesktopSearch {
 public:
  virtual ~DesktopSearch() = default;
};

/// Serves the desktop's search until the result is destroyed: GNOME's and KRunner's on the session
/// bus; macOS has none. Null if that is not possible, as another program of this user does already.
std::unique_ptr<DesktopSearch> serveDesktopSearch(SearchSource source);

}  // namespace talvane
