// The shortcut: where it comes from, and how the Help view takes another one.

#include <QTest>

#include <memory>
#include <optional>
#include <set>
#include <string>

#include "platform/shortcut.h"
#include "tests/support/memory_user_defaults.h"
#include "tests/ui/app_test.h"
#include "ui/desktop/global_shortcut.h"
#include "ui/desktop/shortcut_choice.h"
#include "ui/desktop/shortcut_keys.h"

namespace talvane {
namespace {

using test::Lines;

/// A desktop, on which other programs have some shortcuts.
struct Desktop {
  bool is_possible = true;
  std::set<std::string> taken;
  std::string ours;
};

class FakeShortcut final : public GlobalShortcut {
 public:
  explicit FakeShortcut(Desktop& desktop) : desktop_(desktop) {}
  void askWhetherPossible(std::function<void(bool possible)> told) override {
    told(desktop_.is_possible);
  }
  void set(const std::optional<Shortcut>& wish,
           std::function<void(const Result& result)> told) override {
    desktop_.ours.clear();
    wish_.clear();
    const std::string text = wish ? textOf(*wish) : std::string();
    if (desktop_.taken.contains(text)) {
      told({text + " is taken", ""});
    } else {
      desktop_.ours = wish_ = text;
      told({"", text});
    }
  }
  void setPaused(bool paused) override { desktop_.ours = paused ? std::string() : wish_; }

 private:
  Desktop& desktop_;
  std::string wish_;
};

class ShortcutTest : public AppTest {
 protected:
  ShortcutTest() {
    choice = std::make_unique<ShortcutChoice>(defaults, std::make_unique<FakeShortcut>(desktop));
    shortcut = choice.get();
  }
  ~ShortcutTest() override { end(); }

  void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    QTest::keyClick(button("hvshortcut"), key, modifiers);
    turnEventLoop();
  }

  Desktop desktop;
  std::unique_ptr<ShortcutChoice> choice;
};

TEST_F(ShortcutTest, TheSettingsOneIsTaken) {
  setSettings("Shortcut=alt+ctrl+t\n");
  show("hv");
  EXPECT_EQ(desktop.ours, "Ctrl+Alt+T");
  EXPECT_EQ(caption("hvshortcut"), "Shortcut: Ctrl+Alt+T");
  EXPECT_EQ(frameInPanel(button("hvshortcut")), (Frame{90, 212, 165, 32}));
}

TEST_F(ShortcutTest, TheUsersTakesItsPlace) {
  setSettings("Shortcut=Ctrl+Alt+T\n");
  defaults.values["Shortcut"] = "Super+F1";
  launch();
  EXPECT_EQ(desktop.ours, "Super+F1");
}

TEST_F(ShortcutTest, TheUserMayWantNone) {
  setSettings("Shortcut=Ctrl+Alt+T\n");
  defaults.values["Shortcut"] = "none";
  show("hv");
  EXPECT_EQ(desktop.ours, "");
  EXPECT_EQ(caption("hvshortcut"), "Shortcut: none");
}

TEST_F(ShortcutTest, OneThatIsTakenOrNoneIsTold) {
  desktop.taken = {"Ctrl+Alt+T"};
  setSettings("Shortcut=Ctrl+Alt+T\n");
  show("hv");
  EXPECT_EQ(caption("hvshortcut"), "Ctrl+Alt+T does not work");
  EXPECT_EQ(button("hvshortcut")->accessibleDescription(), "Ctrl+Alt+T is taken");
}

TEST_F(ShortcutTest, ASettingThatNamesNoKeyIsTold) {
  setSettings("Shortcut=T\n");
  show("hv");
  EXPECT_EQ(caption("hvshortcut"), "Shortcut does not work");
  EXPECT_EQ(button("hvshortcut")->accessibleDescription(),
            "\"T\" is not a shortcut; choose another one");
}

TEST_F(ShortcutTest, IsNotOfferedWhereThereIsNone) {
  desktop.is_possible = false;
  show("hv");
  EXPECT_FALSE(button("hvshortcut")->isVisible());
}

TEST_F(ShortcutTest, IsRecorded) {
  show("hv");
  EXPECT_EQ(caption("hvshortcut"), "Shortcut: none");
  click("hvshortcut");
  EXPECT_EQ(caption("hvshortcut"), "Press a key combination");
  press(Qt::Key_Control, Qt::ControlModifier);
  press(Qt::Key_T);
  EXPECT_EQ(caption("hvshortcut"), "Add Ctrl, Alt or Super");
  press(Qt::Key_T, Qt::ControlModifier | Qt::AltModifier);
  EXPECT_EQ(caption("hvshortcut"), "Shortcut: Ctrl+Alt+T");
  EXPECT_EQ(desktop.ours, "Ctrl+Alt+T");
  EXPECT_EQ(defaults.values["Shortcut"], "Ctrl+Alt+T");
  EXPECT_EQ(openView(), "hv");
}

TEST_F(ShortcutTest, DoesNotWorkWhileAnotherIsRecorded) {
  setSettings("Shortcut=Ctrl+Alt+T\n");
  show("hv");
  click("hvshortcut");
  EXPECT_EQ(desktop.ours, "");
  press(Qt::Key_Escape);
  EXPECT_EQ(desktop.ours, "Ctrl+Alt+T");
  EXPECT_EQ(caption("hvshortcut"), "Shortcut: Ctrl+Alt+T");
  EXPECT_EQ(openView(), "hv");
  // Nor is it lost with the panel.
  click("hvshortcut");
  clickIcon();
  EXPECT_EQ(openView(), "");
  EXPECT_EQ(desktop.ours, "Ctrl+Alt+T");
}

TEST_F(ShortcutTest, RecordingEndsWhenTheUserGoesElsewhere) {
  show("hv");
  click("hvshortcut");
  press(Qt::Key_Tab);
  EXPECT_EQ(caption("hvshortcut"), "Shortcut: none");
  click("hvshortcut");
  button("hvgs")->setFocus();
  EXPECT_EQ(caption("hvshortcut"), "Shortcut: none");
  click("hvshortcut");
  click("hvshortcut");
  EXPECT_EQ(caption("hvshortcut"), "Shortcut: none");
}

TEST_F(ShortcutTest, DeleteMeansNone) {
  for (const Qt::Key key : {Qt::Key_Delete, Qt::Key_Backspace}) {
    defaults.values["Shortcut"] = "Ctrl+Alt+T";
    launch();
    show("hv");
    ASSERT_EQ(desktop.ours, "Ctrl+Alt+T");
    click("hvshortcut");
    press(key);
    EXPECT_EQ(caption("hvshortcut"), "Shortcut: none");
    EXPECT_EQ(desktop.ours, "");
    EXPECT_EQ(defaults.values["Shortcut"], "none");
  }
}

TEST_F(ShortcutTest, OneThatIsTakenLeavesTheOldOne) {
  desktop.taken = {"Ctrl+Alt+K"};
  setSettings("Shortcut=Ctrl+Alt+T\n");
  show("hv");
  click("hvshortcut");
  press(Qt::Key_K, Qt::ControlModifier | Qt::AltModifier);
  EXPECT_EQ(alerts.texts(), Lines{"Ctrl+Alt+K is taken"});
  EXPECT_EQ(caption("hvshortcut"), "Shortcut: Ctrl+Alt+T");
  EXPECT_EQ(desktop.ours, "Ctrl+Alt+T");
  EXPECT_FALSE(defaults.values.contains("Shortcut"));
}

TEST_F(ShortcutTest, OneThatCannotBeStoredIsTold) {
  show("hv");
  defaults.writable = false;
  click("hvshortcut");
  press(Qt::Key_K, Qt::MetaModifier);
  ASSERT_EQ(alerts.texts().size(), 1U);
  EXPECT_NE(alerts.texts()[0].find("until the program ends"), std::string::npos);
  EXPECT_EQ(desktop.ours, "Super+K");
}

TEST(ShortcutKeys, Table) {
  struct Row {
    Qt::Key key;
    Qt::KeyboardModifiers modifiers;
    const char* text;
    std::uint32_t keysym;
    const char* trigger;
  };
  // Keysyms by X11/keysymdef.h.
  const Row rows[] = {
      {Qt::Key_T, Qt::ControlModifier | Qt::AltModifier, "Ctrl+Alt+T", 0x74, "CTRL+ALT+t"},
      {Qt::Key_7, Qt::MetaModifier, "Super+7", 0x37, "LOGO+7"},
      {Qt::Key_F1, Qt::NoModifier, "F1", 0xffbe, "F1"},
      {Qt::Key_F24, Qt::ShiftModifier, "Shift+F24", 0xffd5, "SHIFT+F24"},
      {Qt::Key_PageUp, Qt::AltModifier, "Alt+PageUp", 0xff55, "ALT+Page_Up"},
      {Qt::Key_Space, Qt::MetaModifier, "Super+Space", 0x20, "LOGO+space"},
      {Qt::Key_Backtab, Qt::ControlModifier | Qt::ShiftModifier, "Ctrl+Shift+Tab", 0xff09,
       "CTRL+SHIFT+Tab"},
  };
  for (const Row& row : rows) {
    const Shortcut shortcut = shortcutOf(QKeyEvent(QEvent::KeyPress, row.key, row.modifiers));
    EXPECT_EQ(textOf(shortcut), row.text);
    EXPECT_EQ(keysymOf(shortcut.key), row.keysym) << row.text;
    EXPECT_EQ(portalTrigger(shortcut), row.trigger) << row.text;
  }
  for (const Qt::Key key : {Qt::Key_Control, Qt::Key_AltGr, Qt::Key_Exclam, Qt::Key_Adiaeresis}) {
    EXPECT_EQ(shortcutOf(QKeyEvent(QEvent::KeyPress, key, Qt::ControlModifier)).key, "");
  }
  EXPECT_EQ(shortcutOf(QKeyEvent(QEvent::KeyPress, Qt::Key_7, Qt::KeypadModifier)).key, "");
}

}  // namespace
}  // namespace talvane
