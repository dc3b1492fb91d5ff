// A process that is killed at any moment loses nothing that was stored.

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <random>
#include <thread>
#include <vector>

#include "tests/support/in_child.h"
#include "tests/vault/vault_support.h"

namespace talvane::test {
namespace {

constexpr int slots = 6;

// What a worker tells before and after it stores, through a pipe.
struct Report {
  std::int32_t slot;
  std::int32_t number;
  std::int32_t stored;
};

std::string nameOf(int slot) {
  return "token " + std::to_string(slot);
}

// A secret of a length of its own, so that pages fill, split and empty.
std::string secretOfNumber(int number) {
  const std::string digits = std::to_string(number) + ";";
  std::string text;
  while (text.size() < static_cast<std::size_t>(number % 7) * 400) text += digits;
  return text + digits;
}

// A process that does `work`, which reports into the descriptor, until it is killed.
class Worker {
 public:
  template <typename Work>
  explicit Worker(const Work& work) {
    EXPECT_EQ(pipe(ends_), 0);
    child_ = fork();
    if (child_ == 0) {
      close(ends_[0]);
      work(ends_[1]);
      _exit(1);  // work ends only by a failure
    }
    close(ends_[1]);
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;
  ~Worker() { close(ends_[0]); }

  void waitForReport() { static_cast<void>(readReport()); }

  std::vector<Report> killedAfter(std::chrono::microseconds time) {
    std::this_thread::sleep_for(time);
    kill(child_, SIGKILL);
    while (readReport()) {
    }
    EXPECT_EQ(resultOf(child_), -SIGKILL);
    return reports_;
  }

 private:
  bool readReport() {
    Report report{};
    if (read(ends_[0], &report, sizeof report) != static_cast<ssize_t>(sizeof report)) return false;
    reports_.push_back(report);
    return true;
  }

  int ends_[2] = {-1, -1};
  pid_t child_ = 0;
  std::vector<Report> reports_;
};

bool tell(int descriptor, int slot, int number, bool stored) {
  const Report report{slot, number, stored ? 1 : 0};
  return write(descriptor, &report, sizeof report) == static_cast<ssize_t>(sizeof report);
}

Status storeAll(KeychainService& keychain, int number) {
  if (const Status status = keychain.beginChange(); status != Status::ok) return status;
  for (int slot = 0; slot < slots; ++slot) {
    const Status status = store(keychain, nameOf(slot), secretOfNumber(number));
    if (status != Status::ok) return status;
  }
  return keychain.endChange();
}

class VaultKill : public testing::Test {
 protected:
  std::chrono::microseconds randomTime(std::chrono::microseconds longest) {
    const auto count = static_cast<int>(longest.count());
    return std::chrono::microseconds(std::uniform_int_distribution(0, count)(random_));
  }

  // Stores number 1 in all slots. Returns a time in which a few such changes can be made.
  static std::chrono::microseconds storeFirst(const VaultFolder& folder) {
    using std::chrono::steady_clock;
    const auto keychain = folder.open();
    EXPECT_EQ(storeAll(*keychain, 1), Status::ok);
    const auto start = steady_clock::now();
    EXPECT_EQ(storeAll(*keychain, 1), Status::ok);
    const auto time =
        std::chrono::duration_cast<std::chrono::microseconds>(steady_clock::now() - start);
    return std::clamp(3 * time, std::chrono::microseconds(1000), std::chrono::microseconds(20000));
  }

  std::mt19937 random_{20240229};  // NOLINT(cert-msc51-cpp): the same course each time
};

TEST_F(VaultKill, EveryStoredItemIsThereAfterwards) {
  const VaultFolder folder;
  const auto longest = storeFirst(folder);
  std::array<int, slots> stored{};
  stored.fill(1);
  int next = 2;
  int interrupted = 0;
  for (int round = 0; round < 200; ++round) {
    Worker worker([&](int descriptor) {
      const auto keychain = folder.open();
      for (int number = next;; ++number) {
        const int slot = number % slots;
        if (!tell(descriptor, slot, number, false)) return;
        if (store(*keychain, nameOf(slot), secretOfNumber(number)) != Status::ok) return;
        if (!tell(descriptor, slot, number, true)) return;
      }
    });
    worker.waitForReport();
    Report last{};
    for (const Report& report : worker.killedAfter(randomTime(longest))) {
      last = report;
      if (report.stored != 0) stored.at(static_cast<std::size_t>(report.slot)) = report.number;
    }
    next = last.number + 1;
    if (last.stored == 0) ++interrupted;
    const auto keychain = folder.open();
    for (int slot = 0; slot < slots; ++slot) {
      SCOPED_TRACE(std::to_string(round) + ": " + std::to_string(slot));
      int& number = stored.at(static_cast<std::size_t>(slot));
      Status status{};
      const auto secret = secretIn(*keychain, nameOf(slot), &status);
      ASSERT_EQ(status, Status::ok) << keychain->message(status);
      // What was being stored may be there, or what was there before.
      if (last.stored == 0 && last.slot == slot && secret == secretOfNumber(last.number)) {
        number = last.number;
      }
      ASSERT_EQ(secret, secretOfNumber(number));
    }
  }
  EXPECT_GT(interrupted, 20);
}

TEST_F(VaultKill, ItemsThatAreAddedAndRemovedAreThereOrNot) {
  const VaultFolder folder;
  const auto longest = storeFirst(folder);
  bool there = true;
  for (int round = 0; round < 50; ++round) {
    Worker worker([&](int descriptor) {
      const auto keychain = folder.open();
      bool present = there;
      for (;;) {
        if (!tell(descriptor, 0, present ? 0 : 1, false)) return;
        const Status status = present ? keychain->remove(nameOf(0), account)
                                      : keychain->add(nameOf(0), account, secretOf("again"));
        if (status != Status::ok) return;
        present = !present;
        if (!tell(descriptor, 0, present ? 1 : 0, true)) return;
      }
    });
    worker.waitForReport();
    const Report last = worker.killedAfter(randomTime(longest)).back();
    const auto keychain = folder.open();
    const Status status = keychain->find(nameOf(0), account, nullptr);
    ASSERT_TRUE(status == Status::ok || status == Status::item_not_found)
        << keychain->message(status);
    there = status == Status::ok;
    ASSERT_TRUE(last.stored == 0 || there == (last.number == 1));
    for (int slot = 1; slot < slots; ++slot) {
      ASSERT_EQ(secretIn(*keychain, nameOf(slot)), secretOfNumber(1));
    }
  }
}

TEST_F(VaultKill, ChangesTogetherAreAllThereOrNone) {
  const VaultFolder folder;
  const auto longest = storeFirst(folder);
  int stored = 1;
  int next = 2;
  int interrupted = 0;
  for (int round = 0; round < 200; ++round) {
    Worker worker([&](int descriptor) {
      const auto keychain = folder.open();
      for (int number = next;; ++number) {
        if (!tell(descriptor, 0, number, false)) return;
        if (storeAll(*keychain, number) != Status::ok) return;
        if (!tell(descriptor, 0, number, true)) return;
      }
    });
    worker.waitForReport();
    Report last{};
    for (const Report& report : worker.killedAfter(randomTime(longest))) {
      last = report;
      if (report.stored != 0) stored = report.number;
    }
    next = last.number + 1;
    if (last.stored == 0) ++interrupted;
    const auto keychain = folder.open();
    keychain->beginReading(account);
    if (last.stored == 0 && secretIn(*keychain, nameOf(0)) == secretOfNumber(last.number)) {
      stored = last.number;
    }
    for (int slot = 0; slot < slots; ++slot) {
      SCOPED_TRACE(std::to_string(round) + ": " + std::to_string(slot));
      Status status{};
      const auto secret = secretIn(*keychain, nameOf(slot), &status);
      ASSERT_EQ(status, Status::ok) << keychain->message(status);
      ASSERT_EQ(secret, secretOfNumber(stored));
    }
    keychain->endReading();
  }
  EXPECT_GT(interrupted, 20);
}

TEST_F(VaultKill, AVaultInTheMakingIsNoneOrWhole) {
  int made = 0;
  for (int round = 0; round < 50; ++round) {
    SCOPED_TRACE(round);
    const VaultFolder folder;
    Worker worker([&](int descriptor) {
      const auto keychain = folder.open();
      if (store(*keychain, nameOf(0), "first") != Status::ok) return;
      if (!tell(descriptor, 0, 1, true)) return;
      for (;;) pause();
    });
    const auto reports = worker.killedAfter(randomTime(std::chrono::microseconds(4000)));
    const auto keychain = folder.open();
    Status status{};
    const auto secret = secretIn(*keychain, nameOf(0), &status);
    if (!reports.empty() || secret) {
      ++made;
      ASSERT_EQ(secret, "first") << keychain->message(status);
    } else {
      ASSERT_EQ(status, Status::item_not_found) << keychain->message(status);
    }
    ASSERT_EQ(store(*keychain, nameOf(1), "second"), Status::ok);
    ASSERT_EQ(secretIn(*folder.open(), nameOf(1)), "second");
  }
  EXPECT_LT(made, 50);
}

}  // namespace
}  // namespace talvane::test
