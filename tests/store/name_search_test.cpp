#include "store/name_search.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace talvane {
namespace {

using Names = std::vector<std::string>;

TEST(NameSearch, HowANameAnswers) {
  struct Row {
    const char* name;
    const char* query;
    NameMatch match;
  };
  const Row rows[] = {
      {"Work mail", "work", NameMatch::begins},
      {"Work mail", "  WORK  ", NameMatch::begins},
      {"Work mail", "ma", NameMatch::begins},
      {"Work mail", "ork", NameMatch::inside},
      {"Work mail", "mail wo", NameMatch::begins},
      {"Work mail", "WORK\tMAIL", NameMatch::whole},
      {"Work mail", "work bank", NameMatch::none},
      {"Work mail", "workm", NameMatch::none},
      {"B\xC3\xBCro \xC3\x89t\xC3\xA9", "buro ete", NameMatch::whole},
      {"Buro", "b\xC3\xBCr", NameMatch::begins},
      {"Work mail", "", NameMatch::none},
      {"Work mail", " \t", NameMatch::none},
      {"", "a", NameMatch::none},
      {"", "", NameMatch::none},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(matchName(row.name, row.query), row.match) << row.name << '/' << row.query;
  }
}

TEST(NameSearch, TheBestComeFirstAndEachOnce) {
  const Names names = {"Homework", "Bank", "Work mail", "work", "Paperwork", "Work mail"};
  EXPECT_EQ(matchingNames(names, "work"), (Names{"work", "Work mail", "Homework", "Paperwork"}));
  EXPECT_EQ(matchingNames(names, "x"), Names());
  EXPECT_EQ(matchingNames(names, ""), Names());
  EXPECT_EQ(matchingNames({}, "work"), Names());
}

}  // namespace
}  // namespace talvane
