#include "platform/record_archive.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "tests/support/temporary_folder.h"
#include "tests/vault/property_list.h"

namespace talvane::test {
namespace {

// archives/ was written with the property list module of Python's library.
Bytes archiveNamed(const std::string& name) {
  const std::string content = readFile(std::string(TEST_ARCHIVES) + "/" + name + ".plist");
  EXPECT_FALSE(content.empty()) << name;
  return {content.begin(), content.end()};
}

std::string textOfArchive(const Record& record) {
  const SecretBytes archive = archiveRecord(record);
  if (archive->empty()) return "";
  return PropertyListText(archive).text();
}

// The archive of the record, read again.
std::optional<Record> again(const Record& record) {
  return unarchiveRecord(archiveRecord(record));
}

const std::string dictionary_class =
    R"({"$classname": "NSMutableDictionary", )"
    R"("$classes": ["NSMutableDictionary", "NSDictionary", "NSObject"]})";

TEST(RecordArchive, WritesTheKeyedArchivesLayout) {
  EXPECT_EQ(textOfArchive({{"desc", std::string("Bank")},
                           {"ek", std::int64_t{4294967295}},
                           {"period", std::int64_t{-60}},
                           {"seed32", Bytes{0x00, 0x7F, 0xFF}}}),
            R"({"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": {"dict": uid(1)}, )"
            R"("$objects": ["$null", )"
            R"({"NS.keys": [uid(2), uid(3), uid(4), uid(5)], )"
            R"("NS.objects": [uid(6), uid(7), uid(8), uid(9)], "$class": uid(10)}, )"
            R"("desc", "ek", "period", "seed32", "Bank", 4294967295, -60, <007fff>, )" +
                dictionary_class + "]}");
}

TEST(RecordArchive, WritesAnEmptyRecord) {
  EXPECT_EQ(textOfArchive({}),
            R"({"$version": 100000, "$archiver": "NSKeyedArchiver", "$top": {"dict": uid(1)}, )"
            R"("$objects": ["$null", {"NS.keys": [], "NS.objects": [], "$class": uid(2)}, )" +
                dictionary_class + "]}");
}

TEST(RecordArchive, WritesTextBeyondAsciiAsUtf16) {
  // U+00FC, and U+1F511 as a surrogate pair.
  const std::string text = textOfArchive({{"k", std::string("\xC3\xBC\xF0\x9F\x94\x91")}});
  EXPECT_NE(text.find("\"k\", u\"00fcd83ddd11\""), std::string::npos) << text;
}

TEST(RecordArchive, WrapsATextThatWouldReadAsNothing) {
  const std::string text = textOfArchive({{"desc", std::string("$null")}});
  EXPECT_NE(text.find(R"("desc", {"NS.string": "$null", "$class": uid(5)}, )" + dictionary_class +
                      R"(, {"$classname": "NSString", "$classes": ["NSString", "NSObject"]})"),
            std::string::npos)
      << text;
  EXPECT_EQ(again({{"$null", std::string("$null")}}), (Record{{"$null", std::string("$null")}}));
}

TEST(RecordArchive, StartsAsABinaryPropertyList) {
  const SecretBytes archive = archiveRecord({});
  EXPECT_EQ(std::string(archive->begin(), archive->begin() + 8), "bplist00");
}

TEST(RecordArchive, ReadsAnotherWritersRecord) {
  Bytes seed;
  for (std::uint8_t i = 0; i < 24; ++i) seed.push_back(i);
  EXPECT_EQ(unarchiveRecord(archiveNamed("record")),
            (Record{{"desc", std::string("Z\xC3\xBCrich|Bank \xF0\x9F\x94\x91")},
                    {"ek", std::int64_t{4294967295}},
                    {"fphd", std::string("1B2C3D4E-0000-1111-2222-333344445555")},
                    {"fpsn", std::string("C02X1234")},
                    {"fpus", std::string("amira")},
                    {"period", std::int64_t{30}},
                    {"seed32", seed}}));
}

TEST(RecordArchive, ReadsAnotherWritersEmptyRecord) {
  EXPECT_EQ(unarchiveRecord(archiveNamed("empty")), Record{});
}

// Its dictionary is an NSDictionary, described before it; two entries share one object.
TEST(RecordArchive, ReadsWrappedTextAndData) {
  EXPECT_EQ(unarchiveRecord(archiveNamed("wrapped")),
            (Record{{"again", std::int64_t{-60}},
                    {"desc", std::string("$null")},
                    {"note", std::string("$null")},
                    {"period", std::int64_t{-60}},
                    {"seed32", Bytes{0x00, 0xFF, 0x10}}}));
}

TEST(RecordArchive, ReadsUtf16) {
  EXPECT_EQ(unarchiveRecord(archiveNamed("utf16")),
            (Record{{"\xCE\xBA\xCE\xBB\xCE\xB5\xCE\xB9\xCE\xB4\xCE\xAF",
                     std::string("\xE2\x82\xAC\xF0\x90\x8D\x88z")}}));
}

TEST(RecordArchive, ReadsCountsAndOffsetsOfAllSizes) {
  Record expected;
  for (std::size_t i = 0; i < 298; ++i) {
    const std::string digits = std::to_string(i);
    expected["k" + std::string(3 - digits.size(), '0') + digits] = Bytes(i, 7);
  }
  expected["k298"] = Bytes(70000, 1);
  expected["k299"] = std::string(300, 't');
  EXPECT_EQ(unarchiveRecord(archiveNamed("sizes")), expected);
}

TEST(RecordArchive, WholeNumbersKeepTheirValue) {
  for (const std::int64_t number :
       {std::int64_t{0}, std::int64_t{1}, std::int64_t{-1}, std::int64_t{127}, std::int64_t{128},
        std::int64_t{255}, std::int64_t{256}, std::int64_t{-128}, std::int64_t{65535},
        std::int64_t{65536}, std::int64_t{16777215}, std::int64_t{16777216},
        std::int64_t{2147483647}, std::int64_t{-2147483648}, std::int64_t{4294967295},
        std::int64_t{4294967296}, std::numeric_limits<std::int64_t>::max(),
        std::numeric_limits<std::int64_t>::min()}) {
    EXPECT_EQ(again({{"n", number}}), (Record{{"n", number}}));
  }
}

TEST(RecordArchive, TextsAndDataKeepTheirValue) {
  for (const std::string& text :
       {std::string(), std::string("a"), std::string(14, 'x'), std::string(15, 'x'),
        std::string(255, 'x'), std::string(256, 'x'), std::string(70000, 'x'),
        std::string("\xC3\xBC"), std::string("a\nb\t\x7F"), std::string("\xEF\xBF\xBF"),
        std::string("\xF4\x8F\xBF\xBF"), std::string("$class")}) {
    EXPECT_EQ(again({{"t", text}, {text, std::string("key")}}),
              (Record{{"t", text}, {text, std::string("key")}}));
    const Bytes data(text.begin(), text.end());
    EXPECT_EQ(again({{"d", data}}), (Record{{"d", data}}));
  }
  Bytes every_byte;
  for (unsigned i = 0; i < 256; ++i) every_byte.push_back(static_cast<std::uint8_t>(i));
  EXPECT_EQ(again({{"d", every_byte}}), (Record{{"d", every_byte}}));
}

TEST(RecordArchive, EqualValuesOfDifferentKindsStayApart) {
  const Record record{{"a", std::string("1")}, {"b", std::int64_t{1}}, {"c", Bytes{'1'}},
                      {"d", std::string("1")}, {"e", std::int64_t{1}}, {"1", Bytes{'1'}}};
  EXPECT_EQ(again(record), record);
}

TEST(RecordArchive, RefusesToWriteWhatIsNoText) {
  EXPECT_TRUE(archiveRecord({{"t", std::string("\xFF")}})->empty());
  EXPECT_TRUE(archiveRecord({{"t", std::string("\xC3")}})->empty());
  EXPECT_TRUE(archiveRecord({{"t", std::string("\xED\xA0\x80")}})->empty());
  EXPECT_TRUE(archiveRecord({{"t", std::string("a\0b", 3)}})->empty());
  EXPECT_TRUE(archiveRecord({{std::string("a\0b", 3), std::int64_t{1}}})->empty());
  EXPECT_TRUE(archiveRecord({{"\xFF", std::int64_t{1}}})->empty());
}

TEST(RecordArchive, RefusesToWriteWhatItWouldNotRead) {
  EXPECT_FALSE(archiveRecord({{"d", Bytes(1024 * 1024 - 1000)}})->empty());
  EXPECT_TRUE(archiveRecord({{"d", Bytes(1024 * 1024)}})->empty());
  Record many;
  for (int i = 0; i < 1000; ++i) many["key " + std::to_string(i)] = std::int64_t{i};
  EXPECT_EQ(again(many), many);
  for (int i = 0; i < 10000; ++i) many["key " + std::to_string(i)] = std::int64_t{i};
  EXPECT_TRUE(archiveRecord(many)->empty());
}

}  // namespace
}  // namespace talvane::test
