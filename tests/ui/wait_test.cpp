// The program while a server, a keychain or the store's lock does not answer.

#include "ui/wait/wait.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QTest>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "platform/folders.h"
#include "store/store_lock.h"
#include "tests/ui/app_test.h"
#include "tests/ui/on_event.h"
#include "ui/wait/background_thread.h"

namespace talvane {
namespace {

using test::Lines;
using Call = test::FaultyKeychain::Call;

// Much more than any step takes, much less than the program's own limits.
constexpr int soon = 1000;

constexpr const char* token_line =
    "INPUT:SOFTTOKENURL=otpauth://totp/Work?secret=GEZDGNBVGY3TQOJQ&period=30\r\n";
constexpr const char* questions =
    "INPUT:ENROL=True\r\nQUESTIONS1:Pet,Street,Song\r\nQUESTIONS2:Pet,Street,Song\r\n";

/// Keeps threads waiting.
class Gate {
 public:
  void close() {
    const std::lock_guard guard(mutex_);
    closed_ = true;
  }
  void open() {
    const std::lock_guard guard(mutex_);
    closed_ = false;
    changed_.notify_all();
  }
  void pass() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !closed_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool closed_ = false;
};

class WaitTest : public AppTest {
 protected:
  WaitTest() {
    setSettings("AllowManual=1\nEnrolURL=https://srv\n");
    workInBackground();
    fault = [this](Call call) {
      if (call == stopped_call_) gate_.pass();
      return answer_;
    };
  }
  ~WaitTest() override {
    gate_.open();
    // What a request waits for.
    network.cancel();
    end();
  }

  /// Does it once, when the program waits.
  void whenItWaits(std::function<void()> act) {
    acts_ = std::move(act);
    waits_ = false;
    QObject::connect(&timer_, &QTimer::timeout, [this] {
      if (!Wait::isOn()) return;
      timer_.disconnect();
      timer_.stop();
      waits_ = true;
      since_.start();
      std::exchange(acts_, nullptr)();
    });
    timer_.start(1);
  }
  /// That the program has waited, and stopped at once when the user acted.
  void expectEndedAtOnce() {
    EXPECT_TRUE(waits_);
    EXPECT_LT(since_.elapsed(), soon);
    EXPECT_FALSE(Wait::isOn());
    turnEventLoop();
    EXPECT_FALSE(Wait::isLeaving());
  }

  static void pressEscape() {
    QWidget* focus = QApplication::focusWidget();
    QTest::keyClick(focus != nullptr ? focus : panel(), Qt::Key_Escape);
  }
  static void pressClose() { QTest::mouseClick(button("close"), Qt::LeftButton); }

  void stopKeychainAt(Call call) {
    stopped_call_ = call;
    gate_.close();
  }

  /// The sign-in view, ready to submit. The next request waits.
  void signIn() {
    network.answer("RESULT:OK\r\nVERSION:7200\r\n");
    show("eva");
    ASSERT_TRUE(QTest::qWaitFor([] { return find<QLineEdit>("eva_userid")->isVisible(); }));
    type("eva_userid", "ada");
  }
  /// The get-info view, ready to submit. The next request waits.
  void answerQuestions() {
    signIn();
    network.answer(std::string("RESULT:OK,GETINFO\r\n") + questions + token_line);
    click("eva_submit");
    ASSERT_EQ(openView(), "evgi");
    type("evgi_answer1", "Rex");
    type("evgi_answer2", "Elm Road");
  }
  void typeToken(const std::string& name) {
    show("mv");
    type("mvdesc", name);
    type("mvseed", seed1);
  }

  Gate gate_;
  std::optional<Call> stopped_call_;
  KeychainStatus answer_ = KeychainStatus::ok;
  QTimer timer_;
  std::function<void()> acts_;
  bool waits_ = false;
  QElapsedTimer since_;
};

// Requests.

TEST_F(WaitTest, EscapeEndsTheSignInAndCancels) {
  signIn();
  whenItWaits([] { pressEscape(); });
  click("eva_submit");
  expectEndedAtOnce();
  EXPECT_EQ(openView(), "av");
  EXPECT_EQ(network.cancelled(), 1U);
  EXPECT_EQ(alerts.texts(), Lines());
}

TEST_F(WaitTest, CancelEndsTheSignIn) {
  signIn();
  whenItWaits([] { QTest::mouseClick(button("eva_cancel"), Qt::LeftButton); });
  click("eva_submit");
  expectEndedAtOnce();
  EXPECT_EQ(openView(), "av");
}

TEST_F(WaitTest, CloseButtonEndsTheSignInAndCloses) {
  signIn();
  whenItWaits([] { pressClose(); });
  click("eva_submit");
  expectEndedAtOnce();
  EXPECT_EQ(openView(), "");
}

TEST_F(WaitTest, IconEndsTheSignInAndCloses) {
  signIn();
  whenItWaits([this] { app().iconClicked(); });
  click("eva_submit");
  expectEndedAtOnce();
  EXPECT_EQ(openView(), "");
}

TEST_F(WaitTest, WindowManagerEndsTheSignInAndCloses) {
  signIn();
  whenItWaits([] { panel()->close(); });
  click("eva_submit");
  expectEndedAtOnce();
  EXPECT_EQ(openView(), "");
}

TEST_F(WaitTest, ToggleOfAnotherStartEndsTheSignInAndCloses) {
  signIn();
  whenItWaits([this] { app().perform(QStringLiteral("toggle")); });
  click("eva_submit");
  expectEndedAtOnce();
  EXPECT_EQ(openView(), "");
}

TEST_F(WaitTest, QuitEndsTheProgram) {
  signIn();
  whenItWaits([this] { app().perform(QStringLiteral("quit")); });
  QTimer::singleShot(0, [] { button("eva_submit")->click(); });
  QTimer::singleShot(20'000, qApp, [] { QApplication::exit(1); });
  EXPECT_EQ(QApplication::exec(), 0);
  EXPECT_TRUE(waits_);
  EXPECT_LT(since_.elapsed(), soon);
  EXPECT_EQ(network.cancelled(), 1U);
}

TEST_F(WaitTest, CancelOfTheFinalRequestGoesWhereCancelGoesAndStoresNothing) {
  answerQuestions();
  whenItWaits([] { pressEscape(); });
  click("evgi_submit");
  expectEndedAtOnce();
  EXPECT_EQ(openView(), "av");
  EXPECT_EQ(storedNames(), Lines());
}

TEST_F(WaitTest, CloseDuringTheFinalRequestOpensNothing) {
  answerQuestions();
  whenItWaits([] { pressClose(); });
  click("evgi_submit");
  expectEndedAtOnce();
  EXPECT_EQ(openView(), "");
  EXPECT_EQ(storedNames(), Lines());
}

TEST_F(WaitTest, GetInfoViewAsksToWaitAndTakesNoInput) {
  answerQuestions();
  const std::string prompt = textOf("evgi_questionlabel");
  whenItWaits([this] {
    EXPECT_EQ(textOf("evgi_questionlabel"), "Please wait...");
    EXPECT_FALSE(button("evgi_submit")->isEnabled());
    auto* answer = find<QLineEdit>("evgi_answer1");
    QTest::keyClicks(answer, QStringLiteral("more"));
    EXPECT_EQ(answer->text(), QStringLiteral("Rex"));
    QTest::keyClick(answer, Qt::Key_Return);
    QTest::mouseClick(button("evgi_submit"), Qt::LeftButton);
    button("evgi_submit")->click();  // as assistive technologies do
    EXPECT_EQ(network.requests().size(), 3U);
    EXPECT_EQ(openView(), "evgi");
    network.answer("RESULT:OK,COMPLETE\r\n");
  });
  click("evgi_submit");
  EXPECT_TRUE(waits_);
  turnEventLoop();
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(storedNames(), Lines{"Work"});
  EXPECT_EQ(textOf("evgi_questionlabel"), prompt);
}

TEST_F(WaitTest, PanelKeepsPainting) {
  answerQuestions();
  int painted = 0;
  whenItWaits([this, &painted] {
    const test::OnEvent counter(*panel()->contentView(), QEvent::Paint,
                                [&painted](QEvent&) { ++painted; });
    for (int i = 0; i < 5; ++i) {
      panel()->contentView()->update();
      EXPECT_TRUE(QTest::qWaitFor([&painted, i] { return painted > i; }, soon));
    }
    network.answer("RESULT:OK,COMPLETE\r\n");
  });
  click("evgi_submit");
  EXPECT_GE(painted, 5);
}

TEST_F(WaitTest, LinkOfAnotherStartWaits) {
  signIn();
  whenItWaits([this] {
    app().perform(QStringLiteral("open otpauth://totp/Link?secret=GEZDGNBVGY3TQOJQ"));
    turnEventLoop();
    EXPECT_EQ(alerts.texts(), Lines());
    network.answer("RESULT:OK,DENIED\r\nMESSAGE:No\r\n");
  });
  click("eva_submit");
  EXPECT_TRUE(QTest::qWaitFor([this] { return alerts.seen.size() == 1; }, soon));
  EXPECT_EQ(alerts.texts().front().substr(0, 20), "Add the token \"Link\"");
}

// The keychain.

TEST_F(WaitTest, SignStandsForThePanelWhileTheTokensAreRead) {
  store("Mail");
  app();
  stopKeychainAt(Call::find);
  whenItWaits([this] {
    EXPECT_EQ(openView(), "wait");
    EXPECT_EQ(textOf("waittext"), "Please wait...");
    gate_.open();
  });
  clickIcon();
  EXPECT_TRUE(waits_);
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(codes().size(), 1U);
}

TEST_F(WaitTest, EveryWayOutEndsTheOpening) {
  store("Mail");
  app();
  const std::pair<const char*, std::function<void()>> ways[] = {
      {"Escape", [] { QTest::keyClick(panel(), Qt::Key_Escape); }},
      {"close", [] { QTest::mouseClick(button("waitclose"), Qt::LeftButton); }},
      {"window manager", [] { panel()->close(); }},
      {"icon", [this] { app().iconClicked(); }}};
  for (const auto& [name, way] : ways) {
    SCOPED_TRACE(name);
    stopKeychainAt(Call::find);
    whenItWaits(way);
    clickIcon();
    expectEndedAtOnce();
    EXPECT_EQ(openView(), "");
    gate_.open();
    EXPECT_TRUE(QTest::qWaitFor([this] {
      clickIcon();
      return openView() == "tv";
    }));
    EXPECT_EQ(codes().size(), 1U);
    clickIcon();
    EXPECT_EQ(openView(), "");
  }
}

TEST_F(WaitTest, LeavingWhileAnotherViewReadsClosesThePanel) {
  store("Mail");
  show("tv");
  stopKeychainAt(Call::find);
  whenItWaits([] { QTest::keyClick(panel(), Qt::Key_Escape); });
  EXPECT_TRUE(told_open);
  click("tvconfig");
  expectEndedAtOnce();
  EXPECT_EQ(openView(), "");
  EXPECT_FALSE(told_open);
  gate_.open();
}

TEST_F(WaitTest, EscapeLeavesThePromptOfTheKeychain) {
  store("Mail");
  answer_ = KeychainStatus::interaction_not_allowed;
  std::atomic<bool> went_away = false;
  keychain.unlocks = [&went_away](const std::function<bool()>& given_up) {
    while (!given_up()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    went_away = true;
    return KeychainStatus::interaction_not_allowed;
  };
  show("tv");
  whenItWaits([] { pressEscape(); });
  click("tvunlock");
  expectEndedAtOnce();
  EXPECT_EQ(openView(), "");
  EXPECT_TRUE(QTest::qWaitFor([&] { return went_away.load(); }, soon));
  end();
}

TEST_F(WaitTest, SilentKeychainIsTold) {
  store("Mail");
  app();
  answer_ = KeychainStatus::not_responding;
  clickIcon();
  EXPECT_EQ(openView(), "tv");
  EXPECT_EQ(textOf("tvtrouble"), "words for -67585 [-67585]");
}

TEST_F(WaitTest, ClosingDuringAChangeHidesThePanelAndTheChangeGoesOn) {
  typeToken("Mail");
  stopKeychainAt(Call::add);
  whenItWaits([this] {
    pressClose();
    EXPECT_EQ(openView(), "");
    EXPECT_TRUE(Wait::isOn());
    gate_.open();
  });
  click("mvok");
  EXPECT_TRUE(waits_);
  EXPECT_EQ(storedNames(), Lines{"Mail"});
  EXPECT_EQ(alerts.texts(), Lines());
  EXPECT_EQ(openView(), "");
}

TEST_F(WaitTest, FailureOfAChangeIsToldThoughThePanelIsClosed) {
  typeToken("Mail");
  stopKeychainAt(Call::add);
  whenItWaits([this] {
    pressEscape();
    EXPECT_EQ(openView(), "");
    answer_ = KeychainStatus::disk_full;
    gate_.open();
  });
  click("mvok");
  EXPECT_EQ(alerts.texts(), Lines{"words for -34 [-34]"});
  EXPECT_EQ(storedNames(), Lines());
}

TEST_F(WaitTest, DeletionSurvivesTheClosingOfItsView) {
  storeMany(3);
  show("cv");
  QTest::mouseClick(all<QAbstractButton>("cvdelete")[1], Qt::LeftButton, Qt::NoModifier,
                    QPoint(8, 8));
  alerts.answers.push_back(test::AlertUser::press("YES"));
  stopKeychainAt(Call::remove);
  whenItWaits([this] {
    pressClose();
    turnEventLoop();
    gate_.open();
  });
  click("cvtrash");
  EXPECT_TRUE(waits_);
  EXPECT_EQ(storedNames(), (Lines{"Token 0", "Token 2"}));
}

TEST_F(WaitTest, NothingOfTheStoreIsEnteredTwice) {
  typeToken("Mail");
  stopKeychainAt(Call::add);
  std::size_t calls = 0;
  whenItWaits([this, &calls] {
    calls = keychain.calls;
    app().perform(QStringLiteral("open otpauth://totp/Link?secret=GEZDGNBVGY3TQOJQ"));
    app().perform(QStringLiteral("toggle"));
    app().perform(QStringLiteral("toggle"));
    turnEventLoop();
    EXPECT_EQ(openView(), "");
    EXPECT_EQ(keychain.calls, calls);
    gate_.open();
  });
  click("mvok");
  EXPECT_TRUE(waits_);
  EXPECT_EQ(storedNames(), Lines{"Mail"});
  EXPECT_TRUE(QTest::qWaitFor([this] { return alerts.seen.size() == 1; }, soon));
}

TEST_F(WaitTest, WaitWithinAWaitIsRefused) {
  signIn();
  BackgroundThread thread;
  bool ran = false;
  whenItWaits([&] {
    EXPECT_FALSE(Wait::run(
        thread, [&ran] { ran = true; }, Wait::For::answer));
    EXPECT_FALSE(Wait::run(
        thread, [&ran] { ran = true; }, Wait::For::change));
    network.answer("RESULT:OK,DENIED\r\nMESSAGE:No\r\n");
  });
  click("eva_submit");
  EXPECT_TRUE(waits_);
  EXPECT_FALSE(thread.isBusy());
  EXPECT_FALSE(ran);
}

TEST_F(WaitTest, TicksAreSkippedMeanwhile) {
  store("Mail");
  show("tv");
  const Lines before = codes();
  alerts.answers.push_back(test::AlertUser::press("YES"));
  stopKeychainAt(Call::add);
  whenItWaits([this, &before] {
    tick(30);
    EXPECT_EQ(codes(), before);
    gate_.open();
  });
  app().importLink(QStringLiteral("otpauth://totp/Link?secret=GEZDGNBVGY3TQOJQ"));
  EXPECT_TRUE(waits_);
  EXPECT_EQ(storedNames(), (Lines{"Mail", "Link"}));
  EXPECT_NE(codes().front(), before.front());
}

// The store's lock.

TEST_F(WaitTest, LockOfAnotherProgramIsToldAndThePanelCanBeClosed) {
  patience = std::chrono::milliseconds(300);
  typeToken("Mail");
  const StoreLock other(dataFolder());
  ASSERT_TRUE(other.held());
  whenItWaits([] {
    pressClose();
    EXPECT_EQ(openView(), "");
  });
  click("mvok");
  EXPECT_TRUE(waits_);
  ASSERT_EQ(alerts.seen.size(), 1U);
  EXPECT_NE(alerts.texts().front().find("holds the lock " + dataFolder() + "/store.lock"),
            std::string::npos)
      << alerts.texts().front();
  EXPECT_EQ(storedNames(), Lines());
}

// The thread.

TEST(BackgroundThreadTest, WorkIsDoneInOrder) {
  BackgroundThread thread;
  std::string order;
  thread.start([&order] { order += 'a'; });
  thread.start([&order] { order += 'b'; });
  const auto last = thread.start([&order] { order += 'c'; });
  EXPECT_TRUE(last->awaitUntil(std::chrono::steady_clock::now() + std::chrono::seconds(20)));
  EXPECT_EQ(order, "abc");
  EXPECT_TRUE(QTest::qWaitFor([&thread] { return !thread.isBusy(); }));
}

TEST(BackgroundThreadTest, WorkThatHasNotBegunIsDroppedAtTheEnd) {
  Gate gate;
  gate.close();
  std::atomic<bool> began = false;
  bool late = false;
  std::thread opener;
  {
    BackgroundThread thread;
    const auto first = thread.start([&] {
      began = true;
      gate.pass();
    });
    thread.start([&late] { late = true; });
    EXPECT_TRUE(QTest::qWaitFor([&began] { return began.load(); }));
    EXPECT_TRUE(thread.isBusy());
    EXPECT_FALSE(first->isDone());
    opener = std::thread([&gate] {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      gate.open();
    });
  }
  opener.join();
  EXPECT_FALSE(late);
}

TEST(BackgroundThreadTest, WaitingThrowsWhatTheWorkThrew) {
  BackgroundThread thread;
  const auto quick = [] { throw std::bad_alloc(); };
  const auto slow = [] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    throw std::bad_alloc();
  };
  EXPECT_THROW(Wait::run(thread, quick, Wait::For::change), std::bad_alloc);
  EXPECT_THROW(Wait::run(thread, slow, Wait::For::change), std::bad_alloc);
  EXPECT_FALSE(Wait::isOn());
  bool done = false;
  EXPECT_TRUE(Wait::run(
      thread, [&done] { done = true; }, Wait::For::change));
  EXPECT_TRUE(done);
}

TEST(BackgroundThreadTest, WhoAsksLateIsToldAtOnce) {
  BackgroundThread thread;
  const auto errand = thread.start([] {});
  ASSERT_TRUE(errand->awaitUntil(std::chrono::steady_clock::now() + std::chrono::seconds(20)));
  bool told = false;
  errand->whenDone([&told] { told = true; });
  EXPECT_TRUE(told);
}

}  // namespace
}  // namespace talvane
