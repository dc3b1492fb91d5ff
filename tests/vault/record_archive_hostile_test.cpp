// Archives that are wrong in one way each.

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "platform/record_archive.h"
#include "tests/vault/sound_archive.h"

namespace talvane::test {
namespace {

void expectRefused(const std::function<void(Archive&)>& change) {
  Archive archive;
  change(archive);
  EXPECT_EQ(unarchiveRecord(archive.finish()), std::nullopt);
}

TEST(RecordArchiveHostile, TheUnchangedArchiveIsSound) {
  EXPECT_EQ(unarchiveRecord(Archive().finish()), sound);
}

TEST(RecordArchiveHostile, OtherArchiversAndVersions) {
  expectRefused([](Archive& a) { a.archiver = a.writer.text("NSArchiver"); });
  expectRefused([](Archive& a) { a.archiver = a.writer.number(1); });
  expectRefused([](Archive& a) { a.version = a.writer.number(100001); });
  expectRefused([](Archive& a) { a.version = a.writer.text("100000"); });
}

TEST(RecordArchiveHostile, OtherTopLevels) {
  expectRefused([](Archive& a) { a.top = a.writer.named({{"root", a.writer.uid(1)}}); });
  expectRefused([](Archive& a) { a.top = a.writer.named({}); });
  expectRefused([](Archive& a) { a.top = a.writer.uid(1); });
  expectRefused([](Archive& a) { a.top = a.writer.named({{"dict", a.writer.number(1)}}); });
  expectRefused([](Archive& a) {
    const std::size_t uid = a.writer.uid(1);
    a.top = a.writer.named({{"dict", uid}, {"more", uid}});
  });
  expectRefused([](Archive& a) { a.more_entries = {{"$more", a.key}}; });
  expectRefused([](Archive& a) { a.more_entries = {{"$version", a.version}}; });
  Writer list;
  EXPECT_EQ(unarchiveRecord(list.finish(list.array({}))), std::nullopt);
  Writer text;
  EXPECT_EQ(unarchiveRecord(text.finish(text.text("bplist00"))), std::nullopt);
}

TEST(RecordArchiveHostile, UidsThatLeadNowhere) {
  expectRefused([](Archive& a) { a.top = a.writer.named({{"dict", a.writer.uid(0)}}); });
  expectRefused([](Archive& a) { a.top = a.writer.named({{"dict", a.writer.uid(5)}}); });
  expectRefused([](Archive& a) { a.values = {a.writer.uid(5)}; });
  expectRefused([](Archive& a) {
    a.values = {a.writer.raw({0x87, 255, 255, 255, 255, 0, 0, 0, 3})};
  });
  expectRefused([](Archive& a) { a.keys = {a.writer.uid(200)}; });
  expectRefused([](Archive& a) { a.class_uid = a.writer.uid(9); });
  expectRefused([](Archive& a) { a.class_uid = a.writer.uid(0); });
}

TEST(RecordArchiveHostile, ClassDescriptionsAreSmall) {
  for (const std::size_t size : {2U, 8U, 9U}) {
    Archive archive;
    std::vector<std::pair<std::string, std::size_t>> description{{"$classname", archive.class_name},
                                                                 {"$classes", archive.class_names}};
    while (description.size() < size) {
      description.emplace_back("more " + std::to_string(description.size()), archive.value);
    }
    archive.class_object = archive.writer.named(description);
    EXPECT_EQ(unarchiveRecord(archive.finish()).has_value(), size <= 8) << size;
  }
}

TEST(RecordArchiveHostile, NothingIsNoValue) {
  expectRefused([](Archive& a) { a.values = {a.writer.uid(0)}; });
  expectRefused([](Archive& a) { a.keys = {a.writer.uid(0)}; });
  expectRefused([](Archive& a) { a.value = a.writer.text("$null"); });
  expectRefused([](Archive& a) { a.null_object = a.writer.text("null"); });
}

TEST(RecordArchiveHostile, ValuesOfOtherKinds) {
  expectRefused([](Archive& a) { a.value = a.writer.raw({0x08}); });                    // false
  expectRefused([](Archive& a) { a.value = a.writer.raw({0x09}); });                    // true
  expectRefused([](Archive& a) { a.value = a.writer.raw({0x00}); });                    // null
  expectRefused([](Archive& a) { a.value = a.writer.raw({0x22, 0x3F, 0x80, 0, 0}); });  // 1.0
  expectRefused([](Archive& a) { a.value = a.writer.raw({0x23, 0x3F, 0xF0, 0, 0, 0, 0, 0, 0}); });
  expectRefused([](Archive& a) { a.value = a.writer.raw({0x33, 0, 0, 0, 0, 0, 0, 0, 0}); });
  expectRefused([](Archive& a) { a.value = a.writer.uid(2); });
  expectRefused([](Archive& a) { a.value = a.writer.array({}); });
  expectRefused([](Archive& a) { a.value = a.writer.named({}); });
  expectRefused([](Archive& a) { a.value = a.writer.raw({0xC0}); });  // a set
  // A number of 128 bits.
  expectRefused([](Archive& a) {
    a.value = a.writer.raw({0x14, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 7});
  });
}

TEST(RecordArchiveHostile, KeysThatAreNoTexts) {
  expectRefused([](Archive& a) { a.key = a.writer.number(1); });
  expectRefused([](Archive& a) { a.key = a.writer.data({'k'}); });
  expectRefused([](Archive& a) {
    const std::size_t number = a.writer.number(1);
    a.top = a.writer.dictionary({{number, a.writer.uid(1)}});
  });
}

TEST(RecordArchiveHostile, KeysAndValuesThatDoNotPair) {
  expectRefused([](Archive& a) { a.keys.push_back(a.writer.uid(2)); });
  expectRefused([](Archive& a) { a.values.push_back(a.writer.uid(3)); });
  expectRefused([](Archive& a) { a.keys.clear(); });
  // The same key twice.
  expectRefused([](Archive& a) {
    a.keys.push_back(a.writer.uid(2));
    a.values.push_back(a.writer.uid(3));
  });
}

TEST(RecordArchiveHostile, DictionariesOfOtherShapes) {
  expectRefused([](Archive& a) { a.class_name = a.writer.text("NSArray"); });
  expectRefused(
      [](Archive& a) { a.class_names = a.writer.array({a.writer.text("NSDictionary")}); });
  expectRefused([](Archive& a) { a.class_names = a.writer.array({}); });
  expectRefused([](Archive& a) { a.class_names = a.class_name; });
  expectRefused([](Archive& a) { a.class_object = a.writer.text("NSMutableDictionary"); });
  expectRefused([](Archive& a) {
    a.class_object = a.writer.named({{"$classname", a.class_name}});
  });
  expectRefused([](Archive& a) { a.class_uid = a.class_name; });
  expectRefused([](Archive& a) { a.dictionary = a.writer.text("dict"); });
  expectRefused([](Archive& a) { a.dictionary = a.writer.array({}); });
  expectRefused([](Archive& a) {
    const std::size_t keys = a.writer.array(a.keys);
    a.dictionary = a.writer.named({{"NS.keys", keys}, {"$class", a.class_uid}});
  });
  expectRefused([](Archive& a) {
    const std::size_t keys = a.writer.array(a.keys);
    const std::size_t values = a.writer.array(a.values);
    a.dictionary = a.writer.named(
        {{"NS.keys", keys}, {"NS.objects", values}, {"$class", a.class_uid}, {"NS.more", a.key}});
  });
}

std::size_t wrapped(Archive& a, const char* name, const char* field, std::size_t content,
                    bool is_described = true) {
  const std::size_t text = a.writer.text(name);
  const std::size_t names = a.writer.array({text});
  a.more_objects.push_back(
      is_described ? a.writer.named({{"$classname", text}, {"$classes", names}}) : text);
  const std::size_t uid = a.writer.uid(static_cast<std::uint8_t>(4 + a.more_objects.size()));
  return a.writer.named({{field, content}, {"$class", uid}});
}

TEST(RecordArchiveHostile, WrappedValuesOfOtherShapes) {
  Archive sound_text;
  sound_text.value = wrapped(sound_text, "NSString", "NS.string", sound_text.value);
  EXPECT_EQ(unarchiveRecord(sound_text.finish()), sound);
  Archive sound_data;
  sound_data.value = wrapped(sound_data, "NSData", "NS.data", sound_data.writer.data({1, 2}));
  EXPECT_EQ(unarchiveRecord(sound_data.finish()), (Record{{"key", Bytes{1, 2}}}));

  expectRefused([](Archive& a) { a.value = wrapped(a, "NSURL", "NS.string", a.value); });
  expectRefused([](Archive& a) { a.value = wrapped(a, "NSData", "NS.string", a.value); });
  expectRefused([](Archive& a) { a.value = wrapped(a, "NSString", "NS.text", a.value); });
  expectRefused([](Archive& a) { a.value = wrapped(a, "NSString", "NS.string", a.value, false); });
  expectRefused(
      [](Archive& a) { a.value = wrapped(a, "NSString", "NS.string", a.writer.number(1)); });
  expectRefused([](Archive& a) { a.value = wrapped(a, "NSData", "NS.data", a.value); });
  expectRefused([](Archive& a) {
    a.value = wrapped(a, "NSURL", "NS.data", a.writer.data({1, 2}));
  });
  expectRefused([](Archive& a) { a.key = wrapped(a, "NSData", "NS.data", a.writer.data({1, 2})); });
}

TEST(RecordArchiveHostile, CirclesOfUids) {
  expectRefused([](Archive& a) { a.values = {a.writer.uid(1)}; });
  expectRefused([](Archive& a) { a.keys = {a.writer.uid(1)}; });
  expectRefused([](Archive& a) { a.class_uid = a.writer.uid(1); });
}

TEST(RecordArchiveHostile, ReferencesToNoObject) {
  expectRefused([](Archive& a) { a.more_objects.push_back(10000); });
  expectRefused([](Archive& a) { a.more_objects.push_back(0xFFFF); });
  expectRefused([](Archive& a) { a.value = a.writer.dictionary({{a.key, 0xFFFF}}); });
}

TEST(RecordArchiveHostile, TextsThatAreNone) {
  expectRefused([](Archive& a) { a.value = a.writer.text(std::string_view("a\0b", 3)); });
  expectRefused([](Archive& a) { a.value = a.writer.text("\xC3\xBC"); });
  expectRefused([](Archive& a) { a.value = a.writer.utf16(std::u16string(u"a\0b", 3)); });
  expectRefused([](Archive& a) { a.value = a.writer.utf16({0xD83D}); });
  expectRefused([](Archive& a) { a.value = a.writer.utf16({0xD83D, u'x'}); });
  expectRefused([](Archive& a) { a.value = a.writer.utf16({0xDD11, 0xD83D}); });
}

TEST(RecordArchiveHostile, ContentBeyondTheEnd) {
  // Content of 255 bytes, of 2^63, of 2^64 - 1; a count that is no number, or of 16 bytes.
  for (const char marker : {'\x4F', '\x5F', '\x6F', '\xAF', '\xDF'}) {
    const auto kind = static_cast<std::uint8_t>(marker);
    expectRefused([&](Archive& a) { a.value = a.writer.raw({kind, 0x10, 0xFF}); });
    expectRefused([&](Archive& a) {
      a.value = a.writer.raw({kind, 0x13, 0x80, 0, 0, 0, 0, 0, 0, 0});
    });
    expectRefused([&](Archive& a) {
      a.value = a.writer.raw({kind, 0x13, 255, 255, 255, 255, 255, 255, 255, 255});
    });
    expectRefused([&](Archive& a) { a.value = a.writer.raw({kind, 0x51, 1}); });
    expectRefused([&](Archive& a) { a.value = a.writer.raw({kind, 0x14}); });
    Writer last;
    EXPECT_EQ(unarchiveRecord(last.finish(last.raw({kind}))), std::nullopt);
  }
}

TEST(RecordArchiveHostile, TrailersThatAreWrong) {
  const Bytes whole = Archive().finish();
  const std::size_t trailer = whole.size() - 32;
  const auto with = [&](std::size_t at, std::size_t size, std::uint64_t value) {
    Bytes number;
    Writer::put(number, value, static_cast<unsigned>(size));
    Bytes list = whole;
    std::copy(number.begin(), number.end(),
              list.begin() + static_cast<std::ptrdiff_t>(trailer + at));
    return unarchiveRecord(list);
  };
  EXPECT_EQ(with(6, 1, 4), sound);
  for (const unsigned size : {0U, 1U, 5U, 8U, 9U, 255U}) {
    EXPECT_EQ(with(6, 1, size), std::nullopt) << size;
    EXPECT_EQ(with(7, 1, size), std::nullopt) << size;
  }
  const std::uint64_t huge = ~std::uint64_t{0};
  for (const std::size_t at : {8U, 16U, 24U}) {
    for (const std::uint64_t value : {huge, huge / 2, huge / 4 + 1, std::uint64_t{1} << 32U}) {
      EXPECT_EQ(with(at, 8, value), std::nullopt) << at << ": " << value;
    }
  }
  EXPECT_EQ(with(8, 8, 0), std::nullopt);
  EXPECT_EQ(with(24, 8, 0), std::nullopt);
  EXPECT_EQ(with(24, 8, 8), std::nullopt);
}

TEST(RecordArchiveHostile, OtherFormats) {
  EXPECT_EQ(unarchiveRecord({}), std::nullopt);
  EXPECT_EQ(unarchiveRecord(Writer::bytesOf("bplist00")), std::nullopt);
  EXPECT_EQ(unarchiveRecord(Bytes(40, 0)), std::nullopt);
  EXPECT_EQ(unarchiveRecord(
                Writer::bytesOf("<?xml version=\"1.0\"?><plist version=\"1.0\"><dict/></plist>")),
            std::nullopt);
  Bytes other_version = Archive().finish();
  other_version[7] = '1';
  EXPECT_EQ(unarchiveRecord(other_version), std::nullopt);
}

TEST(RecordArchiveHostile, TruncatedAtAnyLength) {
  const Bytes whole = Archive().finish();
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_EQ(
        unarchiveRecord(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length))),
        std::nullopt)
        << length;
  }
}

// Any outcome is right but a crash or a hang; what is read can be written.
TEST(RecordArchiveHostile, AnyByteChanged) {
  const Bytes whole = Archive().finish();
  std::size_t refused = 0;
  for (std::size_t at = 0; at < whole.size(); ++at) {
    for (unsigned value = 0; value < 256; ++value) {
      Bytes list = whole;
      list[at] = static_cast<std::uint8_t>(value);
      const auto record = unarchiveRecord(list);
      if (!record) {
        ++refused;
      } else {
        ASSERT_EQ(unarchiveRecord(archiveRecord(*record)), record) << at << ": " << value;
      }
    }
  }
  EXPECT_GT(refused, whole.size());
}

TEST(RecordArchiveHostile, ManyBytesChanged) {
  const Bytes whole = Archive().finish();
  std::mt19937 random(7);  // NOLINT(cert-msc51-cpp): the same course each time
  for (int round = 0; round < 20000; ++round) {
    Bytes list = whole;
    for (unsigned i = 0; i < 1 + random() % 6; ++i) {
      list[random() % list.size()] = static_cast<std::uint8_t>(random());
    }
    static_cast<void>(unarchiveRecord(list));
  }
}

}  // namespace
}  // namespace talvane::test
