// Each limit of what counts as a sound property list, from both sides.

#include "platform/record_archive_check.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/vault/property_list.h"

namespace talvane::test {
namespace {

using Writer = PropertyListWriter;

// A list by its bytes, with a trailer that tells the truth unless it is changed.
struct List {
  std::vector<Bytes> objects;
  unsigned offset_size = 2;
  unsigned reference_size = 1;
  std::size_t top = 0;
  std::function<void(Bytes& list, std::size_t table)> change = {};

  [[nodiscard]] bool isSafe() const {
    Bytes list = Writer::bytesOf("bplist00");
    std::vector<std::size_t> offsets;
    for (const Bytes& object : objects) {
      offsets.push_back(list.size());
      list.insert(list.end(), object.begin(), object.end());
    }
    const std::size_t table = list.size();
    for (const std::size_t offset : offsets) Writer::put(list, offset, offset_size);
    list.insert(list.end(), 6, 0);
    list.push_back(static_cast<std::uint8_t>(offset_size));
    list.push_back(static_cast<std::uint8_t>(reference_size));
    Writer::put(list, objects.size(), 8);
    Writer::put(list, top, 8);
    Writer::put(list, table, 8);
    if (change) change(list, table);
    return isSafePropertyList(list);
  }
};

bool isSafe(const Bytes& object) {
  return List{.objects = {object}}.isSafe();
}

bool areSafe(const std::vector<Bytes>& objects) {
  return List{.objects = objects}.isSafe();
}

Bytes operator+(Bytes bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
  return bytes;
}

TEST(SafePropertyList, WholeNumbersOfUpToEightBytes) {
  for (std::uint8_t power = 0; power < 16; ++power) {
    const std::size_t size = std::size_t{1} << power;
    const Bytes marker{static_cast<std::uint8_t>(0x10 | power)};
    EXPECT_EQ(isSafe(marker + Bytes(size, 0x7F)), power <= 3) << int{power};
    EXPECT_FALSE(isSafe(marker + Bytes(size - 1, 0x7F))) << int{power};
  }
}

TEST(SafePropertyList, UidsOfOneTwoFourOrEightBytes) {
  for (std::uint8_t low = 0; low < 16; ++low) {
    const Bytes marker{static_cast<std::uint8_t>(0x80 | low)};
    const std::size_t size = low + std::size_t{1};
    EXPECT_EQ(isSafe(marker + Bytes(size, 1)), size == 1 || size == 2 || size == 4 || size == 8)
        << size;
    EXPECT_FALSE(isSafe(marker + Bytes(size - 1, 1))) << size;
  }
}

TEST(SafePropertyList, OtherKindsAreNone) {
  for (const unsigned kind : {0x0U, 0x2U, 0x3U, 0x7U, 0x9U, 0xBU, 0xCU, 0xEU, 0xFU}) {
    EXPECT_FALSE(isSafe(Bytes{static_cast<std::uint8_t>(kind << 4U)} + Bytes(16, 0))) << kind;
  }
}

// "a" and data, their count in the marker or in a number after it.
TEST(SafePropertyList, CountsAreWithinTheObjects) {
  for (const unsigned kind : {0x40U, 0x50U}) {
    for (std::uint8_t count = 0; count < 15; ++count) {
      const Bytes marker{static_cast<std::uint8_t>(kind | count)};
      EXPECT_TRUE(isSafe(marker + Bytes(count, 'a')));
      if (count > 0) {
        EXPECT_FALSE(isSafe(marker + Bytes(count - std::size_t{1}, 'a')));
      }
    }
    const auto longer = static_cast<std::uint8_t>(kind | 0x0F);
    for (const Bytes& count : {Bytes{0x10, 20}, Bytes{0x11, 0, 20}, Bytes{0x12, 0, 0, 0, 20},
                               Bytes{0x13, 0, 0, 0, 0, 0, 0, 0, 20}}) {
      EXPECT_TRUE(isSafe(Bytes{longer} + count + Bytes(20, 'a')));
      EXPECT_FALSE(isSafe(Bytes{longer} + count + Bytes(19, 'a')));
    }
    EXPECT_TRUE(isSafe(Bytes{longer, 0x11, 1, 1} + Bytes(257, 'a'))) << "most significant first";
    EXPECT_FALSE(isSafe(Bytes{longer, 0x11, 1, 1} + Bytes(256, 'a')));
    EXPECT_TRUE(isSafe(Bytes{longer, 0x10, 0})) << "nothing, and nothing after it";
    EXPECT_FALSE(isSafe(Bytes{longer})) << "no count";
    EXPECT_FALSE(isSafe(Bytes{longer, 0x11, 0})) << "half a count";
    EXPECT_FALSE(isSafe(Bytes{longer, 0x14} + Bytes(16, 0))) << "a count of 16 bytes";
    EXPECT_FALSE(isSafe(Bytes{longer, 0x20, 0})) << "a count that is no number";
    EXPECT_FALSE(isSafe(Bytes{longer, 0x00, 0}));
    EXPECT_FALSE(isSafe(Bytes{longer, 0x13} + Bytes(8, 0xFF)));
  }
}

TEST(SafePropertyList, AsciiTexts) {
  for (unsigned code = 0; code < 256; ++code) {
    EXPECT_EQ(isSafe(Bytes{0x51, static_cast<std::uint8_t>(code)}), code >= 1 && code < 0x80)
        << code;
  }
}

TEST(SafePropertyList, Utf16Texts) {
  const auto safe = [](const std::u16string& text) {
    Writer writer;
    return isSafePropertyList(writer.finish(writer.utf16(text)));
  };
  EXPECT_TRUE(safe(u""));
  EXPECT_TRUE(safe({0x0001, 0xD7FF, 0xE000, 0xFFFF}));
  for (const char16_t high : {u'\xD800', u'\xDBFF'}) {
    for (const char16_t low : {u'\xDC00', u'\xDFFF'}) {
      EXPECT_TRUE(safe({'a', high, low, 'b'}));
      EXPECT_TRUE(safe({high, low}));
      EXPECT_FALSE(safe({low, high}));
    }
    EXPECT_FALSE(safe({'a', high}));
    EXPECT_FALSE(safe({high, 'a'}));
    EXPECT_FALSE(safe({high, high, 0xDC00}));
    EXPECT_FALSE(safe({high, 0xDBFF}));
    EXPECT_FALSE(safe({high, 0xE000}));
  }
  for (const char16_t low : {u'\xDC00', u'\xDFFF'}) EXPECT_FALSE(safe({'a', low}));
  EXPECT_FALSE(safe({'a', 0}));
  EXPECT_FALSE(safe({0}));
  EXPECT_FALSE(isSafe(Bytes{0x61, 0})) << "half a unit";
  EXPECT_TRUE(isSafe(Bytes{0x6F, 0x10, 16} + Bytes(32, 1)));
  EXPECT_FALSE(isSafe(Bytes{0x6F, 0x10, 16} + Bytes(31, 1)));
}

TEST(SafePropertyList, ArraysRefer) {
  EXPECT_TRUE(isSafe(Bytes{0xA0}));
  EXPECT_TRUE(areSafe({{0xA2, 1, 1}, {0x50}}));
  EXPECT_FALSE(areSafe({{0xA2, 1, 2}, {0x50}})) << "to an object that is not there";
  EXPECT_TRUE((List{.objects = {{0x50}, {0xA1, 0}}, .top = 1}).isSafe());
  EXPECT_FALSE((List{.objects = {{0x50}, {0xA2, 0}}, .top = 1}).isSafe()) << "beyond the objects";
  EXPECT_FALSE(isSafe(Bytes{0xA1, 0})) << "to itself";
  EXPECT_FALSE(areSafe({{0xA2, 1, 1}, {0xA0}})) << "twice to a list";
  EXPECT_TRUE(areSafe({{0xA2, 1, 2}, {0xA0}, {0xA0}}));
}

TEST(SafePropertyList, DictionariesReferToKeysAndThenToValues) {
  EXPECT_TRUE(isSafe(Bytes{0xD0}));
  EXPECT_TRUE(areSafe({{0xD1, 1, 2}, {0x51, 'k'}, {0x10, 7}}));
  EXPECT_TRUE(areSafe({{0xD1, 1, 2}, {0x61, 0, 'k'}, {0x10, 7}}));
  EXPECT_FALSE(areSafe({{0xD1, 2, 1}, {0x51, 'k'}, {0x10, 7}})) << "a key that is a number";
  for (const Bytes& key : {Bytes{0x41, 'k'}, Bytes{0x80, 1}, Bytes{0xA0}, Bytes{0xD0}}) {
    EXPECT_FALSE(areSafe({{0xD1, 1, 2}, key, {0x10, 7}}));
  }
  EXPECT_TRUE(areSafe({{0xD2, 1, 2, 3, 3}, {0x51, 'k'}, {0x51, 'l'}, {0x10, 7}}));
  EXPECT_FALSE(areSafe({{0xD2, 1, 3, 2, 2}, {0x51, 'k'}, {0x51, 'l'}, {0x10, 7}}));
  const std::vector<Bytes> at_the_end{{0x51, 'k'}, {0xD1, 0, 0}};
  EXPECT_TRUE((List{.objects = at_the_end, .top = 1}).isSafe());
  EXPECT_FALSE((List{.objects = {{0x51, 'k'}, {0xD1, 0}}, .top = 1}).isSafe());
}

TEST(SafePropertyList, ReferencesAndOffsetsOfOneToFourBytes) {
  for (unsigned size = 0; size < 7; ++size) {
    Bytes array{0xA1};
    Writer::put(array, 1, size);
    const bool fits = size >= 1 && size <= 4;
    EXPECT_EQ((List{.objects = {array, {0x50}}, .reference_size = size}).isSafe(), fits) << size;
    EXPECT_EQ((List{.objects = {{0xA1, 1}, {0x50}}, .offset_size = size}).isSafe(), fits) << size;
  }
}

TEST(SafePropertyList, TrailerTellsOfWhatIsThere) {
  const std::vector<Bytes> objects{{0xA1, 1}, {0x50}};
  const auto with = [&](std::size_t from_the_end, std::uint64_t value) {
    return List{.objects = objects,
                .change =
                    [=](Bytes& list, std::size_t /*table*/) {
                      Bytes number;
                      Writer::put(number, value, 8);
                      std::copy(number.begin(), number.end(),
                                list.end() - static_cast<std::ptrdiff_t>(from_the_end));
                    }}
        .isSafe();
  };
  constexpr std::size_t count_at = 24;
  constexpr std::size_t top_at = 16;
  constexpr std::size_t table_at = 8;
  EXPECT_TRUE(with(count_at, 2));
  EXPECT_FALSE(with(count_at, 0));
  EXPECT_FALSE(with(count_at, 1)) << "the second object is referred to";
  EXPECT_FALSE(with(count_at, 3)) << "more than the table holds";
  EXPECT_FALSE(with(count_at, UINT64_MAX));
  EXPECT_TRUE(with(top_at, 1));
  EXPECT_FALSE(with(top_at, 2));
  EXPECT_FALSE(with(top_at, UINT64_MAX));
  EXPECT_TRUE(with(table_at, 11));
  EXPECT_FALSE(with(table_at, 12)) << "the table ends in the trailer";
  EXPECT_FALSE(with(table_at, 8)) << "no objects";
  EXPECT_FALSE(with(table_at, 0));
  EXPECT_FALSE(with(table_at, 15)) << "no table";
  EXPECT_FALSE(with(table_at, 16)) << "within the trailer";
  EXPECT_FALSE(with(table_at, UINT64_MAX));
}

TEST(SafePropertyList, OffsetsLieBetweenTheMarkAndTheTable) {
  const auto with = [](std::uint8_t offset) {
    return List{.objects = {{0x50}, {0x50}},
                .change = [=](Bytes& list, std::size_t table) { list[table + 1] = offset; }}
        .isSafe();
  };
  EXPECT_FALSE(with(7));
  EXPECT_TRUE(with(8));
  EXPECT_TRUE(with(9)) << "the last byte before the table";
  EXPECT_FALSE(with(10));
}

TEST(SafePropertyList, MarkAndTrailerAreThere) {
  EXPECT_FALSE(isSafePropertyList({}));
  EXPECT_FALSE(isSafePropertyList(Writer::bytesOf("bplist00")));
  EXPECT_FALSE(isSafePropertyList(Bytes(32, 0)));
  for (std::size_t i = 0; i < 8; ++i) {
    const List list{.objects = {{0x50}},
                    .change = [=](Bytes& bytes, std::size_t /*table*/) { bytes[i] ^= 1U; }};
    EXPECT_FALSE(list.isSafe()) << i;
  }
}

TEST(SafePropertyList, EightLevels) {
  for (const std::size_t levels : {8U, 9U}) {
    std::vector<Bytes> objects;
    for (std::uint8_t i = 1; i < levels; ++i) objects.push_back({0xA1, i});
    objects.push_back({0x50});
    EXPECT_EQ(areSafe(objects), levels == 8) << levels;
  }
}

TEST(SafePropertyList, AtMost16384Places) {
  for (const std::size_t count : {16383U, 16384U}) {
    Bytes array{0xAF, 0x11};
    Writer::put(array, count, 2);
    EXPECT_EQ(areSafe({array + Bytes(count, 1), {0x50}}), count == 16383) << count;
  }
}

TEST(SafePropertyList, AtMostTwoMebibytesOfContentCountedInEachPlace) {
  Bytes half_a_mebibyte{0x4F, 0x12};
  Writer::put(half_a_mebibyte, 512 * 1024, 4);
  half_a_mebibyte.resize(half_a_mebibyte.size() + 512 * 1024, 'a');
  EXPECT_TRUE((List{.objects = {{0xA4, 1, 1, 1, 1}, half_a_mebibyte}, .offset_size = 4}).isSafe());
  EXPECT_FALSE(
      (List{.objects = {{0xA5, 1, 1, 1, 1, 2}, half_a_mebibyte, {0x51, 'a'}}, .offset_size = 4})
          .isSafe());
  Bytes text{0x6F, 0x12};
  Writer::put(text, 256 * 1024, 4);
  text.resize(text.size() + 512 * 1024, 1);
  EXPECT_TRUE((List{.objects = {{0xA4, 1, 1, 1, 1}, text}, .offset_size = 4}).isSafe());
  EXPECT_FALSE(
      (List{.objects = {{0xA5, 1, 1, 1, 1, 2}, text, {0x51, 'a'}}, .offset_size = 4}).isSafe())
      << "a unit is two bytes";
}

}  // namespace
}  // namespace talvane::test
