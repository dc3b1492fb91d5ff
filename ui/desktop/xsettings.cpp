#include "ui/desktop/xsettings.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace talvane {
namespace {

enum class Type : std::uint8_t { integer = 0, string = 1, colour = 2 };

// Reads forwards; all zero beyond the end.
class Reader {
 public:
  explicit Reader(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  [[nodiscard]] bool isGood() const { return good_; }
  void setByteOrder(bool big_endian) { big_endian_ = big_endian; }

  std::uint32_t number(std::size_t size) {
    std::uint32_t value = 0;
    const auto bytes = take(size);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      const std::size_t shift = big_endian_ ? bytes.size() - 1 - i : i;
      value |= std::uint32_t{bytes[i]} << (8 * shift);
    }
    return value;
  }
  // Strings are padded to a multiple of four bytes.
  std::string_view text(std::size_t size) {
    const auto bytes = take(size);
    take((4 - size % 4) % 4);
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
  }
  std::span<const std::uint8_t> take(std::size_t size) {
    if (size > bytes_.size() - at_) {
      good_ = false;
      at_ = bytes_.size();
      return {};
    }
    at_ += size;
    return bytes_.subspan(at_ - size, size);
  }

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t at_ = 0;
  bool big_endian_ = false;
  bool good_ = true;
};

}  // namespace

std::optional<std::int32_t> numberInXSettings(std::span<const std::uint8_t> settings,
                                              std::string_view name) {
  Reader reader(settings);
  reader.setByteOrder(reader.number(1) == 1);
  reader.take(3);
  reader.number(4);  // the serial number of the last change
  const std::uint32_t count = reader.number(4);
  for (std::uint32_t i = 0; i < count && reader.isGood(); ++i) {
    const auto type = static_cast<Type>(reader.number(1));
    reader.take(1);
    const std::string_view found = reader.text(reader.number(2));
    reader.number(4);
    switch (type) {
      case Type::integer: {
        const auto value = static_cast<std::int32_t>(reader.number(4));
        if (found == name && reader.isGood()) return value;
        break;
      }
      case Type::string:
        reader.text(reader.number(4));
        break;
      case Type::colour:
        reader.take(8);
        break;
      default:
        return std::nullopt;
    }
  }
  return std::nullopt;
}

}  // namespace talvane
