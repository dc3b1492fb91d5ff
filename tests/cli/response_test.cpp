// softtoken-cli response.

#include <gtest/gtest.h>

#include "tests/cli/cli_home.h"

namespace talvane::test {
namespace {

// The response code in what `add` printed.
std::string codeIn(const std::string& out) {
  constexpr std::string_view label = "Response code: ";
  const std::size_t begin = out.find(label);
  return begin == std::string::npos ? std::string() : out.substr(begin + label.size(), 8);
}

TEST(Response, IsTheCodeThatAddPrinted) {
  const CliHome home;
  const auto [codes, time] = inOneStep(30, [&] {
    const Ended added = home.run({"add", "Short", "--replace"}, std::string(seed_13) + '\n');
    return std::pair(codeIn(added.out), home.run({"response", "Short"}));
  });
  expectSuccess(codes.second);
  EXPECT_EQ(codes.first.size(), 8U);
  EXPECT_EQ(codes.second.out, codes.first + '\n');
}

TEST(Response, OutlivesRenamingAndMoving) {
  const CliHome home;
  home.add("Long");
  const std::string suffix = codeIn(home.add("Short", seed_13)).substr(4);
  expectSuccess(home.run({"rename", "Short", "Brief"}));
  expectSuccess(home.run({"move", "Brief", "0"}));
  const Ended ended = home.run({"response", "Brief"});
  expectSuccess(ended);
  EXPECT_EQ(ended.out.substr(4), suffix + '\n');
}

TEST(Response, AsJson) {
  const CliHome home;
  home.add("Long");
  home.add("Short", seed_13);
  const auto [ended, time] = inOneStep(30, [&] {
    return std::pair(home.run({"response", "Short"}), home.run({"response", "1", "--json"}));
  });
  expectSuccess(ended.second);
  const nlohmann::json expected = {
      {"slot", 1}, {"name", "Short"}, {"response", ended.first.out.substr(0, 8)}};
  EXPECT_EQ(nlohmann::json::parse(ended.second.out), expected);
}

TEST(Response, TokenWithACompleteSeedHasNone) {
  const CliHome home;
  home.add("Long");
  expectFailure(home.run({"response", "Long"}), 1, "no response code");
  expectFailure(home.run({"response", "Other"}), 3, "\"Other\"");
  expectFailure(home.run({"response"}), 2, "token");
}

}  // namespace
}  // namespace talvane::test
