#include "config/ta_settings.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "platform/folders.h"
#include "tests/config/settings_places.h"
#include "tests/support/in_child.h"
#include "tests/support/private_home.h"

namespace talvane::test {
namespace {

constexpr const char* file_name = "tasofttoken.ini";
constexpr std::uint16_t home_bit = 16;
constexpr std::uint16_t system_bit = 8;
constexpr std::uint16_t bundle_bit = 32;
constexpr int unreadable = 0;
constexpr int whole = 1;
constexpr int stopped = 255;

class TaSettingsTest : public testing::Test {
 protected:
  /// Reads a file of that content.
  int parse(const std::string& content) {
    writeFile(places.root() + "/file", content);
    return settings.readfile(places.root() + "/file");
  }
  /// The value as it was stored; "(none)" when the key is not there.
  std::string at(std::string_view key) { return settings.readstr(key, "(none)", false); }

  SettingsPlaces places;
  TaSettings settings{places.folders()};
};

TEST_F(TaSettingsTest, KeysAreTheSameInUpperAndLowerCase) {
  EXPECT_EQ(parse("KEY=Value\n"), whole);
  EXPECT_EQ(at("key"), "Value");
  EXPECT_EQ(at("KEY"), "Value");
  EXPECT_EQ(at("kEy"), "Value");
}

TEST_F(TaSettingsTest, KeysOutsideAsciiAreTheSameInUpperAndLowerCaseToo) {
  EXPECT_EQ(parse("\xC3\x84PFEL=1\n"), whole);  // Ä
  EXPECT_EQ(at("\xC3\xA4pfel"), "1");           // ä
}

TEST_F(TaSettingsTest, LastOccurrenceOfAKeyWins) {
  EXPECT_EQ(parse("KEY=Value\nother=1\nkey=other\n"), whole);
  EXPECT_EQ(at("Key"), "other");
  EXPECT_EQ(parse("KEY=\n"), whole);
  EXPECT_EQ(at("Key"), "");
}

TEST_F(TaSettingsTest, ValueIsEverythingBehindTheFirstEqualsSign) {
  EXPECT_EQ(parse("url=scheme://host/a=b\neq==\n"), whole);
  EXPECT_EQ(at("url"), "scheme://host/a=b");
  EXPECT_EQ(at("eq"), "=");
}

TEST_F(TaSettingsTest, BlanksAroundTheEqualsSignBelongToKeyAndValue) {
  EXPECT_EQ(parse("Debug = true\n\ttab\t=\tvalue\t\n"), whole);
  EXPECT_EQ(at("debug"), "(none)");
  EXPECT_EQ(at("debug "), " true");
  EXPECT_FALSE(settings.readbool("Debug", false));
  EXPECT_FALSE(settings.readbool("Debug ", false)) << "a blank before the word";
  EXPECT_EQ(at("\ttab\t"), "\tvalue\t");
}

TEST_F(TaSettingsTest, EmptyKeyIsAKey) {
  EXPECT_EQ(parse("=value\n"), whole);
  EXPECT_EQ(at(""), "value");
}

TEST_F(TaSettingsTest, CommentsSectionsAndEmptyLinesAreSkipped) {
  EXPECT_EQ(parse("# no=comment\n[section=x]\n\n[no end\n#\n#key=1\nkey=2\n\n[other]\nkey2=3"),
            whole);
  EXPECT_EQ(at("key"), "2");
  EXPECT_EQ(at("key2"), "3");
  EXPECT_EQ(at("# no"), "(none)");
  EXPECT_EQ(at("[section"), "(none)");
}

TEST_F(TaSettingsTest, SemicolonBeginsNoComment) {
  EXPECT_EQ(parse(";key=1\nkey=1 ; more # more\n"), whole);
  EXPECT_EQ(at(";key"), "1");
  EXPECT_EQ(at("key"), "1 ; more # more");
}

TEST_F(TaSettingsTest, BlankBeforeACommentMakesItALine) {
  EXPECT_EQ(parse("above=1\n # comment\nbelow=1\n"), stopped);
  EXPECT_EQ(at("above"), "1");
  EXPECT_EQ(at("below"), "(none)");
}

TEST_F(TaSettingsTest, LineOfBlanksIsALineWithoutAnEqualsSign) {
  EXPECT_EQ(parse("above=1\n  \nbelow=1\n"), stopped);
  EXPECT_EQ(at("below"), "(none)");
}

TEST_F(TaSettingsTest, LineWithoutEqualsSignEndsTheReading) {
  EXPECT_EQ(parse("above=1\nno equals sign\nbelow=1\n"), stopped);
  EXPECT_EQ(at("above"), "1");
  EXPECT_EQ(at("below"), "(none)");
}

TEST_F(TaSettingsTest, EmptyFileIsRead) {
  EXPECT_EQ(parse(""), whole);
  EXPECT_EQ(parse("\n\n\r\n"), whole);
  EXPECT_EQ(parse("# only a comment"), whole);
}

TEST_F(TaSettingsTest, CarriageReturnGoesWithTheLineEnd) {
  EXPECT_EQ(parse("one=1\r\n# comment\r\n\r\ntwo=2\r\nthree=\r\n"), whole);
  EXPECT_EQ(at("one"), "1");
  EXPECT_EQ(at("two"), "2");
  EXPECT_EQ(at("three"), "");
}

TEST_F(TaSettingsTest, LinesEndWithLineFeedsAlone) {
  EXPECT_EQ(parse("one=1\rtwo=2"), whole);
  EXPECT_EQ(at("one"), "1\rtwo=2");
}

TEST_F(TaSettingsTest, LineSeparatorsAreTakenFromBothEnds) {
  // CR, VT, FF, U+0085, U+2028 and U+2029; a no-break space is none of them.
  const std::string ends = "\r\v\f\xC2\x85\xE2\x80\xA8\xE2\x80\xA9";
  EXPECT_EQ(
      parse(ends + "one=1" + ends + "\n" + ends + "\n" + ends + "# no\n\xC2\xA0two=2\xC2\xA0"),
      whole);
  EXPECT_EQ(at("one"), "1");
  EXPECT_EQ(at("\xC2\xA0two"), "2\xC2\xA0");
}

TEST_F(TaSettingsTest, LineSeparatorsInsideALineStay) {
  EXPECT_EQ(parse("one=1\xE2\x80\xA8two=2"), whole);
  EXPECT_EQ(at("one"), "1\xE2\x80\xA8two=2");
}

TEST_F(TaSettingsTest, ByteOrderMarkAtTheStartIsSkipped) {
  EXPECT_EQ(parse("\xEF\xBB\xBFone=1\n\xEF\xBB\xBFtwo=2\n"), whole);
  EXPECT_EQ(at("one"), "1");
  EXPECT_EQ(at("two"), "(none)") << "elsewhere it is a character";
  EXPECT_EQ(parse("\xEF\xBB\xBF# comment"), whole);
  EXPECT_EQ(parse("\xEF\xBB\xBF"), whole);
}

TEST_F(TaSettingsTest, TextOutsideAsciiStaysAsItIs) {
  EXPECT_EQ(parse("str=Gr\xC3\xBC\xC3\x9F"
                  "e \xF0\x9F\x94\x91\n"),
            whole);
  EXPECT_EQ(at("str"),
            "Gr\xC3\xBC\xC3\x9F"
            "e \xF0\x9F\x94\x91");
}

TEST_F(TaSettingsTest, FileThatIsNotUtf8IsUnreadableAndLeavesTheTable) {
  ASSERT_EQ(parse("kept=1\n"), whole);
  for (const char* bytes :
       {"caf\xE9=1", "a=\xFF", "a=\xC3", "a=\xC0\xAF", "a=\xED\xA0\x80", "a=\xF5\x80\x80\x80",
        "\xFF\xFE"
        "a=1"}) {
    EXPECT_EQ(parse(std::string("kept=2\na=0\n") + bytes), unreadable) << bytes;
    EXPECT_EQ(at("kept"), "1");
    EXPECT_EQ(at("a"), "(none)");
  }
}

TEST_F(TaSettingsTest, MissingFileIsUnreadable) {
  EXPECT_EQ(settings.readfile(places.root() + "/missing"), unreadable);
  EXPECT_EQ(settings.readfile(""), unreadable);
}

TEST_F(TaSettingsTest, SecondFileAddsToTheTable) {
  ASSERT_EQ(parse("one=1\ntwo=1\n"), whole);
  ASSERT_EQ(parse("two=2\nthree=2\n"), whole);
  EXPECT_EQ(at("one"), "1");
  EXPECT_EQ(at("two"), "2");
  EXPECT_EQ(at("three"), "2");
}

// Locations.

TEST_F(TaSettingsTest, HomeFileWinsOverTheOthers) {
  writeFile(places.home(), "from=home\n");
  writeFile(places.system(), "from=system\nonly=system\n");
  writeFile(places.bundle(), "from=bundle\n");
  EXPECT_EQ(settings.read(file_name, 56), home_bit);
  EXPECT_EQ(at("from"), "home");
  EXPECT_EQ(at("only"), "(none)");
}

TEST_F(TaSettingsTest, HomeFileWinsAlsoWhenItIsEmptyOrHoldsOnlyComments) {
  writeFile(places.system(), "from=system\n");
  for (const char* content : {"", "# nothing\n", "\n", "[section]\r\n"}) {
    writeFile(places.home(), content);
    EXPECT_EQ(settings.read(file_name, 56), home_bit);
    EXPECT_EQ(at("from"), "(none)");
  }
}

TEST_F(TaSettingsTest, HomeFileWinsAlsoWhenALineOfItIsMalformed) {
  writeFile(places.home(), "above=1\nmalformed\nbelow=1\n");
  writeFile(places.system(), "from=system\n");
  writeFile(places.bundle(), "from=bundle\n");
  EXPECT_EQ(settings.read(file_name, 56), home_bit);
  EXPECT_EQ(at("above"), "1");
  EXPECT_EQ(at("below"), "(none)");
  EXPECT_EQ(at("from"), "(none)");
}

TEST_F(TaSettingsTest, SystemFileComesNextAndTheBundlesLast) {
  writeFile(places.bundle(), "from=bundle\n");
  EXPECT_EQ(settings.read(file_name, 56), bundle_bit);
  EXPECT_EQ(at("from"), "bundle");
  writeFile(places.system(), "from=system\n");
  EXPECT_EQ(settings.read(file_name, 56), system_bit);
  EXPECT_EQ(at("from"), "system");
}

TEST_F(TaSettingsTest, NoFileAnywhere) {
  EXPECT_EQ(settings.read(file_name, 56), 0);
}

TEST_F(TaSettingsTest, OnlyTheLocationsOfTheMaskAreTried) {
  writeFile(places.home(), "from=home\n");
  writeFile(places.system(), "from=system\n");
  writeFile(places.bundle(), "from=bundle\n");
  EXPECT_EQ(settings.read(file_name, system_bit), system_bit);
  EXPECT_EQ(at("from"), "system");
  EXPECT_EQ(settings.read(file_name, bundle_bit), bundle_bit);
  EXPECT_EQ(at("from"), "bundle");
  EXPECT_EQ(settings.read(file_name, home_bit), home_bit);
  EXPECT_EQ(at("from"), "home");
  EXPECT_EQ(settings.read(file_name, system_bit | bundle_bit), system_bit);
  EXPECT_EQ(settings.read(file_name, 1 | 2 | 4 | 64 | 128), 0);
}

TEST_F(TaSettingsTest, MaskOfZeroMeansAllLocations) {
  writeFile(places.bundle(), "from=bundle\n");
  EXPECT_EQ(settings.read(file_name, 0), bundle_bit);
  writeFile(places.system(), "from=system\n");
  EXPECT_EQ(settings.read(file_name, 0), system_bit);
  writeFile(places.home(), "from=home\n");
  EXPECT_EQ(settings.read(file_name, 0), home_bit);
}

TEST_F(TaSettingsTest, FileThatIsNotUtf8GivesWayToTheNextLocation) {
  writeFile(places.home(), "from=home\nname=caf\xE9\n");
  writeFile(places.system(), "name=system\n");
  EXPECT_EQ(settings.read(file_name, 56), system_bit);
  EXPECT_EQ(at("name"), "system");
  EXPECT_EQ(at("from"), "(none)");
}

TEST_F(TaSettingsTest, UnreadableFileGivesWayToTheNextLocation) {
  writeFile(places.home(), "from=home\n");
  writeFile(places.system(), "from=system\n");
  asOrdinaryUser(places.root(), [&] {
    ASSERT_EQ(chmod(places.home().c_str(), 0), 0);
    EXPECT_EQ(settings.read(file_name, 56), system_bit);
    EXPECT_EQ(at("from"), "system");
  });
}

TEST_F(TaSettingsTest, FolderPipeOrDeviceGivesWayToTheNextLocationAndDoesNotHang) {
  ASSERT_EQ(mkdir(places.home().c_str(), 0700), 0);
  ASSERT_EQ(mkfifo(places.system().c_str(), 0600), 0);
  writeFile(places.bundle(), "from=bundle\n");
  inChild([&] {
    EXPECT_EQ(settings.read(file_name, 56), bundle_bit);
    EXPECT_EQ(at("from"), "bundle");
    EXPECT_EQ(settings.readfile("/dev/zero"), unreadable);
  });
}

TEST_F(TaSettingsTest, LinkToAFileIsRead) {
  writeFile(places.root() + "/elsewhere", "from=elsewhere\n");
  ASSERT_EQ(symlink((places.root() + "/elsewhere").c_str(), places.home().c_str()), 0);
  EXPECT_EQ(settings.read(file_name, 56), home_bit);
  EXPECT_EQ(at("from"), "elsewhere");
}

TEST(SettingsLocationsTest, PlacesOfThisSystem) {
  PrivateHome home;
  const TaSettings settings;
  EXPECT_EQ(settings.pathAt(16, "x.ini"), home.home() + "/x.ini");
  EXPECT_EQ(settings.pathAt(8, "x.ini"), "/etc/x.ini");
  EXPECT_EQ(settings.pathAt(32, "x.ini"), bundleFolder() + "/x.ini");
}

TEST(SettingsLocationsTest, HomeFileOfThisSystemIsRead) {
  PrivateHome home;
  writeFile(home.home() + "/softtoken-test-settings.ini", "from=home\n");
  TaSettings settings;
  EXPECT_EQ(settings.read("softtoken-test-settings.ini", 56), home_bit);
  EXPECT_EQ(settings.readstr("from", "", false), "home");
}

// Size.

TEST_F(TaSettingsTest, ManyLinesAreRead) {
  constexpr int lines = 200000;
  std::string content;
  for (int i = 0; i < lines; ++i) {
    content += "Key" + std::to_string(i) + "=value " + std::to_string(i) + "\r\n";
  }
  EXPECT_EQ(parse(content), whole);
  for (int i = 0; i < lines; ++i) {
    ASSERT_EQ(at("kEY" + std::to_string(i)), "value " + std::to_string(i));
  }
}

TEST_F(TaSettingsTest, ManyLinesOfOneKeyAreRead) {
  std::string content;
  for (int i = 0; i < 200000; ++i) content += "key=" + std::to_string(i) + "\n";
  EXPECT_EQ(parse(content), whole);
  EXPECT_EQ(settings.readint("key", 0), 199999);
}

TEST_F(TaSettingsTest, LongLinesAndManyLineEndsAreRead) {
  const std::string value(10'000'000, '=');
  EXPECT_EQ(parse("key=" + value + std::string(1'000'000, '\r') + "\n" +
                  std::string(1'000'000, '\n') + "last=1"),
            whole);
  EXPECT_TRUE(at("key") == value);
  EXPECT_EQ(at("last"), "1");
}

TEST_F(TaSettingsTest, NulIsACharacterLikeOthers) {
  EXPECT_EQ(parse(std::string("a\0b=c\0d\n", 8)), whole);
  EXPECT_EQ(at(std::string_view("A\0B", 3)), std::string("c\0d", 3));
}

}  // namespace
}  // namespace talvane::test
