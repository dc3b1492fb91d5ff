#include "engine/text.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace talvane {
namespace {

using std::string_view_literals::operator""sv;

using Pieces = std::vector<std::string_view>;

constexpr std::int64_t greatest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();

// By the tables of the Unicode standard: Cc, Cf, Zl, Zp and Default_Ignorable_Code_Point.
TEST(Printable, HiddenCharactersAreReplaced) {
  for (const char32_t c : std::u32string{0x00,   0x0A,   0x1B,   0x7F,   0x85,   0xAD,   0x034F,
                                         0x061C, 0x180E, 0x200B, 0x200D, 0x200E, 0x202E, 0x2028,
                                         0x2029, 0x2060, 0x2066, 0x2069, 0x3164, 0xFEFF, 0xE0041}) {
    EXPECT_TRUE(isHidden(c)) << std::hex << static_cast<unsigned>(c);
  }
  for (const char32_t c : std::u32string{0x20, 0x41, 0xA0, 0xE9, 0x0301, 0x05D0, 0x3000, 0xFE0E,
                                         0xFE0F, 0xFFFD, 0x1F600}) {
    EXPECT_FALSE(isHidden(c)) << std::hex << static_cast<unsigned>(c);
  }
  EXPECT_EQ(printable("a\x1B[2Jb\nc"), "a\uFFFD[2Jb\uFFFDc");
  EXPECT_EQ(printable("\u202Ecod.\u200B"), "\uFFFDcod.\uFFFD");
  EXPECT_EQ(printable("Zoë 日 😀\uFE0F"), "Zoë 日 😀\uFE0F");
}

TEST(Printable, BytesThatAreNotUtf8AreReplaced) {
  EXPECT_EQ(printable("a\xFF\x9B"
                      "31mb\xC3"),
            "a\uFFFD\uFFFD31mb\uFFFD");
}

TEST(Printable, LinesMayStay) {
  EXPECT_EQ(printableLines("a\nb\r\u2028c\n"), "a\nb\uFFFD\uFFFDc\n");
}

TEST(Printable, NamesInASentenceAreCut) {
  const std::string sixty(60, 'x');
  EXPECT_EQ(shownName(sixty), sixty);
  EXPECT_EQ(shownName(sixty + 'y'), sixty + "…");
  std::string letters;
  for (int i = 0; i < 61; ++i) letters += "日";
  EXPECT_EQ(shownName(letters), letters.substr(3) + "…");
  EXPECT_EQ(shownName(""), "");
  EXPECT_EQ(shownName("a\nb"), "a\uFFFDb");
}

TEST(OrNil, TextOrTheWordForNil) {
  EXPECT_EQ(orNil(std::nullopt), "(null)");
  EXPECT_EQ(orNil(std::string("Mail")), "Mail");
  EXPECT_EQ(orNil(std::string()), "");
}

TEST(Utf16Length, AsciiCountsBytes) {
  EXPECT_EQ(utf16Length(""), 0U);
  EXPECT_EQ(utf16Length("JBSWY3DPEHPK3"), 13U);
  EXPECT_EQ(utf16Length("a\0b"sv), 3U);
}

TEST(Utf16Length, CharactersOfTheBasicPlaneCountOnce) {
  EXPECT_EQ(utf16Length("é"), 1U);
  EXPECT_EQ(utf16Length("e\u0301"), 2U);
  EXPECT_EQ(utf16Length("名前"), 2U);
  EXPECT_EQ(utf16Length("\u07FF\u0800\uD7FF\uE000\uFFFF"), 5U);
}

TEST(Utf16Length, AstralCharactersCountTwice) {
  EXPECT_EQ(utf16Length("\U00010000"), 2U);
  EXPECT_EQ(utf16Length("😀"), 2U);
  EXPECT_EQ(utf16Length("a😀b"), 4U);
  EXPECT_EQ(utf16Length("\U0010FFFF"), 2U);
}

TEST(Utf16Length, EveryByteThatIsNotUtf8CountsOnce) {
  EXPECT_EQ(utf16Length("\xFF"), 1U);
  EXPECT_EQ(utf16Length("\x80\x80"), 2U);
  EXPECT_EQ(utf16Length("\xC3"), 1U) << "cut off";
  EXPECT_EQ(utf16Length("\xE5\x90"), 2U) << "cut off";
  EXPECT_EQ(utf16Length("\xF0\x9F\x98"), 3U) << "cut off";
  EXPECT_EQ(utf16Length("\xC0\x80"), 2U) << "longer than needed";
  EXPECT_EQ(utf16Length("\xE0\x80\x80"), 3U) << "longer than needed";
  EXPECT_EQ(utf16Length("\xF0\x80\x80\x80"), 4U) << "longer than needed";
  EXPECT_EQ(utf16Length("\xED\xA0\x80"), 3U) << "surrogate";
  EXPECT_EQ(utf16Length("\xF4\x90\x80\x80"), 4U) << "beyond the last character";
  EXPECT_EQ(utf16Length("\xC3"
                        "A"),
            2U);
  EXPECT_EQ(utf16Length("a\xFF"
                        "é"),
            3U);
}

TEST(Utf16, CodeUnitsOfWellFormedText) {
  EXPECT_EQ(utf16(""), u"");
  EXPECT_EQ(utf16("aé名"), u"aé名");
  EXPECT_EQ(utf16("😀"), (std::u16string{0xD83D, 0xDE00}));
  EXPECT_EQ(utf16("\uFFFF"), (std::u16string{0xFFFF}));
  EXPECT_EQ(utf16("\U00010000"), (std::u16string{0xD800, 0xDC00}));
  EXPECT_EQ(utf16("\U0010FFFF"), (std::u16string{0xDBFF, 0xDFFF}));
  EXPECT_EQ(utf16("a\0b"sv), (std::u16string{'a', 0, 'b'}));
}

TEST(Utf16, AsManyUnitsAsTheLengthForAnyBytes) {
  std::mt19937 random(99);
  for (int round = 0; round < 20000; ++round) {
    std::string text(random() % 12, '\0');
    for (char& character : text) {
      // Mostly lead and continuation bytes, so that half characters are frequent.
      const auto draw = random() % 4;
      character = static_cast<char>(draw == 0 ? random() : 0x80 + random() % 0x80);
    }
    ASSERT_EQ(utf16(text).size(), utf16Length(text));
    ASSERT_LE(utf16Length(text), text.size());
  }
}

TEST(IsUtf8, WellFormedText) {
  EXPECT_TRUE(isUtf8(""));
  EXPECT_TRUE(isUtf8("plain"));
  EXPECT_TRUE(isUtf8("é名😀"));
  EXPECT_TRUE(isUtf8("\uFFFF\U0010FFFF"));
  EXPECT_TRUE(isUtf8("\0"sv));
}

TEST(IsUtf8, IllFormedText) {
  for (const std::string_view text :
       {"\xFF"sv, "\x80"sv, "\xC3"sv, "a\xC3"sv, "\xE5\x90"sv, "\xF0\x9F\x98"sv, "\xC0\x80"sv,
        "\xC1\xBF"sv, "\xE0\x9F\xBF"sv, "\xF0\x8F\xBF\xBF"sv, "\xED\xA0\x80"sv, "\xED\xBF\xBF"sv,
        "\xF4\x90\x80\x80"sv, "\xF8\x88\x80\x80\x80"sv, "\xC3\x28"sv}) {
    EXPECT_FALSE(isUtf8(text)) << testing::PrintToString(text);
  }
}

TEST(IsAscii, BytesBelow128) {
  EXPECT_TRUE(isAscii(""));
  EXPECT_TRUE(isAscii("\x01\x7F"));
  EXPECT_TRUE(isAscii("a\0b"sv));
  EXPECT_FALSE(isAscii("\x80"));
  EXPECT_FALSE(isAscii("abcé"));
  EXPECT_FALSE(isAscii("abc\xFF"));
}

TEST(IsWhiteSpace, ExactlyTheSeparatorsOfUnicode) {
  const std::set<char32_t> expected{0x0009, 0x000A, 0x000B, 0x000C, 0x000D, 0x0020, 0x0085,
                                    0x00A0, 0x1680, 0x2000, 0x2001, 0x2002, 0x2003, 0x2004,
                                    0x2005, 0x2006, 0x2007, 0x2008, 0x2009, 0x200A, 0x2028,
                                    0x2029, 0x202F, 0x205F, 0x3000};
  for (char32_t character = 0; character <= 0x10FFFF; ++character) {
    ASSERT_EQ(isWhiteSpace(character), expected.contains(character))
        << static_cast<std::uint32_t>(character);
  }
}

TEST(IsWhiteSpace, NumbersBeyondUnicodeAreNot) {
  EXPECT_FALSE(isWhiteSpace(0x110000));
  EXPECT_FALSE(isWhiteSpace(0x7FFFFFFF));
  EXPECT_FALSE(isWhiteSpace(0xFFFFFFFF));
}

TEST(SearchForm, CaseAndAccentsAreLeftAside) {
  const std::pair<const char*, const char*> rows[] = {
      {"", ""},
      {"Work-42_Z", "work-42_z"},
      {"Érable Ångström Žižka", "erable angstrom zizka"},
      {"E\u0301rable", "erable"},
      {"Łódź Øresund Đorđe", "lodz oresund dorde"},
      {"Ħamrun Ŧana", "hamrun tana"},
      {"STRASSE Straße", "strasse strasse"},
      {"İstanbul Iğdır", "istanbul igdir"},
      {"Æther Œuvre", "aether oeuvre"},
      {"ＷＯＲＫ ﬁle", "work file"},
      {"Άλφα Ёлка", "αλφα елка"},
      {"co\u00ADop", "coop"}};
  for (const auto& [text, form] : rows) {
    EXPECT_EQ(searchForm(text), form);
    EXPECT_EQ(searchForm(form), form) << "of what is typed";
  }
}

TEST(SearchForm, BytesThatAreNotUtf8AreReplaced) {
  EXPECT_EQ(searchForm("A\xFFZ"), "a\uFFFDz");
}

TEST(LowerCase, LettersOfManyScripts) {
  EXPECT_EQ(lowerCase(""), "");
  EXPECT_EQ(lowerCase("Talvane-42_Z"), "talvane-42_z");
  EXPECT_EQ(lowerCase("ÄÖÜÉ"), "äöüé");
  EXPECT_EQ(lowerCase("ΑΒΓ"), "αβγ");
  EXPECT_EQ(lowerCase("ДЖЁ"), "джё");
  EXPECT_EQ(lowerCase("\U00010400"), "\U00010428") << "a letter of two code units";
  EXPECT_EQ(lowerCase("名前"), "名前");
}

TEST(UpperCase, LettersOfManyScripts) {
  EXPECT_EQ(upperCase(""), "");
  EXPECT_EQ(upperCase("talvane-42_z"), "TALVANE-42_Z");
  EXPECT_EQ(upperCase("äöüé"), "ÄÖÜÉ");
  EXPECT_EQ(upperCase("αβγ"), "ΑΒΓ");
  EXPECT_EQ(upperCase("джё"), "ДЖЁ");
  EXPECT_EQ(upperCase("\U00010428"), "\U00010400");
  EXPECT_EQ(upperCase("ÿ"), "\u0178");
}

TEST(LowerAndUpperCase, BytesThatAreNotUtf8StayAsTheyAre) {
  EXPECT_EQ(lowerCase("\xFF"
                      "A\xC3"),
            "\xFF"
            "a\xC3");
  EXPECT_EQ(upperCase("\xE5\x90"
                      "b\x80"),
            "\xE5\x90"
            "B\x80");
  EXPECT_EQ(lowerCase("A\0B"sv), "a\0b"sv);
}

TEST(WithoutLineEnds, EverySeparatorIsCutAtBothEnds) {
  for (const std::string end :
       {"\n", "\v", "\f", "\r", "\r\n", "\u0085", "\u2028", "\u2029", "\n\u2029\r\v"}) {
    std::string text = end;
    text += "a b";
    text += end;
    EXPECT_EQ(withoutLineEnds(text), "a b") << testing::PrintToString(end);
    EXPECT_EQ(withoutLineEnds(end), "") << testing::PrintToString(end);
  }
}

TEST(WithoutLineEnds, BlanksAndWhatIsInsideStay) {
  EXPECT_EQ(withoutLineEnds(""), "");
  EXPECT_EQ(withoutLineEnds("plain"), "plain");
  EXPECT_EQ(withoutLineEnds(" \t a\r\nb \t"), " \t a\r\nb \t");
  EXPECT_EQ(withoutLineEnds("\n a \n"), " a ");
  EXPECT_EQ(withoutLineEnds("\u00A0"), "\u00A0");
  EXPECT_EQ(withoutLineEnds("\u1680a\u3000"), "\u1680a\u3000");
}

TEST(WithoutLineEnds, BytesOfHalfASeparatorStay) {
  EXPECT_EQ(withoutLineEnds("\x85"), "\x85");
  EXPECT_EQ(withoutLineEnds("a\xE2\x80"), "a\xE2\x80");
  EXPECT_EQ(withoutLineEnds("\x80\xA8"
                            "a"),
            "\x80\xA8"
            "a");
}

TEST(Trimmed, WhiteSpaceIsCutAtBothEnds) {
  EXPECT_EQ(trimmed(" \t\u00A0a b\u3000\r\n "), "a b");
  EXPECT_EQ(trimmed("ab"), "ab");
  EXPECT_EQ(trimmed(" \n"), "");
  EXPECT_EQ(trimmed(""), "");
}

TEST(Split, PiecesBetweenTheSeparators) {
  EXPECT_EQ(split("Mail|Work mail", '|'), (Pieces{"Mail", "Work mail"}));
  EXPECT_EQ(split("Mail", '|'), Pieces{"Mail"});
  EXPECT_EQ(split("a||b", '|'), (Pieces{"a", "", "b"}));
  EXPECT_EQ(split("a\0|b"sv, '|'), (Pieces{"a\0"sv, "b"}));
}

TEST(Split, EmptyPiecesAtTheEndsCount) {
  EXPECT_EQ(split("", '|'), Pieces{""});
  EXPECT_EQ(split("|", '|'), (Pieces{"", ""}));
  EXPECT_EQ(split("|a|", '|'), (Pieces{"", "a", ""}));
}

TEST(PercentDecoded, EscapesAreUndoneOnce) {
  EXPECT_EQ(percentDecoded(""), "");
  EXPECT_EQ(percentDecoded("plain+text"), "plain+text");
  EXPECT_EQ(percentDecoded("My%20Mail"), "My Mail");
  EXPECT_EQ(percentDecoded("%4d%4D"), "MM");
  EXPECT_EQ(percentDecoded("%C3%A9%e5%90%8d"), "é名");
  EXPECT_EQ(percentDecoded("%F0%9F%98%80"), "😀");
  EXPECT_EQ(percentDecoded("%25"), "%");
  EXPECT_EQ(percentDecoded("%2541"), "%41");
  EXPECT_EQ(percentDecoded("a%00b"), "a\0b"sv);
}

TEST(PercentDecoded, AMalformedEscapeLeavesTheWholeText) {
  for (const std::string_view text :
       {"%"sv, "100%"sv, "%4"sv, "a%4"sv, "%zz"sv, "%4g"sv, "%g4"sv, "%%41"sv, "%41%"sv, "%41%4"sv,
        "%41 %zz"sv, "% 41"sv, "%+4"sv, "%-1"sv, "%0x"sv, "%é1"sv, "%4\0"sv, "% 1"sv}) {
    EXPECT_EQ(percentDecoded(text), text);
  }
}

TEST(PercentDecoded, AResultThatIsNotUtf8LeavesTheWholeText) {
  for (const std::string_view text : {"%FF"sv, "%41%FF"sv, "%C3"sv, "%ED%A0%80"sv, "%C0%80"sv,
                                      "%C3é"sv, "\xFF%41"sv, "\xFF"sv, "%F4%90%80%80"sv}) {
    EXPECT_EQ(percentDecoded(text), text);
  }
}

TEST(PercentDecoded, EscapeAndRawByteMayMakeOneCharacter) {
  EXPECT_EQ(percentDecoded("%C3\xA9"), "é");
  EXPECT_EQ(percentDecoded("\xC3%A9"), "é");
}

TEST(PercentDecoded, DigitsAreThoseOfHexadecimalNumbers) {
  for (char c = 1; c < 127; ++c) {
    const bool is_digit = std::isxdigit(static_cast<unsigned char>(c)) != 0;
    const std::string low{'%', '4', c};
    const std::string high{'%', c, '1'};
    const int value = is_digit ? std::stoi(std::string(1, c), nullptr, 16) : 0;
    EXPECT_EQ(percentDecoded(low),
              is_digit ? std::string(1, static_cast<char>(0x40 + value)) : low);
    if (value >= 8) continue;  // not ASCII
    EXPECT_EQ(percentDecoded(high),
              is_digit ? std::string(1, static_cast<char>(value * 16 + 1)) : high);
  }
}

TEST(LeadingInteger, NumberAtTheStart) {
  EXPECT_EQ(leadingInteger("60"), 60);
  EXPECT_EQ(leadingInteger("0"), 0);
  EXPECT_EQ(leadingInteger("+60"), 60);
  EXPECT_EQ(leadingInteger("-60"), -60);
  EXPECT_EQ(leadingInteger("-0"), 0);
  EXPECT_EQ(leadingInteger("00060"), 60);
  EXPECT_EQ(leadingInteger("60 seconds"), 60);
  EXPECT_EQ(leadingInteger("60.9"), 60);
  EXPECT_EQ(leadingInteger("6 0"), 6);
  EXPECT_EQ(leadingInteger("6:0"), 6);
  EXPECT_EQ(leadingInteger("6/0"), 6);
  EXPECT_EQ(leadingInteger("0x10"), 0);
  EXPECT_EQ(leadingInteger("1e3"), 1);
  EXPECT_EQ(leadingInteger("6\0"
                           "7"sv),
            6);
}

TEST(LeadingInteger, WhiteSpaceBeforeItIsSkipped) {
  EXPECT_EQ(leadingInteger(" 60"), 60);
  EXPECT_EQ(leadingInteger("\t\r\n\v\f -60"), -60);
  EXPECT_EQ(leadingInteger("\u00A0\u2003\u202860"), 60);
}

TEST(LeadingInteger, ZeroWithoutDigits) {
  for (const std::string_view text :
       {""sv, " "sv, "+"sv, "-"sv, "+-5"sv, "--5"sv, "- 5"sv, "abc"sv, "a60"sv, ".5"sv,
        "\0"
        "5"sv,
        "\xFF"
        "5"sv,
        "é5"sv}) {
    EXPECT_EQ(leadingInteger(text), 0) << testing::PrintToString(text);
  }
}

TEST(LeadingInteger, LimitsAreReachedAndNotPassed) {
  EXPECT_EQ(leadingInteger("9223372036854775806"), greatest - 1);
  EXPECT_EQ(leadingInteger("9223372036854775807"), greatest);
  EXPECT_EQ(leadingInteger("9223372036854775808"), greatest);
  EXPECT_EQ(leadingInteger("92233720368547758070"), greatest);
  EXPECT_EQ(leadingInteger("18446744073709551616"), greatest);
  EXPECT_EQ(leadingInteger("18446744073709551676x"), greatest);
  EXPECT_EQ(leadingInteger("-9223372036854775807"), least + 1);
  EXPECT_EQ(leadingInteger("-9223372036854775808"), least);
  EXPECT_EQ(leadingInteger("-9223372036854775809"), least);
  EXPECT_EQ(leadingInteger(std::string(1000, '9')), greatest);
  EXPECT_EQ(leadingInteger("-" + std::string(1000, '9')), least);
  EXPECT_EQ(leadingInteger(std::string(1000, '0') + "7"), 7);
}

TEST(PrintableBytes, UpToTheFirstNul) {
  EXPECT_EQ(printableBytes(""), "");
  EXPECT_EQ(printableBytes("abc"), "abc");
  EXPECT_EQ(printableBytes("abc\0def"sv), "abc");
  EXPECT_EQ(printableBytes("\0"sv), "");
}

TEST(PrintableBytes, BytesAbove127AreLatin1Characters) {
  EXPECT_EQ(printableBytes("\x80\xE9\xFF"), "\u0080\u00E9\u00FF");
  EXPECT_EQ(printableBytes("\x01\x1F\x7F"), "\x01\x1F\x7F");
  for (int code = 1; code < 256; ++code) {
    const std::string byte(1, static_cast<char>(code));
    EXPECT_TRUE(isUtf8(printableBytes(byte))) << code;
    EXPECT_EQ(utf16(printableBytes(byte)), std::u16string(1, static_cast<char16_t>(code)));
  }
}

}  // namespace
}  // namespace talvane
