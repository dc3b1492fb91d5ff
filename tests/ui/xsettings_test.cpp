// Settings as a desktop's settings program publishes them (XSETTINGS protocol, version 0.5).

#include "ui/desktop/xsettings.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace talvane::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes bytesOf(const std::string& text) {
  return {text.begin(), text.end()};
}

Bytes joined(const std::vector<Bytes>& parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// Little-endian.
const Bytes header_of_three{0, 0, 0, 0, 7, 0, 0, 0, 3, 0, 0, 0};
// A text "Net/ThemeName" with the value "Blues", a colour "Tone", a number "Gtk/EnableAnimations".
const Bytes theme = joined({{1, 0, 13, 0},
                            bytesOf("Net/ThemeName"),
                            {0, 0, 0},
                            {1, 0, 0, 0},
                            {5, 0, 0, 0},
                            bytesOf("Blues"),
                            {0, 0, 0}});
const Bytes tone =
    joined({{2, 0, 4, 0}, bytesOf("Tone"), {1, 0, 0, 0}, {1, 0, 2, 0, 3, 0, 255, 255}});
const Bytes animations =
    joined({{0, 0, 20, 0}, bytesOf("Gtk/EnableAnimations"), {1, 0, 0, 0}, {1, 2, 0, 0}});
const Bytes settings = joined({header_of_three, theme, tone, animations});

TEST(XSettings, NumberBehindOthers) {
  EXPECT_EQ(numberInXSettings(settings, "Gtk/EnableAnimations"), 513);
}

TEST(XSettings, TheProgramsByteOrderCounts) {
  const Bytes big = joined({{1, 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 1},
                            {0, 0, 0, 4},
                            bytesOf("Blnk"),
                            {0, 0, 0, 1},
                            {255, 255, 255, 254}});
  EXPECT_EQ(numberInXSettings(big, "Blnk"), -2);
}

TEST(XSettings, WhatIsNoNumberOrNotThereIsNone) {
  for (const char* name : {"Net/ThemeName", "Tone", "Gtk", "Gtk/EnableAnimations2", ""}) {
    EXPECT_EQ(numberInXSettings(settings, name), std::nullopt) << name;
  }
}

TEST(XSettings, EveryTruncationHasNoNumber) {
  for (std::size_t size = 0; size < settings.size(); ++size) {
    const Bytes part(settings.begin(), settings.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_EQ(numberInXSettings(part, "Gtk/EnableAnimations"), std::nullopt) << size;
  }
}

TEST(XSettings, LengthsBeyondTheEndEndTheReading) {
  Bytes damaged = settings;
  damaged[header_of_three.size() + 2] = 255;
  damaged[header_of_three.size() + 3] = 255;
  EXPECT_EQ(numberInXSettings(damaged, "Gtk/EnableAnimations"), std::nullopt);
  damaged = settings;
  for (std::size_t i = 0; i < 4; ++i) damaged[header_of_three.size() + 24 + i] = 255;
  EXPECT_EQ(numberInXSettings(damaged, "Gtk/EnableAnimations"), std::nullopt);
}

TEST(XSettings, UnknownTypesEndTheReading) {
  Bytes unknown = settings;
  unknown[header_of_three.size()] = 3;
  EXPECT_EQ(numberInXSettings(unknown, "Gtk/EnableAnimations"), std::nullopt);
}

}  // namespace
}  // namespace talvane::test
