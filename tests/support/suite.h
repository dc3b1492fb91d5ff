#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace talvane::test {

/// Runs the tests. With the option --suite=NAME, those of the file NAME_test.cpp alone, and fails
/// when there are none. After InitGoogleTest, which takes its own options out.
inline int runTests(int argc, char** argv) {
  setenv("LC_ALL", "C", 1);  // whatever language the developer speaks
  constexpr std::string_view option = "--suite=";
  std::string_view suite;
  for (int i = 1; i < argc; ++i) {
    if (!std::string_view(argv[i]).starts_with(option)) {
      std::fprintf(stderr, "unknown option: %s\n", argv[i]);
      return 2;
    }
    suite = std::string_view(argv[i]).substr(option.size());
  }
  if (!suite.empty()) {
    const std::string file = '/' + std::string(suite) + "_test.cpp";
    std::string filter;
    const auto& all = *testing::UnitTest::GetInstance();
    for (int i = 0; i < all.total_test_suite_count(); ++i) {
      const testing::TestSuite& tests = *all.GetTestSuite(i);
      for (int j = 0; j < tests.total_test_count(); ++j) {
        const testing::TestInfo& test = *tests.GetTestInfo(j);
        if (std::string_view(test.file()).ends_with(file)) {
          filter += std::string(tests.name()) + '.' + test.name() + ':';
        }
      }
    }
    if (filter.empty()) {
      std::fprintf(stderr, "no test is in %s\n", file.c_str() + 1);
      return 1;
    }
    GTEST_FLAG_SET(filter, filter);
  }
  return RUN_ALL_TESTS();
}

}  // namespace talvane::test
