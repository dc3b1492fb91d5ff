#include <algorithm>
#include <ctime>
#include <regex>

#include "tests/desktop/desktop.h"

namespace talvane::test {
namespace {

constexpr const char* alert_title = "Talvane Soft Token";

}  // namespace

std::vector<Thing> DesktopTest::showing() {
  return reader_->showing();
}

bool DesktopTest::shows(Role role, std::string_view name) {
  const std::vector<Thing> things = showing();
  return std::any_of(things.begin(), things.end(),
                     [&](const Thing& it) { return it.role == role && it.name == name; });
}

bool DesktopTest::comesToShow(Role role, std::string_view name) {
  return until([&] { return shows(role, name); });
}

bool DesktopTest::comesToSay(std::string_view words) {
  return until([&] {
    const Strings labels = names(Role::label);
    return std::any_of(labels.begin(), labels.end(), [&](const std::string& label) {
      return label.find(words) != std::string::npos;
    });
  });
}

Thing DesktopTest::thing(Role role, std::string_view name) {
  Thing found;
  const bool there = until([&] {
    for (const Thing& it : showing()) {
      if (it.role != role || it.name != name) continue;
      found = it;
      return true;
    }
    return false;
  });
  EXPECT_TRUE(there) << "nothing called " << name;
  return found;
}

Strings DesktopTest::names(Role role) {
  Strings result;
  for (const Thing& it : showing()) {
    // A text that is announced is a notification.
    const bool is_text = role == Role::label && it.role == Role::notification;
    if (it.role == role || is_text) result.push_back(it.name);
  }
  return result;
}

std::string DesktopTest::focus() {
  // Containers say so for what is in them.
  std::string name;
  for (const Thing& it : showing()) {
    if (it.isFocused()) name = it.name;
  }
  return name;
}

bool DesktopTest::focusComesTo(std::string_view name, std::chrono::milliseconds patience) {
  const auto has_come = [&] {
    if (focus() != name) return false;
    // The window manager may be slower than the program.
    const auto windows = screen().windowsOf("softtoken");
    return std::any_of(windows.begin(), windows.end(), [](const ShownWindow& window) {
      return window.id == screen().windowOfKeys();
    });
  };
  return until(has_come, patience);
}

void DesktopTest::click(const Thing& thing) const {
  const Rectangle& place = thing.place;
  screen().click(place.x + place.width / 2, place.y + place.height / 2);
}

void DesktopTest::fill(std::string_view field, std::string_view text) {
  typeInto(Role::text, field, text);
  ASSERT_TRUE(until([&] { return reader_->textOf(thing(Role::text, field)) == text; })) << field;
}

void DesktopTest::fillSecret(std::string_view field, std::string_view text) {
  typeInto(Role::password_text, field, text);
}

void DesktopTest::typeInto(Role role, std::string_view field, std::string_view text) {
  click(thing(role, field));
  ASSERT_TRUE(focusComesTo(field));
  screen().key("ctrl+a");
  screen().key("BackSpace");
  screen().type(text);
}

std::string DesktopTest::textIn(std::string_view field) {
  return reader_->textOf(thing(Role::text, field));
}

void DesktopTest::answer(std::string_view words, std::string_view button_name) {
  ASSERT_EQ(alert(), words);
  clickInAlert(button_name);
  ASSERT_TRUE(alertGoes());
}

void DesktopTest::answerByKey(std::string_view words, std::string_view focused,
                              std::string_view key) {
  ASSERT_EQ(alert(), words);
  ASSERT_TRUE(focusComesTo(focused)) << focus();
  screen().key(key);
  ASSERT_TRUE(alertGoes());
}

void DesktopTest::quit() {
  const Ended ended = startAgain({"--quit"});
  ASSERT_EQ(ended.exit_code, 0) << ended.err;
  ASSERT_EQ(program_.end(), 0);
}

void DesktopTest::clickButton(std::string_view name) {
  Thing found = button(name);
  EXPECT_TRUE(until([&] {
    found = button(name);
    return isAtRest(found);
  })) << name;
  click(found);
}

std::vector<Thing> DesktopTest::alertParts() {
  std::vector<Thing> parts;
  bool inside = false;
  for (const Thing& it : showing()) {
    if (it.is_window) inside = it.role == Role::alert;
    if (inside) parts.push_back(it);
  }
  return parts;
}

std::string DesktopTest::alert() {
  std::string text;
  const bool there = until([&] {
    text.clear();
    for (const Thing& it : alertParts()) {
      if (it.role == Role::label && it.name != alert_title) text += it.name;
    }
    return !text.empty();
  });
  EXPECT_TRUE(there) << "no alert";
  return text;
}

void DesktopTest::clickInAlert(std::string_view button_name) {
  const bool there = until([&] {
    const std::vector<Thing> parts = alertParts();
    const auto found = std::find_if(parts.begin(), parts.end(), [&](const Thing& it) {
      return it.role == Role::push_button && it.name == button_name;
    });
    if (found == parts.end() || !found->isEnabled() || !isAtRest(*found)) return false;
    click(*found);
    return true;
  });
  EXPECT_TRUE(there) << "no " << button_name << " in an alert";
}

bool DesktopTest::isAtRest(const Thing& thing) {
  const std::vector<ShownWindow> windows = screen().windowsOf("softtoken");
  return std::any_of(windows.begin(), windows.end(),
                     [&](const ShownWindow& it) { return it.place == thing.window; });
}

bool DesktopTest::alertGoes() {
  return until([&] { return alertParts().empty(); });
}

Strings DesktopTest::codes() {
  Strings result;
  const std::regex six_digits("[0-9]{6}");
  for (const std::string& label : names(Role::label)) {
    if (std::regex_match(label, six_digits)) result.push_back(label);
  }
  return result;
}

bool DesktopTest::showsPasscode(std::size_t row, const std::string& seed, int period) {
  return until(
      [&] {
        const std::int64_t before = std::time(nullptr);
        const Strings shown = codes();
        return row < shown.size() && shown[row] == passcodeOf(seed, period, before);
      },
      std::chrono::seconds(3));
}

std::string DesktopTest::clipboard(const std::string& target) const {
  const Ended ended = runProcess({"xclip", "-selection", "clipboard", "-o", "-t", target},
                                 environment(), {}, std::chrono::seconds(10));
  EXPECT_EQ(ended.exit_code, 0) << ended.err;
  return ended.out;
}

}  // namespace talvane::test
