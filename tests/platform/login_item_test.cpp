#include "platform/login_item.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/memory/memory_login_items.h"

namespace talvane::test {
namespace {

using Targets = std::vector<std::optional<std::string>>;
using Lines = std::vector<std::string>;

const std::string here = "/opt/new/softtoken";
const std::string old_place = "/opt/old/softtoken";
const std::string other = "/usr/bin/other";

class LoginItemTest : public testing::Test {
 protected:
  LoginItemTest() : LoginItemTest(std::make_unique<MemoryLoginItems>()) {}

  /// From now on `told` says what observers hear, each with what the property reads as then.
  void observe() {
    const auto observer = [this](const std::string& when) {
      return [this, when](std::string_view key) {
        told.push_back(when + ' ' + std::string(key) + (item.launchAtLogin() ? " on" : " off"));
      };
    };
    item.observeLaunchAtLogin(observer("will"), observer("did"));
  }

 private:
  explicit LoginItemTest(std::unique_ptr<MemoryLoginItems> items)
      : list(*items), item(std::move(items), here) {}

 protected:
  MemoryLoginItems& list;
  talibobjc_LoginItem item;
  Lines told;
};

TEST_F(LoginItemTest, MovedApplicationIsOffAndEnablingAddsASecondItemForTheNewPlace) {
  list.append(old_place);
  EXPECT_FALSE(item.launchAtLogin());
  item.setLaunchAtLogin(true);
  EXPECT_TRUE(item.launchAtLogin());
  EXPECT_EQ(list.targets(), (Targets{here, old_place}));
}

TEST_F(LoginItemTest, EnablingWhenEnabledChangesNothing) {
  list.append(other);
  list.append(here);
  item.setLaunchAtLogin(true);
  EXPECT_EQ(list.targets(), (Targets{other, here}));
  EXPECT_EQ(list.insertions, 0U);
  EXPECT_EQ(list.removals, 0U);
}

TEST_F(LoginItemTest, DisablingWhenAbsentChangesNothing) {
  list.append(other);
  item.setLaunchAtLogin(false);
  EXPECT_EQ(list.targets(), Targets{other});
  EXPECT_EQ(list.insertions, 0U);
  EXPECT_EQ(list.removals, 0U);
}

TEST_F(LoginItemTest, RemovalByAnotherProgramIsTold) {
  list.append(here);
  observe();
  list.clear();
  EXPECT_EQ(told, (Lines{"will launchAtLogin off", "did launchAtLogin off"}));
}

TEST_F(LoginItemTest, AdditionByAnotherProgramIsTold) {
  observe();
  list.append(here);
  EXPECT_EQ(told, (Lines{"will launchAtLogin on", "did launchAtLogin on"}));
}

TEST_F(LoginItemTest, ChangeThatConcernsAnotherProgramIsTold) {
  observe();
  list.append(other);
  EXPECT_EQ(told, (Lines{"will launchAtLogin off", "did launchAtLogin off"}));
}

TEST_F(LoginItemTest, EmptyListIsOff) {
  EXPECT_FALSE(item.launchAtLogin());
}

TEST_F(LoginItemTest, EnablingInsertsAtTheHead) {
  list.append(other);
  list.append(std::nullopt);
  item.setLaunchAtLogin(true);
  EXPECT_EQ(list.targets(), (Targets{here, other, std::nullopt}));
}

TEST_F(LoginItemTest, DisablingRemovesTheItemAndNoOther) {
  list.append(other);
  list.append(here);
  list.append(old_place);
  item.setLaunchAtLogin(false);
  EXPECT_FALSE(item.launchAtLogin());
  EXPECT_EQ(list.targets(), (Targets{other, old_place}));
}

TEST_F(LoginItemTest, FirstOfTwoEqualItemsIsFoundAndRemoved) {
  list.append(other);
  list.append(here);
  list.append(old_place);
  list.append(here);
  EXPECT_EQ(talibobjc_LoginItem::findItemWithURL(here, &list), list.snapshot()[1]);
  item.setLaunchAtLogin(false);
  EXPECT_EQ(list.targets(), (Targets{other, old_place, here}));
  EXPECT_TRUE(item.launchAtLogin());
}

TEST_F(LoginItemTest, ItemsThatDoNotResolveAreSkipped) {
  list.append(std::nullopt);
  EXPECT_FALSE(item.launchAtLogin());
  list.append(here);
  EXPECT_TRUE(item.launchAtLogin());
  EXPECT_EQ(talibobjc_LoginItem::findItemWithURL(here, &list), list.snapshot()[1]);
}

TEST_F(LoginItemTest, TargetsCompareByTheirWholeText) {
  for (const std::string& target : {here + "-old", here.substr(0, here.size() - 1), here + "/",
                                    "file://" + here, std::string("/OPT/NEW/SOFTTOKEN")}) {
    list.append(target);
  }
  EXPECT_FALSE(item.launchAtLogin());
}

TEST_F(LoginItemTest, NoUrlFindsNothingAndChangesNothing) {
  list.append(std::nullopt);
  EXPECT_EQ(talibobjc_LoginItem::findItemWithURL(std::nullopt, &list), nullptr);
  EXPECT_FALSE(item.willLaunchAtLogin(std::nullopt));
  item.setLaunchAtLogin(true, std::nullopt);
  item.setLaunchAtLogin(false, std::nullopt);
  EXPECT_EQ(list.targets(), Targets{std::nullopt});
}

TEST_F(LoginItemTest, NoListFindsNothingAndChangesNothing) {
  EXPECT_EQ(talibobjc_LoginItem::findItemWithURL(here, nullptr), nullptr);
  item.setLoginItems(nullptr);
  EXPECT_EQ(item.loginItems(), nullptr);
  observe();
  item.setLaunchAtLogin(true);
  EXPECT_EQ(told, (Lines{"will launchAtLogin off", "did launchAtLogin off"}));
}

TEST_F(LoginItemTest, FailedInsertionLeavesTheListAndTheReadShowsTheTruth) {
  list.append(other);
  list.writable = false;
  observe();
  item.setLaunchAtLogin(true);
  EXPECT_EQ(list.insertions, 1U);
  EXPECT_EQ(list.targets(), Targets{other});
  EXPECT_EQ(told, (Lines{"will launchAtLogin off", "did launchAtLogin off"}));
}

TEST_F(LoginItemTest, FailedRemovalLeavesTheListAndTheReadShowsTheTruth) {
  list.append(here);
  list.writable = false;
  observe();
  item.setLaunchAtLogin(false);
  EXPECT_EQ(list.removals, 1U);
  EXPECT_EQ(list.targets(), Targets{here});
  EXPECT_EQ(told, (Lines{"will launchAtLogin on", "did launchAtLogin on"}));
}

// The list in memory tells of its change at once, between the two of the call itself.
TEST_F(LoginItemTest, SettingIsToldBeforeAndAfterTheChange) {
  observe();
  item.setLaunchAtLogin(true);
  EXPECT_EQ(told, (Lines{"will launchAtLogin off", "will launchAtLogin on", "did launchAtLogin on",
                         "did launchAtLogin on"}));
  told.clear();
  item.setLaunchAtLogin(false);
  EXPECT_EQ(told, (Lines{"will launchAtLogin on", "will launchAtLogin off", "did launchAtLogin off",
                         "did launchAtLogin off"}));
}

TEST_F(LoginItemTest, SettingToWhatItIsIsToldToo) {
  observe();
  item.setLaunchAtLogin(false);
  EXPECT_EQ(told, (Lines{"will launchAtLogin off", "did launchAtLogin off"}));
}

TEST_F(LoginItemTest, SettingForAnotherUrlIsToldByTheListAlone) {
  observe();
  item.setLaunchAtLogin(true, other);
  EXPECT_EQ(list.targets(), Targets{other});
  EXPECT_TRUE(item.willLaunchAtLogin(other));
  EXPECT_FALSE(item.willLaunchAtLogin(here));
  item.setLaunchAtLogin(true, other);
  EXPECT_EQ(told, (Lines{"will launchAtLogin off", "did launchAtLogin off"}));
  item.setLaunchAtLogin(false, other);
  EXPECT_EQ(list.targets(), Targets{});
}

TEST_F(LoginItemTest, AnotherListIsObservedOnceItIsSet) {
  auto next = std::make_unique<MemoryLoginItems>();
  MemoryLoginItems& next_list = *next;
  item.setLoginItems(std::move(next));
  EXPECT_EQ(item.loginItems(), &next_list);
  observe();
  next_list.append(here);
  EXPECT_EQ(told, (Lines{"will launchAtLogin on", "did launchAtLogin on"}));
}

TEST_F(LoginItemTest, NobodyNeedsToObserve) {
  item.observeLaunchAtLogin(nullptr, nullptr);
  list.append(other);
  item.setLaunchAtLogin(true);
  EXPECT_TRUE(item.launchAtLogin());
}

TEST_F(LoginItemTest, ItemOutlivesItsRemovalAndIsNotRemovedTwice) {
  list.append(here);
  list.append(here);
  const LoginItemHandle found = talibobjc_LoginItem::findItemWithURL(here, &list);
  list.remove(*found);
  list.remove(*found);
  EXPECT_EQ(list.targets(), Targets{here});
  EXPECT_EQ(list.resolve(*found), here);
}

/// Says when its callback is taken away.
class WatchedList final : public LoginItemsList {
 public:
  explicit WatchedList(int* callbacks) : callbacks_(callbacks) {}
  std::vector<LoginItemHandle> snapshot() override { return {}; }
  std::optional<std::string> resolve(const LoginItem& /*item*/) override { return std::nullopt; }
  void insertAtHead(const std::string& /*target*/) override {}
  void remove(const LoginItem& /*item*/) override {}
  std::optional<std::string> ownTarget() override { return std::nullopt; }
  void setChangeCallback(std::function<void()> callback) override {
    *callbacks_ += callback ? 1 : -1;
  }

 private:
  int* callbacks_;
};

TEST(LoginItemObserverTest, ObjectObservesItsListFromItsBeginningToItsEnd) {
  int callbacks = 0;
  {
    const talibobjc_LoginItem item(std::make_unique<WatchedList>(&callbacks), here);
    EXPECT_EQ(callbacks, 1);
    EXPECT_EQ(item.appURL(), here);
    EXPECT_EQ(item.loginItems()->watchDescriptor(), -1);
  }
  EXPECT_EQ(callbacks, 0);
}

}  // namespace
}  // namespace talvane::test
