// Bytes made to take time and memory.

#include <gtest/gtest.h>

#include <chrono>

#include "platform/record_archive.h"
#include "tests/vault/sound_archive.h"

namespace talvane::test {
namespace {

// Each of the following stays far below a second; none needs more memory than a few MiB.
class RecordArchiveCost : public testing::Test {
 protected:
  ~RecordArchiveCost() override {
    EXPECT_LT(std::chrono::steady_clock::now() - start_, std::chrono::seconds(5));
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

TEST_F(RecordArchiveCost, DeepNesting) {
  Writer list;
  for (std::size_t i = 0; i < 60000; ++i) list.array({i + 1});
  list.array({});
  EXPECT_EQ(unarchiveRecord(list.finish(0)), std::nullopt);
}

TEST_F(RecordArchiveCost, AnArrayInItself) {
  Writer list;
  list.array({0});
  EXPECT_EQ(unarchiveRecord(list.finish(0)), std::nullopt);
  Writer longer;
  longer.array({1});
  longer.array({2});
  longer.array({0});
  EXPECT_EQ(unarchiveRecord(longer.finish(0)), std::nullopt);
}

TEST_F(RecordArchiveCost, DoublingAtEachLevel) {
  for (const std::size_t levels : {6U, 40U}) {
    Writer list;
    for (std::size_t i = 0; i < levels; ++i) list.array({i + 1, i + 1});
    list.text("a");
    EXPECT_EQ(unarchiveRecord(list.finish(0)), std::nullopt);
  }
}

// What no record refers to is held to the same limits.
TEST_F(RecordArchiveCost, LimitsHoldForUnusedObjects) {
  Archive two_places;
  two_places.more_objects.push_back(two_places.class_names);
  EXPECT_EQ(unarchiveRecord(two_places.finish()), std::nullopt);

  for (const std::size_t levels : {2U, 20U}) {
    Archive deep;
    std::size_t array = deep.writer.array({});
    for (std::size_t i = 1; i < levels; ++i) array = deep.writer.array({array});
    deep.more_objects.push_back(array);
    EXPECT_EQ(unarchiveRecord(deep.finish()), levels == 2 ? std::optional(sound) : std::nullopt);
  }

  for (const std::size_t arrays : {1U, 2U}) {
    Archive many;
    for (std::size_t i = 0; i < arrays; ++i) {
      many.more_objects.push_back(many.writer.array(Numbers(9000, many.null_object)));
    }
    EXPECT_EQ(unarchiveRecord(many.finish()), arrays == 1 ? std::optional(sound) : std::nullopt);
  }
}

TEST_F(RecordArchiveCost, ALargeTextInManyPlaces) {
  Archive archive;
  archive.value = archive.writer.text(std::string(400000, 'x'));
  archive.more_objects = Numbers(15000, archive.value);
  EXPECT_EQ(unarchiveRecord(archive.finish()), std::nullopt);
  Archive few;
  few.value = few.writer.text(std::string(400000, 'x'));
  few.more_objects = Numbers(3, few.value);
  EXPECT_EQ(unarchiveRecord(few.finish()), (Record{{"key", std::string(400000, 'x')}}));
}

TEST_F(RecordArchiveCost, AsManyValuesAsThereMayBe) {
  Archive archive;
  const std::size_t uid = archive.writer.uid(3);
  archive.values = Numbers(7000, uid);
  archive.keys.clear();
  for (int i = 0; i < 7000; ++i) {
    Bytes object{0x81};
    Writer::put(object, static_cast<std::uint64_t>(5 + i % 1000), 2);
    archive.keys.push_back(archive.writer.raw(object));
  }
  for (int i = 0; i < 1000; ++i) {
    archive.more_objects.push_back(archive.writer.text("key " + std::to_string(i)));
  }
  EXPECT_EQ(unarchiveRecord(archive.finish()), std::nullopt);
}

// One large dictionary as the class of many values.
TEST_F(RecordArchiveCost, AClassThatIsSlowToSearch) {
  Archive archive;
  std::vector<std::pair<std::string, std::size_t>> entries(7000, {"$x", archive.key});
  archive.more_objects.push_back(archive.writer.named(entries));
  const std::size_t uid = archive.writer.uid(5);
  archive.keys.clear();
  archive.values.clear();
  for (std::uint8_t i = 0; i < 200; ++i) {
    archive.keys.push_back(archive.writer.uid(static_cast<std::uint8_t>(6 + i)));
    archive.values.push_back(archive.writer.uid(3));
    archive.more_objects.push_back(
        archive.writer.named({{"NS.string", archive.value}, {"$class", uid}}));
  }
  EXPECT_EQ(unarchiveRecord(archive.finish()), std::nullopt);
}

TEST_F(RecordArchiveCost, MoreThanOneMebibyte) {
  Archive small;
  small.more_objects.push_back(small.writer.data(Bytes(1000000)));
  EXPECT_EQ(unarchiveRecord(small.finish()), sound);
  Archive large;
  large.more_objects.push_back(large.writer.data(Bytes(1024 * 1024)));
  EXPECT_EQ(unarchiveRecord(large.finish()), std::nullopt);
  EXPECT_EQ(unarchiveRecord(Bytes(64 * 1024 * 1024, 0xD0)), std::nullopt);
}

}  // namespace
}  // namespace talvane::test
