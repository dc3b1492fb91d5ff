// Asking the user to unlock the keyring.

#include <memory>

#include "tests/secret_service/fake_secret_service.h"
#include "tests/secret_service/keyring_test.h"

namespace talvane::testing {
namespace {

constexpr KeychainStatus locked = KeychainStatus::interaction_not_allowed;

class Unlocking : public KeyringTest {
 protected:
  void SetUp() override {
    session_.startBus();
    fake_ = std::make_unique<FakeSecretService>();
    keychain_ = makeSecretServiceKeychain();
    fake_->on("Locked", replying("(<true>,)"));
  }
  void TearDown() override {
    keychain_.reset();
    fake_.reset();
  }

  /// The user answers as soon as they are asked.
  void answerPrompt(bool dismissed) {
    fake_->on("Prompt", [this, dismissed](GDBusMessage* call) {
      fake_->completePrompt(dismissed);
      return replying("()")(call);
    });
  }
  KeychainStatus unlock() {
    return keychain_->unlock("ada", [this] { return ++asked_ > 600; });
  }

  std::unique_ptr<FakeSecretService> fake_;
  std::unique_ptr<KeychainService> keychain_;
  int asked_ = 0;
};

TEST_F(Unlocking, TheUserIsAskedAndAgrees) {
  answerPrompt(false);
  EXPECT_TRUE(keychain_->canUnlock());
  EXPECT_EQ(unlock(), KeychainStatus::ok);
  EXPECT_EQ(fake_->calls("Prompt"), 1);
}

TEST_F(Unlocking, TheUserRefuses) {
  answerPrompt(true);
  EXPECT_EQ(unlock(), locked);
  EXPECT_EQ(fake_->calls("Prompt"), 1);
}

TEST_F(Unlocking, TheUserTakesTheirTime) {
  fake_->on("Prompt", replying("()"));
  const Stopwatch watch;
  EXPECT_EQ(keychain_->unlock("ada",
                              [&] {
                                // Longer than any call may take.
                                if (watch.seconds() > 2.5) fake_->completePrompt(false);
                                return watch.seconds() > 60;
                              }),
            KeychainStatus::ok);
  EXPECT_GT(watch.seconds(), 2.5);
}

TEST_F(Unlocking, ThePromptGoesAwayWhenTheUserLeaves) {
  fake_->on("Prompt", replying("()"));
  EXPECT_EQ(keychain_->unlock("ada", [this] { return ++asked_ == 3; }), locked);
  // One more than that of the free attempt.
  EXPECT_EQ(fake_->calls("Dismiss"), 2);
  EXPECT_EQ(fake_->calls("Prompt"), 1);
}

TEST_F(Unlocking, ADaemonThatGoesMeanwhileIsNotWaitedFor) {
  fake_->on("Prompt", replying("()"));
  const Stopwatch watch;
  EXPECT_EQ(keychain_->unlock("ada",
                              [this] {
                                if (++asked_ == 2) fake_->leave();
                                return false;
                              }),
            KeychainStatus::not_available);
  EXPECT_LT(watch.seconds(), 10);
}

TEST_F(Unlocking, WhatIsUnlockedAlreadyNeedsNobody) {
  fake_->on("Locked", replying("(<false>,)"));
  EXPECT_EQ(unlock(), KeychainStatus::ok);
  EXPECT_EQ(fake_->calls("Prompt"), 0);
}

TEST_F(Unlocking, ThePromptOfAnotherDoesNotCount) {
  fake_->on("Prompt", replying("()"));
  std::unique_ptr<FakeSecretService> other;
  EXPECT_EQ(keychain_->unlock("ada",
                              [&] {
                                if (++asked_ == 2) {
                                  other = std::make_unique<FakeSecretService>(
                                      FakeSecretService::Taking::over);
                                  other->completePrompt(false);
                                }
                                return asked_ == 5;
                              }),
            locked);
}

}  // namespace
}  // namespace talvane::testing
