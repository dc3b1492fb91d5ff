// What each view has to have: its height, and its buttons in their slots of the toolbar.

#include "tests/ui/app_test.h"
#include "ui/kit/look.h"

namespace talvane {
namespace {

struct Expected {
  const char* view;
  int height;
  const char* left;
  const char* centre = nullptr;
  const char* right = nullptr;
};

class EveryViewTest : public AppTest {
 protected:
  static void expectShown(const Expected& expected) {
    ASSERT_EQ(openView(), expected.view);
    EXPECT_EQ(panel()->size(), QSize(panel_width, expected.height)) << expected.view;
    const std::pair<const char*, ToolbarSlot> buttons[] = {{expected.left, ToolbarSlot::left},
                                                           {expected.centre, ToolbarSlot::centre},
                                                           {expected.right, ToolbarSlot::right}};
    for (const auto& [name, slot] : buttons) {
      if (name == nullptr) continue;
      Frame frame = toolbarButtonFrame(slot);
      frame.y += toolbarFrame(expected.height).y;
      EXPECT_EQ(frameInPanel(button(name)), frame) << name;
      EXPECT_TRUE(button(name)->isVisible()) << name;
    }
  }
};

TEST_F(EveryViewTest, HasItsHeightAndItsButtons) {
  store("Mail");
  const Expected views[] = {{"tv", tokenViewHeight(1), "tvconfig", "tvhelp", "tvadd"},
                            {"cv", managementViewHeight(1), "cvtrash", "cvhome", "cvadd"},
                            {"av", 160, "avcancel"},
                            {"mv", 200, "mvcancel", nullptr, "mvok"},
                            {"hv", 246, "hvhome"},
                            {"evgu", 270, "evgu_cancel", nullptr, "evgu_submit"}};
  for (const Expected& view : views) {
    show(view.view);
    expectShown(view);
  }
  showResponse();
  expectShown({"rv", 200, "rvok"});
}

TEST_F(EveryViewTest, SignInToo) {
  setSettings("AllowManual=1\nEnrolURL=https://srv\n");
  show("eva");
  expectShown({"eva", 270, "eva_cancel", nullptr, "eva_submit"});
}

}  // namespace
}  // namespace talvane
