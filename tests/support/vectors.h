#pragma once

// Tables of expected values in tests/vectors: a title line, then one row a line, cells apart by
// tabs.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace talvane::test {

struct VectorRow {
  /// File and line, for messages.
  std::string place;
  std::vector<std::string> cells;

  const std::string& operator[](std::size_t column) const { return cells.at(column); }

  friend std::ostream& operator<<(std::ostream& out, const VectorRow& row) {
    out << row.place << ":";
    for (const std::string& cell : row.cells) out << " '" << cell << "'";
    return out;
  }
};

/// The rows of tests/vectors/`name`. Fails the running test when the file has not exactly `rows`
/// rows of `columns` cells.
inline std::vector<VectorRow> readVectors(const std::string& name, std::size_t columns,
                                          std::size_t rows) {
  std::vector<VectorRow> result;
  std::ifstream file(std::string(TEST_VECTORS) + "/" + name, std::ios::binary);
  std::string line;
  std::size_t number = 0;
  while (std::getline(file, line)) {
    ++number;
    if (number == 1) {
      EXPECT_TRUE(line.starts_with("# ")) << name << " has no title line";
      continue;
    }
    VectorRow row{name + ":" + std::to_string(number), {}};
    std::size_t begin = 0;
    for (std::size_t tab = line.find('\t'); tab != std::string::npos;
         tab = line.find('\t', begin)) {
      row.cells.push_back(line.substr(begin, tab - begin));
      begin = tab + 1;
    }
    row.cells.push_back(line.substr(begin));
    if (row.cells.size() != columns) {
      ADD_FAILURE() << row << " has not " << columns << " cells";
      continue;
    }
    result.push_back(std::move(row));
  }
  EXPECT_EQ(result.size(), rows) << name;
  return result;
}

/// nullopt for the cell "NIL".
inline std::optional<std::string> orNilCell(const std::string& cell) {
  if (cell == "NIL") return std::nullopt;
  return cell;
}

inline std::vector<std::uint8_t> fromHex(std::string_view text) {
  std::vector<std::uint8_t> bytes;
  for (std::size_t at = 0; at + 1 < text.size(); at += 2) {
    bytes.push_back(
        static_cast<std::uint8_t>(std::stoul(std::string(text.substr(at, 2)), nullptr, 16)));
  }
  return bytes;
}

template <class Range>
std::string toHex(const Range& bytes) {
  static constexpr std::string_view digits = "0123456789abcdef";
  std::string text;
  for (const auto element : bytes) {
    const auto byte = static_cast<std::uint8_t>(element);
    text += digits[byte >> 4U];
    text += digits[byte & 15U];
  }
  return text;
}

}  // namespace talvane::test
