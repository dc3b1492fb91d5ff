// The desktop's search, from the program's side.

#include <QApplication>
#include <QClipboard>
#include <QTest>

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>

#include "tests/ui/app_test.h"

namespace talvane {
namespace {

using test::Lines;
using Call = test::FaultyKeychain::Call;

class SearchTest : public AppTest {
 protected:
  SearchTest() {
    workInBackground();
    fault = [this](Call) {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return !is_hung_; });
      return answer_;
    };
  }
  ~SearchTest() override {
    setHung(false);
    end();
  }

  void setHung(bool hung) {
    const std::lock_guard lock(mutex_);
    is_hung_ = hung;
    changed_.notify_all();
  }
  void setAnswer(KeychainStatus answer) {
    const std::lock_guard lock(mutex_);
    answer_ = answer;
  }

  void ask(const std::string& query) {
    found_.reset();
    app().findNames(query, [this](const Lines& names) { found_ = names; });
  }
  Lines find(const std::string& query) {
    ask(query);
    EXPECT_TRUE(QTest::qWaitFor([this] { return found_.has_value(); }));
    return found_.value_or(Lines());
  }

  std::optional<Lines> found_;

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool is_hung_ = false;
  KeychainStatus answer_ = KeychainStatus::ok;
};

TEST_F(SearchTest, FindsNamesWithoutALineInTheTrace) {
  store("Work mail");
  store("Homework", seed2);
  app();
  clearTrace();
  EXPECT_EQ(find("work"), (Lines{"Work mail", "Homework"}));
  EXPECT_EQ(find("bank"), Lines());
  app().copyByName("Homework");
  EXPECT_TRUE(QTest::qWaitFor([] { return !QApplication::clipboard()->text().isEmpty(); }));
  EXPECT_EQ(traced({""}), Lines());
}

TEST_F(SearchTest, SeesWhatOtherProgramsDo) {
  app();
  EXPECT_EQ(find("work"), Lines());
  store("Work");
  EXPECT_EQ(find("work"), Lines{"Work"});
  renameStored(0, "Bank");
  EXPECT_EQ(find("work"), Lines());
  EXPECT_EQ(find("bank"), Lines{"Bank"});
}

TEST_F(SearchTest, CopiesThePasscodeOfNow) {
  QApplication::clipboard()->clear();
  store("Work", seed1, 60);
  // RFC 6238, appendix B: the seed's passcode of the second minute.
  clock = 119;
  app().copyByName("Work");
  show("tv");
  const Lines shown = codes();
  clickIcon();
  EXPECT_TRUE(QTest::qWaitFor([] { return !QApplication::clipboard()->text().isEmpty(); }));
  EXPECT_EQ(Lines{QApplication::clipboard()->text().toStdString()}, shown);
}

TEST_F(SearchTest, ATokenThatIsNotThereOpensThePanel) {
  store("Work");
  app().copyByName("Bank");
  EXPECT_TRUE(QTest::qWaitFor([] { return openView() == "tv"; }));
}

TEST_F(SearchTest, ALockedKeychainHasNoHits) {
  store("Work");
  app();
  setAnswer(KeychainStatus::interaction_not_allowed);
  EXPECT_EQ(find("work"), Lines());
  EXPECT_EQ(alerts.texts(), Lines());
  // Who chooses a hit of before is told.
  app().copyByName("Work");
  EXPECT_TRUE(QTest::qWaitFor([] { return openView() == "tv"; }));
  setAnswer(KeychainStatus::ok);
  EXPECT_EQ(find("work"), Lines{"Work"});
}

TEST_F(SearchTest, AHungKeychainHoldsNobodyUp) {
  store("Work");
  app();
  setHung(true);
  ask("work");
  Lines also;
  app().findNames("wo", [&](const Lines& names) { also = names; });
  QTest::qWait(100);
  EXPECT_FALSE(found_.has_value());
  EXPECT_FALSE(Wait::isOn());
  setHung(false);
  EXPECT_TRUE(QTest::qWaitFor([&] { return !also.empty(); }));
  EXPECT_EQ(found_, Lines{"Work"});
}

TEST_F(SearchTest, TheProgramMayEndMeanwhile) {
  store("Work");
  app();
  setHung(true);
  ask("work");
  turnEventLoop();
  setHung(false);
  end();
  EXPECT_FALSE(found_.has_value());
}

TEST_F(SearchTest, WaitsForAnOperationThatWaits) {
  store("Work");
  app();
  setHung(true);
  QTimer::singleShot(100, [this] {
    EXPECT_TRUE(Wait::isOn());
    ask("work");
    QTimer::singleShot(50, [this] { setHung(false); });
  });
  clickIcon();
  EXPECT_TRUE(QTest::qWaitFor([this] { return found_.has_value(); }));
  EXPECT_EQ(found_, Lines{"Work"});
  EXPECT_EQ(openView(), "tv");
}

TEST_F(SearchTest, AStartForItShowsNothingUntilAnother) {
  for_search = true;
  defaults.values.clear();
  store("Work");
  launch();
  EXPECT_EQ(status_items_shown, 0);
  EXPECT_EQ(alerts.texts(), Lines());
  EXPECT_EQ(find("work"), Lines{"Work"});
  app().perform("background");
  EXPECT_EQ(status_items_shown, 0);
  app().perform("start");
  turnEventLoop();
  EXPECT_EQ(status_items_shown, 1);
  EXPECT_EQ(alerts.texts(), Lines{"Add to \"Login Items\"?"});
  EXPECT_EQ(openView(), "");
  app().perform("start");
  turnEventLoop();
  EXPECT_EQ(status_items_shown, 1);
  EXPECT_EQ(openView(), "tv");
}

TEST_F(SearchTest, AWishIsFulfilledAtOnce) {
  for_search = true;
  launch();
  app().perform("toggle");
  turnEventLoop();
  EXPECT_EQ(status_items_shown, 1);
  EXPECT_EQ(openView(), "tv");
}

TEST_F(SearchTest, ChoosingTheProgramItselfShowsIt) {
  for_search = true;
  launch();
  app().showPanel();
  turnEventLoop();
  EXPECT_EQ(openView(), "tv");
  app().showPanel();
  turnEventLoop();
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(status_items_shown, 1);
}

}  // namespace
}  // namespace talvane
