#include "platform/record_archive_check.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace talvane {
namespace {

// The format, as CFBinaryPList.c describes it.
constexpr std::string_view format_mark = "bplist00";
constexpr std::size_t trailer_size = 32;
constexpr std::size_t offset_size_at = 6;
constexpr std::size_t reference_size_at = 7;
constexpr std::size_t object_count_at = 8;
constexpr std::size_t top_object_at = 16;
constexpr std::size_t table_offset_at = 24;
constexpr std::size_t longest_offset = 4;

// Generous limits for an archive of a record. Texts, data and numbers may stand in
// several places; each is counted each time, as a reader makes a copy each time.
constexpr std::size_t most_nodes = 16384;
constexpr std::size_t most_content = 2 * largest_archive;
constexpr unsigned deepest_nesting = 8;

enum class Kind : std::uint8_t {
  whole_number = 0x1,
  data = 0x4,
  ascii = 0x5,
  utf16 = 0x6,
  uid = 0x8,
  array = 0xA,
  dictionary = 0xD,
};

class Checker {
 public:
  explicit Checker(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  bool check() {
    if (!readTrailer()) return false;
    reached_.assign(object_count_, false);
    waiting_.push_back({top_object_, 1, false});
    while (!waiting_.empty()) {
      const Place place = waiting_.back();
      waiting_.pop_back();
      if (!checkObject(place)) return false;
    }
    return true;
  }

 private:
  // One occurrence of an object.
  struct Place {
    std::size_t object;
    unsigned depth;
    bool is_key;
  };

  [[nodiscard]] std::size_t number(std::size_t at, std::size_t size) const {
    std::size_t value = 0;
    for (std::size_t i = 0; i < size; ++i) value = value << 8U | bytes_[at + i];
    return value;
  }

  bool readTrailer() {
    if (bytes_.size() < format_mark.size() + trailer_size || bytes_.size() > largest_archive ||
        !std::equal(format_mark.begin(), format_mark.end(), bytes_.begin())) {
      return false;
    }
    const std::size_t trailer = bytes_.size() - trailer_size;
    offset_size_ = bytes_[trailer + offset_size_at];
    reference_size_ = bytes_[trailer + reference_size_at];
    object_count_ = number(trailer + object_count_at, 8);
    top_object_ = number(trailer + top_object_at, 8);
    table_offset_ = number(trailer + table_offset_at, 8);
    return offset_size_ >= 1 && offset_size_ <= longest_offset && reference_size_ >= 1 &&
           reference_size_ <= longest_offset && top_object_ < object_count_ &&
           table_offset_ > format_mark.size() && table_offset_ <= trailer &&
           object_count_ <= (trailer - table_offset_) / offset_size_;
  }

  // The count that follows the marker at `*at`, which is moved to the content.
  std::optional<std::size_t> readCount(std::size_t* at) const {
    const std::size_t low = bytes_[(*at)++] & 0x0FU;
    if (low != 0x0F) return low;
    if (*at >= table_offset_ || bytes_[*at] >> 4U != 0x1 || (bytes_[*at] & 0x0FU) > 3) return {};
    const std::size_t size = std::size_t{1} << (bytes_[(*at)++] & 0x0FU);
    if (size > table_offset_ - *at) return {};
    const std::size_t count = number(*at, size);
    *at += size;
    return count;
  }

  bool checkObject(const Place& place) {
    const std::size_t offset = number(table_offset_ + place.object * offset_size_, offset_size_);
    if (++nodes_ > most_nodes || place.depth > deepest_nesting || offset < format_mark.size() ||
        offset >= table_offset_) {
      return false;
    }
    const auto kind = static_cast<Kind>(bytes_[offset] >> 4U);
    const std::size_t low = bytes_[offset] & 0x0FU;
    if (place.is_key && kind != Kind::ascii && kind != Kind::utf16) return false;
    std::size_t at = offset;
    switch (kind) {
      case Kind::whole_number:
        return low <= 3 && std::size_t{1} << low <= table_offset_ - offset - 1;
      case Kind::uid:
        return (low == 0 || low == 1 || low == 3 || low == 7) &&
               low + 1 <= table_offset_ - offset - 1;
      case Kind::data:
      case Kind::ascii:
      case Kind::utf16: {
        const auto count = readCount(&at);
        const std::size_t unit = kind == Kind::utf16 ? 2 : 1;
        if (!count || *count > (table_offset_ - at) / unit) return false;
        content_ += *count * unit;
        if (content_ > most_content) return false;
        if (kind == Kind::ascii) return isAsciiText(bytes_.subspan(at, *count));
        return kind == Kind::data || isUtf16Text(at, *count);
      }
      case Kind::array:
      case Kind::dictionary:
        return checkContainer(place, at, kind == Kind::dictionary);
      default:
        return false;
    }
  }

  bool checkContainer(const Place& place, std::size_t at, bool is_dictionary) {
    if (reached_[place.object]) return false;
    reached_[place.object] = true;
    const auto count = readCount(&at);
    const std::size_t references = is_dictionary ? 2 : 1;
    if (!count || *count > (table_offset_ - at) / reference_size_ / references) return false;
    if (*count > most_nodes) return false;
    for (std::size_t i = 0; i < *count * references; ++i, at += reference_size_) {
      const std::size_t object = number(at, reference_size_);
      if (object >= object_count_) return false;
      waiting_.push_back({object, place.depth + 1, is_dictionary && i < *count});
    }
    return waiting_.size() <= 2 * most_nodes;
  }

  static bool isAsciiText(std::span<const std::uint8_t> text) {
    return std::all_of(text.begin(), text.end(),
                       [](std::uint8_t byte) { return byte != 0 && byte < 0x80; });
  }

  [[nodiscard]] bool isUtf16Text(std::size_t at, std::size_t count) const {
    bool expects_low = false;
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t unit = number(at + 2 * i, 2);
      const bool is_low = unit >= 0xDC00 && unit <= 0xDFFF;
      if (unit == 0 || is_low != expects_low) return false;
      expects_low = unit >= 0xD800 && unit <= 0xDBFF;
    }
    return !expects_low;
  }

  std::span<const std::uint8_t> bytes_;
  std::size_t offset_size_ = 0;
  std::size_t reference_size_ = 0;
  std::size_t object_count_ = 0;
  std::size_t top_object_ = 0;
  std::size_t table_offset_ = 0;
  std::size_t nodes_ = 0;
  std::size_t content_ = 0;
  std::vector<bool> reached_;
  std::vector<Place> waiting_;
};

}  // namespace

bool isSafePropertyList(std::span<const std::uint8_t> bytes) {
  return Checker(bytes).check();
}

}  // namespace talvane
