#include "ui/desktop/shortcut_choice.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "engine/text.h"
#include "platform/shortcut.h"
#include "platform/translation.h"
#include "platform/user_defaults.h"
#include "ui/desktop/global_shortcut.h"

namespace talvane {
namespace {

constexpr const char* defaults_key = "Shortcut";

bool meansNone(std::string_view text) {
  return text.empty() || lowerCase(text) == no_shortcut;
}

}  // namespace

ShortcutChoice::ShortcutChoice(UserDefaults& defaults, std::unique_ptr<GlobalShortcut> shortcut)
    : defaults_(defaults), shortcut_(std::move(shortcut)) {}

void ShortcutChoice::start(const std::string& setting) {
  std::string text = setting;
  static_cast<void>(defaults_.string(defaults_key, &text));
  if (meansNone(text)) return;
  wish_ = shortcutIn(text);
  if (wish_) {
    take();
  } else {
    problem_ = translatedWith("\"{}\" is not a shortcut; choose another one", shownName(text));
  }
}

void ShortcutChoice::take() {
  shortcut_->set(wish_, [this](const GlobalShortcut::Result& result) {
    shown_ = result.shown;
    problem_ = result.problem;
  });
}

void ShortcutChoice::askWhetherPossible(std::function<void(bool possible)> told) {
  shortcut_->askWhetherPossible(std::move(told));
}

void ShortcutChoice::choose(const std::optional<Shortcut>& wish,
                            std::function<void(const std::string& problem)> told) {
  shortcut_->set(wish, [this, wish, told = std::move(told)](const GlobalShortcut::Result& result) {
    if (!result.problem.empty()) {
      take();
      told(result.problem);
      return;
    }
    wish_ = wish;
    shown_ = result.shown;
    problem_.clear();
    const bool kept =
        defaults_.setString(defaults_key, wish ? textOf(*wish) : std::string(no_shortcut));
    told(kept ? std::string()
              : translated(
                    "The shortcut works until the program ends, but it cannot be stored; make "
                    "the program's settings folder writable"));
  });
}

void ShortcutChoice::setPaused(bool paused) {
  shortcut_->setPaused(paused);
}

}  // namespace talvane
