#include "enrol/percent_escapes.h"

#include <gtest/gtest.h>

#include <string>

namespace talvane::test {
namespace {

TEST(PercentEscapesTest, PlainTextStaysAsItIs) {
  EXPECT_EQ(percentEscaped(""), "");
  EXPECT_EQ(percentEscaped("AZaz09-._~"), "AZaz09-._~");
}

// RFC 3986, section 2.2.
TEST(PercentEscapesTest, ReservedCharactersAreLeftAlone) {
  EXPECT_EQ(percentEscaped(":/?@!$&'()*+,;="), ":/?@!$&'()*+,;=");
}

TEST(PercentEscapesTest, WhatMayNotStandInAUrlIsEscaped) {
  EXPECT_EQ(percentEscaped(" \"#%<>[\\]^`{|}"), "%20%22%23%25%3C%3E%5B%5C%5D%5E%60%7B%7C%7D");
}

TEST(PercentEscapesTest, ControlCharactersAreEscaped) {
  EXPECT_EQ(percentEscaped(std::string("\0\t\r\n\x1F\x7F", 6)), "%00%09%0D%0A%1F%7F");
}

TEST(PercentEscapesTest, BytesAboveAsciiAreEscaped) {
  EXPECT_EQ(percentEscaped("\xC3\xA9"), "%C3%A9");
  EXPECT_EQ(percentEscaped("\xF0\x9F\x94\x91"), "%F0%9F%94%91");
  EXPECT_EQ(percentEscaped("\x80\xFF"), "%80%FF");
}

TEST(PercentEscapesTest, EscapesAreEscapedAgain) {
  EXPECT_EQ(percentEscaped("%20"), "%2520");
}

}  // namespace
}  // namespace talvane::test
