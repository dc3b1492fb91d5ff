#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/shortcut.h"
#include "platform/user_defaults.h"
#include "ui/desktop/global_shortcut.h"

namespace talvane {

/// The shortcut that opens and closes the panel: the user's choice, a user default ("Shortcut"),
/// else the setting's. Main thread only.
class ShortcutChoice {
 public:
  /// Borrows the defaults.
  ShortcutChoice(UserDefaults& defaults, std::unique_ptr<GlobalShortcut> shortcut);

  /// Takes the shortcut. `setting` is the setting's text.
  void start(const std::string& setting);

  /// Tells, at once or from the event loop, whether the desktop lets the program have one.
  void askWhetherPossible(std::function<void(bool possible)> told);
  /// What the user presses; empty if there is none.
  [[nodiscard]] const std::string& shown() const { return shown_; }
  /// The shortcut that was wished; empty if none is.
  [[nodiscard]] std::string wished() const { return wish_ ? textOf(*wish_) : std::string(); }
  /// For the user: why the shortcut that was wished does not work; empty if it does.
  [[nodiscard]] const std::string& problem() const { return problem_; }

  /// The user chooses, or wants none. Tells the problem, at once or from the event loop; empty if
  /// it works from now on. After a problem there is the one from before.
  void choose(const std::optional<Shortcut>& wish,
              std::function<void(const std::string& problem)> told);

  /// While the user presses another one, this one does not work.
  void setPaused(bool paused);

 private:
  void take();

  UserDefaults& defaults_;
  std::unique_ptr<GlobalShortcut> shortcut_;
  std::optional<Shortcut> wish_;
  std::string shown_;
  std::string problem_;
};

}  // namespace talvane
