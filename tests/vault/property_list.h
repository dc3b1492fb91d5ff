#pragma once

// Binary property lists byte by byte, as CFBinaryPList.c describes them: written in any shape,
// sound or not, and read back as text. Apart from the code under test on purpose.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/gateway.h"

namespace talvane::test {

/// Puts objects into a property list; each returns its number, for those that refer to it.
class PropertyListWriter {
 public:
  std::size_t text(std::string_view ascii) { return counted(0x50, ascii.size(), bytesOf(ascii)); }
  std::size_t utf16(const std::u16string& text) {
    Bytes content;
    for (const char16_t unit : text) put(content, unit, 2);
    return counted(0x60, text.size(), content);
  }
  std::size_t data(const Bytes& bytes) { return counted(0x40, bytes.size(), bytes); }
  std::size_t number(std::uint64_t value) {
    Bytes object{0x13};
    put(object, value, 8);
    return raw(object);
  }
  std::size_t uid(std::uint8_t value) { return raw({0x80, value}); }
  std::size_t array(const std::vector<std::size_t>& items) {
    Bytes content;
    for (const std::size_t item : items) put(content, item, 2);
    return counted(0xA0, items.size(), content);
  }
  /// Keys and values by number.
  std::size_t dictionary(const std::vector<std::pair<std::size_t, std::size_t>>& entries) {
    Bytes content;
    for (const auto& entry : entries) put(content, entry.first, 2);
    for (const auto& entry : entries) put(content, entry.second, 2);
    return counted(0xD0, entries.size(), content);
  }
  /// A dictionary with texts as keys.
  std::size_t named(const std::vector<std::pair<std::string, std::size_t>>& entries) {
    std::vector<std::pair<std::size_t, std::size_t>> numbers;
    for (const auto& [name, value] : entries) numbers.emplace_back(text(name), value);
    return dictionary(numbers);
  }
  /// Any bytes as an object.
  std::size_t raw(const Bytes& object) {
    objects_.push_back(object);
    return objects_.size() - 1;
  }
  [[nodiscard]] std::size_t next() const { return objects_.size(); }

  [[nodiscard]] Bytes finish(std::size_t top) const {
    Bytes list = bytesOf("bplist00");
    std::vector<std::size_t> offsets;
    for (const Bytes& object : objects_) {
      offsets.push_back(list.size());
      list.insert(list.end(), object.begin(), object.end());
    }
    const std::size_t table = list.size();
    for (const std::size_t offset : offsets) put(list, offset, 4);
    list.insert(list.end(), {0, 0, 0, 0, 0, 0, 4, 2});
    put(list, offsets.size(), 8);
    put(list, top, 8);
    put(list, table, 8);
    return list;
  }

  static void put(Bytes& bytes, std::uint64_t value, unsigned size) {
    for (unsigned i = size; i-- > 0;) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  }
  static Bytes bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

 private:
  std::size_t counted(std::uint8_t kind, std::size_t count, const Bytes& content) {
    Bytes object;
    if (count < 15) {
      object.push_back(static_cast<std::uint8_t>(kind | count));
    } else {
      object.push_back(static_cast<std::uint8_t>(kind | 15U));
      object.push_back(0x12);
      put(object, count, 4);
    }
    object.insert(object.end(), content.begin(), content.end());
    return raw(object);
  }

  std::vector<Bytes> objects_;
};

/// A sound property list as text: {"key": value, ...} in the order of the file, [item, ...],
/// "ascii", u"utf-16 units in hex", <data in hex>, number, uid(number).
class PropertyListText {
 public:
  explicit PropertyListText(const Bytes& list) : list_(list) {}

  std::string text() {
    const std::size_t trailer = list_.size() - 32;
    offset_size_ = list_.at(trailer + 6);
    reference_size_ = list_.at(trailer + 7);
    table_ = number(trailer + 24, 8);
    return object(number(trailer + 16, 8));
  }

 private:
  [[nodiscard]] std::uint64_t number(std::size_t at, std::size_t size) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) value = value << 8U | list_.at(at + i);
    return value;
  }
  [[nodiscard]] std::string hex(std::size_t at, std::size_t size) const {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (std::size_t i = at; i < at + size; ++i) {
      text += digits[list_.at(i) >> 4U];
      text += digits[list_.at(i) & 15U];
    }
    return text;
  }
  [[nodiscard]] std::string reference(std::size_t at) const {
    return object(number(at, reference_size_));
  }

  // NOLINTNEXTLINE(misc-no-recursion): only sound lists
  [[nodiscard]] std::string object(std::size_t index) const {
    std::size_t at = number(table_ + index * offset_size_, offset_size_);
    const unsigned kind = list_.at(at) >> 4U;
    std::size_t count = list_.at(at++) & 15U;
    if (kind == 0x1) {
      const auto value = number(at, std::size_t{1} << count);
      return std::to_string(static_cast<std::int64_t>(value));
    }
    if (kind == 0x8) return "uid(" + std::to_string(number(at, count + 1)) + ")";
    if (count == 15) {
      const std::size_t size = std::size_t{1} << (list_.at(at) & 15U);
      count = number(at + 1, size);
      at += 1 + size;
    }
    std::string text;
    switch (kind) {
      case 0x4:
        return "<" + hex(at, count) + ">";
      case 0x5:
        for (std::size_t i = 0; i < count; ++i) text += static_cast<char>(list_.at(at + i));
        return '"' + text + '"';
      case 0x6:
        return "u\"" + hex(at, 2 * count) + '"';
      case 0xA:
        for (std::size_t i = 0; i < count; ++i) {
          text += (i > 0 ? ", " : "") + reference(at + i * reference_size_);
        }
        return "[" + text + "]";
      case 0xD:
        for (std::size_t i = 0; i < count; ++i) {
          text += (i > 0 ? ", " : "") + reference(at + i * reference_size_) + ": " +
                  reference(at + (count + i) * reference_size_);
        }
        return "{" + text + "}";
      default:
        return "?";
    }
  }

  const Bytes& list_;
  std::size_t offset_size_ = 0;
  std::size_t reference_size_ = 0;
  std::size_t table_ = 0;
};

}  // namespace talvane::test
