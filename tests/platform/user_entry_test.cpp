// The user database, and what is said when it has no answer.

#include "platform/user_entry.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace {

using Answer = int(uid_t, passwd*, char*, std::size_t, passwd**);

// In place of the system's while it is set.
std::function<Answer> database;

}  // namespace

extern "C" int getpwuid_r(uid_t user, passwd* fields, char* buffer, std::size_t size,
                          passwd** found) {
  static auto* const of_the_system = reinterpret_cast<Answer*>(dlsym(RTLD_NEXT, "getpwuid_r"));
  return database ? database(user, fields, buffer, size, found)
                  : of_the_system(user, fields, buffer, size, found);
}

namespace talvane::test {
namespace {

class UserEntryTest : public testing::Test {
 protected:
  ~UserEntryTest() override { database = nullptr; }
  std::optional<UserEntry> entry = UserEntry{"left", "over"};
};

TEST_F(UserEntryTest, IsTheSystems) {
  const passwd* expected = getpwuid(getuid());
  ASSERT_NE(expected, nullptr);
  ASSERT_EQ(readUserEntry(getuid(), &entry), 0);
  ASSERT_TRUE(entry.has_value());
  EXPECT_EQ(entry->name, expected->pw_name);
  EXPECT_EQ(entry->home, expected->pw_dir);
}

TEST_F(UserEntryTest, UserWhoIsNotThere) {
  database = [](uid_t, passwd*, char*, std::size_t, passwd** found) {
    *found = nullptr;
    return 0;
  };
  EXPECT_EQ(readUserEntry(4711, &entry), 0);
  EXPECT_FALSE(entry.has_value());
  EXPECT_EQ(loginNameProblem(4711, 0), "user 4711 has no login name in the user database");
}

TEST_F(UserEntryTest, DatabaseThatDoesNotAnswer) {
  database = [](uid_t, passwd*, char*, std::size_t, passwd**) { return EIO; };
  EXPECT_EQ(readUserEntry(4711, &entry), EIO);
  EXPECT_FALSE(entry.has_value());
  EXPECT_EQ(loginNameProblem(4711, EIO), "user 4711 in the user database: Input/output error");
}

TEST_F(UserEntryTest, LongEntryGetsTheRoomThatItNeeds) {
  const std::string home(100'000, 'h');
  std::size_t asked = 0;
  database = [&](uid_t, passwd* fields, char* buffer, std::size_t size, passwd** found) {
    ++asked;
    *found = nullptr;
    if (size <= home.size()) return ERANGE;
    std::copy(home.c_str(), home.c_str() + home.size() + 1, buffer);
    fields->pw_dir = buffer;
    fields->pw_name = buffer + home.size();
    *found = fields;
    return 0;
  };
  ASSERT_EQ(readUserEntry(4711, &entry), 0);
  EXPECT_EQ(entry->home, home);
  EXPECT_GT(asked, 1U);
}

TEST_F(UserEntryTest, EntryWithoutEndIsGivenUp) {
  std::size_t largest = 0;
  database = [&](uid_t, passwd*, char*, std::size_t size, passwd** found) {
    largest = std::max(largest, size);
    *found = nullptr;
    return ERANGE;
  };
  EXPECT_EQ(readUserEntry(4711, &entry), ERANGE);
  EXPECT_FALSE(entry.has_value());
  EXPECT_LE(largest, std::size_t{1} << 20);
}

}  // namespace
}  // namespace talvane::test
