#include "platform/linux/secret_service/text.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "engine/cleared.h"
#include "engine/gateway.h"
#include "platform/keychain_service.h"

namespace talvane::secret_service {
namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t no_digit = 255;

constexpr std::array<std::uint8_t, 256> makeDigits() {
  std::array<std::uint8_t, 256> digits{};
  for (auto& digit : digits) digit = no_digit;
  for (std::size_t i = 0; i < alphabet.size(); ++i) {
    digits[static_cast<std::uint8_t>(alphabet[i])] = static_cast<std::uint8_t>(i);
  }
  return digits;
}

constexpr std::array<std::uint8_t, 256> digits = makeDigits();

}  // namespace

Cleared<std::string> secretText(const SecretBytes& secret) {
  const Bytes& bytes = secret.get();
  Cleared<std::string> result;
  std::string& text = result.mutableValue();
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t count = bytes.size() - i < 3 ? bytes.size() - i : 3;
    std::uint32_t group = 0;
    for (std::size_t j = 0; j < 3; ++j) group = group << 8 | (j < count ? bytes[i + j] : 0U);
    for (std::size_t j = 0; j < 4; ++j) {
      text.push_back(j <= count ? alphabet[group >> (18 - 6 * j) & 63] : '=');
    }
  }
  return result;
}

bool readSecretText(std::string_view text, SecretBytes* secret) {
  text.remove_suffix(text.size() - (text.find_last_not_of(" \t\r\n") + 1));
  if (text.size() % 4 != 0) return false;
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
  text.remove_suffix(padding);

  SecretBytes result;
  Bytes& bytes = result.mutableValue();
  bytes.reserve(text.size() / 4 * 3 + 2);
  std::uint32_t group = 0;
  unsigned bits = 0;
  for (const char character : text) {
    const std::uint8_t digit = digits[static_cast<std::uint8_t>(character)];
    if (digit == no_digit) return false;
    group = group << 6 | digit;
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      bytes.push_back(static_cast<std::uint8_t>(group >> bits & 255));
    }
  }
  // An encoder sets the bits that the padding cuts off to zero.
  if ((group & ((1U << bits) - 1)) != 0) return false;
  *secret = std::move(result);
  return true;
}

}  // namespace talvane::secret_service
