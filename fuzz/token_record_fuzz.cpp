// Any bytes as a token record, and any text as a seed to store. What reads has a full seed.

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "engine/base32.h"
#include "engine/vane.h"
#include "tests/support/fake_gateway.h"

namespace {

constexpr const char* first_slot = "TalvaneSoftToken5020";

void require(bool condition) {
  if (!condition) std::abort();
}

// A value of a type that the low bits choose; nothing for the rest of them.
void put(talvane::Record& record, const char* key, unsigned type, const talvane::Bytes& bytes) {
  switch (type % 4) {
    case 0:
      record[key] = bytes;
      break;
    case 1:
      record[key] = std::string(bytes.begin(), bytes.end());
      break;
    case 2: {
      std::uint64_t number = 0;
      for (const std::uint8_t byte : bytes) number = number << 8U | byte;
      record[key] = static_cast<std::int64_t>(number);
      break;
    }
    default:
      break;
  }
}

void readFirstSlot() {
  talvane::vane::TokenArray tokens;
  const auto count = talvane::vane::ReadAllTokens(tokens);
  require(count == (tokens[0] != nullptr ? 1 : 0));
  if (count == 0) return;
  const talvane::SoftTokenInfo& token = *tokens[0];
  require(token.seed32->get().size() == 16 && token.period > 0);
  require(talvane::base32_decode(token.seed32->get(), {}).has_value());
  require(talvane::vane::GeneratePasscode(token.seed32->get(), token.counterAt(1)).has_value());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return 0;
  const unsigned kind = data[0];
  const unsigned types = data[1];
  const talvane::Bytes bytes(data + 2, data + size);

  talvane::test::FakeGateway gateway;
  gateway.listening = size % 8 == 0;  // log lines take most of the time
  gateway.identity = (kind & 0x70U) == 0 ? 0 : kind << 20U;
  talvane::vane::SetInterface(&gateway);
  talvane::Record record;
  if (kind % 2 == 0) {
    record["seed32"] = bytes;
  } else {
    talvane::SoftTokenInfo token;
    token.seed32 = talvane::Cleared<std::string>(std::string(bytes.begin(), bytes.end()));
    std::int32_t slot = 0;
    const bool written = talvane::vane::WriteToken(&slot, token);
    require(written == gateway.records.contains(first_slot));
    if (written) record = gateway.records[first_slot];
    readFirstSlot();
  }
  put(record, "desc", types, bytes);
  put(record, "period", types >> 2U, bytes);
  put(record, "ek", types >> 4U, bytes);
  if (kind % 8 == 7) put(record, "seed32", types >> 6U, bytes);
  gateway.records[first_slot] = record;
  readFirstSlot();
  talvane::vane::SetInterface(nullptr);
  return 0;
}
