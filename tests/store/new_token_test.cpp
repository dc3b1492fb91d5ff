// The names that new tokens may have, and the URLs that they come from.

#include "store/new_token.h"

#include <gtest/gtest.h>

#include "engine/vane.h"

namespace talvane::test {
namespace {

SoftTokenInfo named(std::string description) {
  SoftTokenInfo token;
  token.description = std::move(description);
  return token;
}

TEST(Names, OrdinaryOnes) {
  for (const char* name : {"Mail", "Work mail", "Café", "ελληνικά", "日本語", "עברית", "عربى",
                           "e\xCC\x81", "❤\xEF\xB8\x8F", "🔑", "a b|c d", "100% <&>", " "}) {
    EXPECT_FALSE(problemWithNames(named(name)).has_value()) << name;
  }
}

TEST(Names, EmptyOnes) {
  for (const char* name : {"", "|", "a|", "|a", "a||b"}) {
    const auto problem = problemWithNames(named(name));
    ASSERT_TRUE(problem.has_value()) << name;
    EXPECT_EQ(problem->next, Problem::Next::other_input);
    EXPECT_NE(problem->words.find("name is empty"), std::string::npos);
  }
  EXPECT_TRUE(problemWithNames(SoftTokenInfo()).has_value());
}

TEST(Names, WhatIsNotUtf8) {
  for (const char* name : {"\xFF", "cut off \xE2\x82", "a|\xC0\x80"}) {
    const auto problem = problemWithNames(named(name));
    ASSERT_TRUE(problem.has_value());
    EXPECT_NE(problem->words.find("UTF-8"), std::string::npos);
  }
}

TEST(Names, WhatDoesNotShowOrTurnsTheText) {
  const std::string refused[] = {std::string("\0", 1), "\t", "\n", "\x1b", "\x7f",
                                 "\xC2\x85",           // U+0085, next line
                                 "\xC2\xAD",           // U+00AD, soft hyphen
                                 "\xD8\x9C",           // U+061C, Arabic letter mark
                                 "\xE2\x80\x8B",       // U+200B, zero width space
                                 "\xE2\x80\x8D",       // U+200D, zero width joiner
                                 "\xE2\x80\x8F",       // U+200F, right-to-left mark
                                 "\xE2\x80\xA8",       // U+2028, line separator
                                 "\xE2\x80\xAE",       // U+202E, right-to-left override
                                 "\xE2\x81\xA0",       // U+2060, word joiner
                                 "\xE2\x81\xA7",       // U+2067, right-to-left isolate
                                 "\xE3\x85\xA4",       // U+3164, Hangul filler
                                 "\xEF\xBB\xBF",       // U+FEFF, zero width no-break space
                                 "\xF3\xA0\x81\x81"};  // U+E0041, tag
  for (const std::string& character : refused) {
    for (const std::string& name : {character, "a" + character + "b", "a|" + character,
                                    character + "|b", "a|b|" + character}) {
      const auto problem = problemWithNames(named(name));
      ASSERT_TRUE(problem.has_value()) << testing::PrintToString(name);
      EXPECT_EQ(problem->next, Problem::Next::other_input);
      EXPECT_NE(problem->words.find("are invisible"), std::string::npos) << problem->words;
    }
  }
}

TEST(Names, NewNameIsJudgedAlone) {
  EXPECT_FALSE(problemWithNewName(named("bad\xE2\x80\x8B|good")).has_value());
  EXPECT_FALSE(problemWithNewName(named("|good")).has_value());
  EXPECT_TRUE(problemWithNewName(named("good|bad\xE2\x80\x8B")).has_value());
  EXPECT_TRUE(problemWithNewName(named("good|x|\xE2\x80\x8B")).has_value());
  EXPECT_TRUE(problemWithNewName(named("good|")).has_value());
  EXPECT_TRUE(problemWithNewName(named("bad\x01")).has_value());
}

TEST(TokenFromUrl, Token) {
  const auto token =
      tokenFromUrl("otpauth://totp/Work?secret=JBSWY3DPEHPK3PXP&period=60&display=My+Mail");
  ASSERT_TRUE(token.has_value());
  EXPECT_EQ((*token)->description, "Work|My Mail");
  EXPECT_EQ((*token)->period, 60);
  EXPECT_EQ((*token)->seed32->get(), "JBSWY3DPEHPK3PXP");
}

TEST(TokenFromUrl, WhatIsWrongIsSaid) {
  const std::pair<const char*, const char*> wrong[] = {
      {"https://totp/Work?secret=A", "not an otpauth:// URL"},
      {"otpauth://hotp/Work?secret=A", "another type"},
      {"otpauth://totp/Work", "no secret"},
      {"otpauth://totp/Work?secret=A&period=45", "neither 30 nor 60"}};
  for (const auto& [url, words] : wrong) {
    const auto token = tokenFromUrl(url);
    ASSERT_FALSE(token.has_value()) << url;
    EXPECT_EQ(token.error().next, Problem::Next::other_input);
    EXPECT_NE(token.error().words.find(words), std::string::npos) << token.error().words;
  }
}

TEST(TokenFromUrl, PasscodesThatTheProgramDoesNotMakeAreRefused) {
  const std::pair<const char*, const char*> wrong[] = {
      {"digits=8", "passcodes of 8 digits"},
      {"digits=7&digits=6", "passcodes of 7 digits"},
      {"digits=six", "passcodes of six digits"},
      {"digits=%38", "passcodes of 8 digits"},
      {"Digits=8", "passcodes of 8 digits"},
      {"algorithm=SHA256", "the algorithm SHA256"},
      {"algorithm=sha-512", "the algorithm sha-512"},
      {"ALGORITHM=MD5", "the algorithm MD5"},
      {"algorithm=SHA1%00", "the algorithm SHA1\xEF\xBF\xBD"},
      {"Period=60", "a period of 60 seconds in a way"},
      {"period=30&PERIOD=45", "a period of 45 seconds in a way"},
      {"%70eriod=60", "a period of 60 seconds in a way"}};
  for (const auto& [query, words] : wrong) {
    const auto token =
        tokenFromUrl(std::string("otpauth://totp/Work?secret=JBSWY3DPEHPK3PXP&") + query);
    ASSERT_FALSE(token.has_value()) << query;
    EXPECT_EQ(token.error().next, Problem::Next::other_input);
    EXPECT_NE(token.error().words.find(words), std::string::npos) << token.error().words;
    EXPECT_EQ(token.error().words.find("JBSW"), std::string::npos) << "the seed";
  }
}

TEST(TokenFromUrl, PasscodesThatTheProgramMakes) {
  for (const char* query :
       {"digits=6", "algorithm=SHA1", "algorithm=sha1", "algorithm=HmacSHA1", "algorithm=SHA-1",
        "digits=&algorithm=", "digits&algorithm", "period=60&digits=6&algorithm=SHA1", "Period=30",
        "issuer=SHA256&image=digits"}) {
    EXPECT_TRUE(tokenFromUrl(std::string("otpauth://totp/Work?secret=JBSWY3DPEHPK3PXP&") + query)
                    .has_value())
        << query;
  }
}

TEST(QuestionBeforeStoring, NamesTheStoredTokenFirst) {
  SoftTokenInfo token;
  token.description = "Work|Newsletter";
  token.period = 60;
  EXPECT_EQ(questionBefore(token, std::nullopt),
            "Add the token \"Newsletter\", with a new passcode every 60 seconds?");
  EXPECT_EQ(questionBefore(token, "My work"),
            "Replace the stored token \"My work\"? It will be deleted.\n\n"
            "The new token is \"Newsletter\", with a new passcode every 60 seconds.");
}

TEST(QuestionBeforeStoring, NamesStandAsTheyAre) {
  SoftTokenInfo token;
  token.description = "{} %1 %2";
  EXPECT_EQ(questionBefore(token, "Bank%1{0}"),
            "Replace the stored token \"Bank%1{0}\"? It will be deleted.\n\n"
            "The new token is \"{} %1 %2\", with a new passcode every 30 seconds.");
}

TEST(QuestionBeforeStoring, NamesCannotPassForOurWords) {
  SoftTokenInfo token;
  token.description = "A\n\nB\xE2\x80\xAE" + std::string(200, 'x');
  const std::string question = questionBefore(token,
                                              "C\xE2\x80\xA8"
                                              "D");
  EXPECT_NE(question.find("\"A\xEF\xBF\xBD\xEF\xBF\xBD"
                          "B\xEF\xBF\xBDxxx"),
            std::string::npos);
  EXPECT_NE(question.find("\"C\xEF\xBF\xBD"
                          "D\""),
            std::string::npos);
  EXPECT_NE(question.find("x…\""), std::string::npos);
  EXPECT_LT(question.size(), 260U);
}

}  // namespace
}  // namespace talvane::test
