// Several command lines at once on one store.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <set>
#include <thread>

#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

// Runs the works side by side, each in a thread of its own.
void atOnce(const std::vector<std::function<void()>>& works) {
  std::vector<std::thread> threads;
  threads.reserve(works.size());
  for (const auto& work : works) threads.emplace_back(work);
  for (std::thread& thread : threads) thread.join();
}

// A different 16-character seed for each number below 1024.
std::string seedOf(int number) {
  constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";
  std::string seed = seed_16;
  seed[0] = alphabet[static_cast<std::size_t>(number / 32)];
  seed[1] = alphabet[static_cast<std::size_t>(number % 32)];
  return seed;
}

std::string nameOf(int number) {
  return "Token " + std::to_string(number);
}

// The tokens of `list --json` by name, after a check that it is a whole and consistent list.
std::map<std::string, std::size_t> consistentList(const CliHome& home) {
  std::map<std::string, std::size_t> slots;
  const Ended ended = home.run({"list", "--json"});
  EXPECT_EQ(ended.exit_code, 0) << ended.err;
  EXPECT_TRUE(ended.err.empty() || ended.err.starts_with("There are no tokens")) << ended.err;
  const auto list = nlohmann::json::parse(ended.out, nullptr, false);
  EXPECT_TRUE(list.is_array()) << ended.out;
  for (std::size_t i = 0; i < list.size(); ++i) {
    EXPECT_EQ(list[i].at("slot"), i);
    EXPECT_TRUE(slots.emplace(list[i].at("name"), i).second) << "twice: " << list[i];
  }
  return slots;
}

class FourProcesses : public testing::TestWithParam<int> {};

TEST_P(FourProcesses, AddEightTokensEach) {
  const CliHome home;
  std::vector<std::function<void()>> works;
  for (int process = 0; process < 4; ++process) {
    works.emplace_back([&home, process] {
      for (int i = 0; i < 8; ++i) {
        const int number = process * 8 + i;
        const Ended ended = home.run({"add", nameOf(number)}, seedOf(number) + '\n');
        EXPECT_EQ(ended.exit_code, 0) << ended.err;
      }
    });
  }
  atOnce(works);
  const auto slots = consistentList(home);
  ASSERT_EQ(slots.size(), 32U);
  for (int number = 0; number < 32; ++number) {
    ASSERT_TRUE(slots.contains(nameOf(number))) << number;
    const auto [code, time] = inOneStep(30, [&] { return home.run({"code", nameOf(number)}); });
    expectSuccess(code);
    EXPECT_EQ(code.out, oathPasscode(seedOf(number), 30, time) + '\n') << number;
  }
}

TEST_P(FourProcesses, AddTheVeryFirstTokens) {
  for (int round = 0; round < 10; ++round) {
    CliHome home;
    if (GetParam() % 2 == 0) home.keychain.clear();
    std::vector<std::function<void()>> works;
    for (int process = 0; process < 4; ++process) {
      works.emplace_back([&home, process] {
        expectSuccess(home.run({"add", nameOf(process)}, seed_16));
      });
    }
    atOnce(works);
    EXPECT_EQ(consistentList(home).size(), 4U);
    if (HasFailure()) break;
  }
}

TEST_P(FourProcesses, AddOneNameAndOneOfThemWins) {
  const CliHome home;
  std::atomic<int> stored = 0;
  std::vector<std::function<void()>> works;
  for (int process = 0; process < 4; ++process) {
    works.emplace_back([&, process] {
      const Ended ended = home.run({"add", "Mail"}, seedOf(process) + '\n');
      if (ended.exit_code == 0) ++stored;
      if (ended.exit_code != 0) expectFailure(ended, 1, "--replace");
    });
  }
  atOnce(works);
  EXPECT_EQ(stored, 1);
  EXPECT_EQ(home.names(), Strings{"Mail"});
}

TEST_P(FourProcesses, AddToAStoreWithRoomForTwo) {
  const CliHome home;
  for (int number = 0; number < 30; ++number) home.add(nameOf(number));
  std::atomic<int> stored = 0;
  std::vector<std::function<void()>> works;
  for (int process = 0; process < 4; ++process) {
    works.emplace_back([&, process] {
      const Ended ended = home.run({"add", "Late " + std::to_string(process)}, seed_16);
      if (ended.exit_code == 0) ++stored;
      if (ended.exit_code != 0) expectFailure(ended, 1, "32");
    });
  }
  atOnce(works);
  EXPECT_EQ(stored, 2);
  EXPECT_EQ(consistentList(home).size(), 32U);
}

INSTANTIATE_TEST_SUITE_P(Repeatedly, FourProcesses, testing::Range(0, 4));

TEST(ConcurrentChanges, ReadersSeeNeitherHolesNorDoubles) {
  const CliHome home;
  for (int number = 0; number < 16; ++number) home.add(nameOf(number), seedOf(number));
  // The even ones are deleted, of the odd ones half are renamed; the rest stands all the time.
  const std::set<std::string> standing = {nameOf(1), nameOf(5), nameOf(9), nameOf(13)};
  std::atomic<bool> done = false;
  std::atomic<int> looks = 0;
  const auto deleteSome = [&] {
    for (int number = 0; number < 16; number += 2) {
      expectSuccess(home.run({"delete", "--yes", nameOf(number)}));
    }
  };
  const auto renameSome = [&] {
    for (int round = 0; round < 3; ++round) {
      for (int number = 3; number < 16; number += 4) {
        // The creation name finds the token, whatever it is named now.
        expectSuccess(home.run(
            {"rename", nameOf(number), nameOf(number) + ", round " + std::to_string(round)}));
      }
    }
  };
  const auto look = [&] {
    while (!done) {
      const auto slots = consistentList(home);
      for (const std::string& name : standing) EXPECT_TRUE(slots.contains(name)) << name;
      EXPECT_GE(slots.size(), 8U);
      ++looks;
    }
  };
  std::thread reader(look);
  atOnce({deleteSome, renameSome});
  done = true;
  reader.join();
  EXPECT_GE(looks, 3);

  const auto slots = consistentList(home);
  EXPECT_EQ(slots.size(), 8U);
  for (int number = 3; number < 16; number += 4) {
    EXPECT_TRUE(slots.contains(nameOf(number) + ", round 2")) << number;
  }
  for (int number = 1; number < 16; number += 2) {
    const auto [code, time] = inOneStep(30, [&] { return home.run({"code", nameOf(number)}); });
    expectSuccess(code);
    EXPECT_EQ(code.out, oathPasscode(seedOf(number), 30, time) + '\n') << number;
  }
}

TEST(ConcurrentChanges, PasscodesAreRightWhileSlotsMove) {
  const CliHome home;
  for (int number = 0; number < 8; ++number) home.add(nameOf(number), seedOf(number));
  std::atomic<bool> done = false;
  std::thread reader([&] {
    while (!done) {
      const auto [code, time] = inOneStep(30, [&] { return home.run({"code", nameOf(7)}); });
      expectSuccess(code);
      EXPECT_EQ(code.out, oathPasscode(seedOf(7), 30, time) + '\n');
    }
  });
  for (int number = 0; number < 7; ++number) {
    expectSuccess(home.run({"delete", "--yes", nameOf(number)}));
  }
  done = true;
  reader.join();
  EXPECT_EQ(home.names(), Strings{nameOf(7)});
}

TEST(ConcurrentChanges, DeletingTheSameTokenTwiceDeletesItOnce) {
  const CliHome home;
  for (const char* name : {"A", "B", "C"}) home.add(name);
  std::atomic<int> deleted = 0;
  const auto work = [&] {
    const Ended ended = home.run({"delete", "--yes", "A"});
    if (ended.exit_code == 0) ++deleted;
    if (ended.exit_code != 0) expectFailure(ended, 3, "\"A\"");
  };
  atOnce({work, work, work, work});
  EXPECT_EQ(deleted, 1);
  EXPECT_EQ(home.names(), (Strings{"B", "C"}));
}

TEST(ConcurrentChanges, KilledProgramsLeaveNoLockAndLoseNoToken) {
  const CliHome home;
  for (int number = 0; number < 8; ++number) home.add(nameOf(number), seedOf(number));
  for (int round = 0; round < 20; ++round) {
    {
      const RunningProcess killed(
          home.command({"rename", nameOf(round % 8), "R" + std::to_string(round)}),
          home.environment);
      std::this_thread::sleep_for(std::chrono::milliseconds(round));
    }
    EXPECT_EQ(consistentList(home).size(), 8U) << round;
  }
  expectSuccess(home.run({"rename", nameOf(0), "Last"}));
  for (int number = 0; number < 8; ++number) {
    const auto [code, time] = inOneStep(30, [&] { return home.run({"code", nameOf(number)}); });
    expectSuccess(code);
    EXPECT_EQ(code.out, oathPasscode(seedOf(number), 30, time) + '\n') << number;
  }
}

}  // namespace
}  // namespace talvane::test
