// Any text as an otpauth URL. What is accepted has a seed and a valid period, and NewToken stores
// it readably or says why not.

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "engine/text.h"
#include "engine/vane.h"
#include "tests/support/fake_gateway.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

void createAndReadBack(const talvane::SoftTokenInfo& token, talvane::test::FakeGateway& gateway) {
  std::optional<std::string> response;
  std::int32_t slot = 0;
  const auto error = talvane::vane::NewToken(token, &response, &slot, true);
  require(gateway.saves == 0);
  require(response.has_value() == (!error && talvane::utf16Length(token.seed32->get()) == 13));
  require(error.has_value() == talvane::vane::NewToken(token, &response, &slot, false).has_value());
  std::unique_ptr<talvane::SoftTokenInfo> stored;
  const bool readable = talvane::vane::ReadToken(0, &stored);
  require(readable == !gateway.records.empty());
  if (!readable) return;
  require(!error && slot == 0);
  require(stored->description == token.description && stored->period == token.period);
  require(stored->seed32->get().size() == 16);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  // Half of the texts begin as a URL that is read to its end.
  std::string url = data[0] % 2 == 0 ? "otpauth://totp/" : "";
  url.append(reinterpret_cast<const char*>(data + 1), size - 1);

  talvane::vane::SetInterface(nullptr);
  std::unique_ptr<talvane::SoftTokenInfo> token;
  const bool accepted = talvane::vane::ParseAuthUrl(url, &token);
  require(accepted == (token != nullptr));
  if (accepted) {
    require(token->description && token->seed32 && (token->period == 30 || token->period == 60));
    std::optional<std::string> response;
    talvane::vane::NewToken(*token, &response, nullptr, true);
  }

  talvane::test::FakeGateway gateway;
  gateway.listening = size % 8 == 0;  // log lines take most of the time
  gateway.identity = 12345;
  gateway.time = 1700000000;
  talvane::vane::SetInterface(&gateway);
  require(talvane::vane::ParseAuthUrl(url, &token) == accepted);
  if (accepted) createAndReadBack(*token, gateway);
  talvane::vane::SetInterface(nullptr);
  return 0;
}
