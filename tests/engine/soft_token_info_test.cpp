#include "engine/soft_token_info.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "tests/engine/engine_test.h"

namespace talvane {
namespace {

using test::Lines;

class SoftTokenInfoTest : public test::EngineTest {
 protected:
  /// The description after `name` was given to a token described as `description`.
  static std::optional<std::string> renamed(std::optional<std::string> description,
                                            std::string_view name) {
    SoftTokenInfo token;
    token.description = std::move(description);
    token.updateDescription(name);
    return token.description;
  }

  static SoftTokenInfo described(std::string_view description) {
    SoftTokenInfo token;
    token.description = std::string(description);
    return token;
  }
};

TEST_F(SoftTokenInfoTest, Defaults) {
  const SoftTokenInfo token;
  EXPECT_EQ(token.description, std::nullopt);
  EXPECT_FALSE(token.seed32.has_value());
  EXPECT_EQ(token.type, 1);
  EXPECT_EQ(token.digits, 6);
  EXPECT_EQ(token.counter, -1);
  EXPECT_EQ(token.period, 30);
  EXPECT_EQ(token.ek, 0U);
}

TEST_F(SoftTokenInfoTest, OriginalAndCurrentNameOfATwoPartDescription) {
  SoftTokenInfo token = described("Mail|Work mail");
  EXPECT_EQ(token.originalDescription(), "Mail");
  EXPECT_EQ(token.currentDescription(), "Work mail");
  token.updateDescription("Home+box");
  EXPECT_EQ(token.description, "Mail|Home box");
}

TEST_F(SoftTokenInfoTest, SingleNameIsBothNames) {
  EXPECT_EQ(described("Mail").originalDescription(), "Mail");
  EXPECT_EQ(described("Mail").currentDescription(), "Mail");
  EXPECT_EQ(described("").originalDescription(), "");
  EXPECT_EQ(described("").currentDescription(), "");
}

TEST_F(SoftTokenInfoTest, NoDescriptionHasNoNames) {
  const SoftTokenInfo token;
  EXPECT_EQ(token.originalDescription(), std::nullopt);
  EXPECT_EQ(token.currentDescription(), std::nullopt);
}

TEST_F(SoftTokenInfoTest, SeveralBarsOnlyTheFirstTwoPiecesAreRead) {
  EXPECT_EQ(described("a|b|c|d").originalDescription(), "a");
  EXPECT_EQ(described("a|b|c|d").currentDescription(), "b");
  EXPECT_EQ(renamed("a|b|c|d", "e"), "a|e");
}

TEST_F(SoftTokenInfoTest, EmptyPiecesCountAsNames) {
  EXPECT_EQ(described("Mail|").originalDescription(), "Mail");
  EXPECT_EQ(described("Mail|").currentDescription(), "");
  EXPECT_EQ(described("|Work").originalDescription(), "");
  EXPECT_EQ(described("|Work").currentDescription(), "Work");
  EXPECT_EQ(described("||").currentDescription(), "");
}

TEST_F(SoftTokenInfoTest, NameOfBarsAloneLeavesTheRecordUnchanged) {
  EXPECT_EQ(renamed("Mail|Work mail", "|"), "Mail|Work mail");
  EXPECT_EQ(renamed("Mail|Work mail", "|||"), "Mail|Work mail");
  EXPECT_EQ(renamed("Mail", "|"), "Mail");
  EXPECT_EQ(renamed(std::nullopt, "|"), std::nullopt);
}

TEST_F(SoftTokenInfoTest, EmptyNameLeavesTheRecordUnchanged) {
  EXPECT_EQ(renamed("Mail|Work mail", ""), "Mail|Work mail");
  EXPECT_EQ(renamed(std::nullopt, ""), std::nullopt);
}

TEST_F(SoftTokenInfoTest, BarsInANewNameAreDropped) {
  EXPECT_EQ(renamed("Mail", "|My|box|"), "Mail|Mybox");
}

TEST_F(SoftTokenInfoTest, FirstRenameKeepsTheWholeOldNameInFront) {
  EXPECT_EQ(renamed("Mail", "Work"), "Mail|Work");
  EXPECT_EQ(renamed("", "Work"), "|Work");
}

TEST_F(SoftTokenInfoTest, RenameWithoutADescriptionIsTheNewNameAlone) {
  EXPECT_EQ(renamed(std::nullopt, "Work"), "Work");
}

TEST_F(SoftTokenInfoTest, CreationNameSurvivesAnyNumberOfRenames) {
  SoftTokenInfo token = described("Mail");
  for (int round = 0; round < 20; ++round) token.updateDescription("Name" + std::to_string(round));
  EXPECT_EQ(token.description, "Mail|Name19");
  EXPECT_EQ(token.originalDescription(), "Mail");
}

TEST_F(SoftTokenInfoTest, PercentEscapesAreUndone) {
  EXPECT_EQ(renamed("Mail", "My%20caf%C3%A9"), "Mail|My café");
  EXPECT_EQ(renamed("Mail", "100%25"), "Mail|100%");
}

TEST_F(SoftTokenInfoTest, MalformedEscapesLeaveTheNameAsTypedButForThePlusSigns) {
  EXPECT_EQ(renamed("Mail", "100%"), "Mail|100%");
  EXPECT_EQ(renamed("Mail", "%41+%zz"), "Mail|%41 %zz");
  EXPECT_EQ(renamed("Mail", "%FF"), "Mail|%FF");
}

// Escapes are undone before plus signs are read, and after bars were dropped.
TEST_F(SoftTokenInfoTest, EscapedPlusIsABlankAndEscapedBarIsABar) {
  EXPECT_EQ(renamed("Mail", "a%2Bb"), "Mail|a b");
  EXPECT_EQ(renamed("Mail", "a%7Cb"), "Mail|a|b");
  SoftTokenInfo token = described("Mail");
  token.updateDescription("a%7Cb");
  EXPECT_EQ(token.currentDescription(), "a");
}

TEST_F(SoftTokenInfoTest, LinesOfARename) {
  SoftTokenInfo token = described("Mail|Work mail");
  token.updateDescription("Home|+box");
  EXPECT_EQ(gateway.lines,
            (Lines{"    SoftTokenInfo: changeDesc: olddesc:Mail|Work mail newdesc:Home|+box",
                   "    SoftTokenInfo: changeDesc: desc is now:Mail|Home box"}));
}

TEST_F(SoftTokenInfoTest, LinesOfARenameWithoutADescription) {
  SoftTokenInfo token;
  token.updateDescription("Work");
  EXPECT_EQ(gateway.lines, (Lines{"    SoftTokenInfo: changeDesc: olddesc:(null) newdesc:Work",
                                  "    SoftTokenInfo: changeDesc: desc is now:Work"}));
}

TEST_F(SoftTokenInfoTest, LinesOfANameOfBars) {
  SoftTokenInfo token = described("Mail");
  token.updateDescription("||");
  EXPECT_EQ(gateway.lines, (Lines{"    SoftTokenInfo: changeDesc: olddesc:Mail newdesc:||",
                                  "    SoftTokenInfo: changeDesc: length 0, aborted"}));
}

TEST_F(SoftTokenInfoTest, BracesInNamesReachTheLogAsTheyAre) {
  SoftTokenInfo token = described("{0}");
  token.updateDescription("{} %d %s");
  EXPECT_EQ(gateway.lines, (Lines{"    SoftTokenInfo: changeDesc: olddesc:{0} newdesc:{} %d %s",
                                  "    SoftTokenInfo: changeDesc: desc is now:{0}|{} %d %s"}));
}

TEST_F(SoftTokenInfoTest, RenamesWithoutAGateway) {
  vane::SetInterface(nullptr);
  EXPECT_EQ(renamed("Mail", "Work"), "Mail|Work");
}

TEST_F(SoftTokenInfoTest, CounterIsWholePeriods) {
  SoftTokenInfo token;
  EXPECT_EQ(token.counterAt(0), 0);
  EXPECT_EQ(token.counterAt(29), 0);
  EXPECT_EQ(token.counterAt(30), 1);
  EXPECT_EQ(token.counterAt(1700000000), 56666666);
  token.period = 60;
  EXPECT_EQ(token.counterAt(59), 0);
  EXPECT_EQ(token.counterAt(60), 1);
  EXPECT_EQ(token.counterAt(std::numeric_limits<std::int64_t>::max()), 153722867280912930);
}

TEST_F(SoftTokenInfoTest, CounterIsZeroWithoutAPositivePeriod) {
  SoftTokenInfo token;
  for (const std::int32_t period : {0, -1, -30, std::numeric_limits<std::int32_t>::min()}) {
    token.period = period;
    EXPECT_EQ(token.counterAt(1700000000), 0) << period;
    EXPECT_EQ(token.counterAt(std::numeric_limits<std::int64_t>::min()), 0) << period;
  }
}

}  // namespace
}  // namespace talvane
