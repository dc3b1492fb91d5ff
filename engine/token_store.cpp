#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "engine/base32.h"
#include "engine/gateway.h"
#include "engine/sealed_seed.h"
#include "engine/seed_text.h"
#include "engine/soft_token_info.h"
#include "engine/text.h"
#include "engine/vane.h"

namespace talvane {
namespace {

constexpr std::size_t key_size = 16;
constexpr std::size_t short_record = 13 + seed_hash_length;
constexpr std::size_t long_record = 16 + seed_hash_length;

std::string_view asText(const Bytes& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// A copy, as the engine's buffer changes with the next look at the key.
std::array<std::uint8_t, key_size> currentKey() {
  std::array<std::uint8_t, key_size> key{};
  std::copy_n(vane::GetKey(), key.size(), key.begin());
  return key;
}

void logWriteBegin(std::int32_t index, const SoftTokenInfo& token) {
  vane::log("  vane::WriteToken: begin: index:{}  desc:{} | {}", index,
            orNil(token.originalDescription()), orNil(token.currentDescription()));
}

std::optional<std::string> seedHash(std::string_view seed, std::span<const std::uint8_t> key) {
  return vane::GenerateSeedHash(seed, key[0] * key[1], key[2] * key[3]);
}

}  // namespace

std::string vane::recordName(std::uint32_t index) {
  return fmt::format("TalvaneSoftToken502{}", static_cast<std::int32_t>(index));
}

bool vane::readRecord(const Record& record, SoftTokenInfo* token) {
  if (const auto* description = valueOf<std::string>(record, "desc")) {
    token->description = *description;
  }
  const auto* period = valueOf<std::int64_t>(record, "period");
  // A period is a divisor: one that cannot be is as good as none.
  if (period != nullptr && *period > 0 && *period <= INT32_MAX) {
    token->period = static_cast<std::int32_t>(*period);
    log("  vane::ReadToken:   period: {}", token->period);
  } else {
    log("  vane::ReadToken:   no period, using 30");
  }
  log("  vane::ReadToken:   version 502 seed");
  const auto* sealed = valueOf<Bytes>(record, "seed32");
  if (sealed == nullptr || (sealed->size() != short_record && sealed->size() != long_record)) {
    log("  vane::ReadToken:   bad length");
    return false;
  }
  if (const auto* ek = valueOf<std::int64_t>(record, "ek")) {
    token->ek = static_cast<std::uint32_t>(*ek);
    log("  vane::ReadToken:   got ek:{}", token->ek);
  } else {
    log("  vane::ReadToken:   no ek");
  }

  const auto key = currentKey();
  const UnsealedSeed unsealed = unsealSeed(*sealed, key);
  log("  vane::ReadToken: AS1: {}", printableBytes(asText(unsealed.unmasked)));
  log("  vane::ReadToken: AS2: {}", printableBytes(asText(unsealed.bits_restored)));
  log("  vane::ReadToken: AS3: {}", printableBytes(unsealed.seed.get()));

  const std::string& seed = unsealed.seed;
  const bool is_root = sealed->size() == short_record;
  if (!base32_decode(paddedSeed(seed).get(), {})) {
    log("  vane::ReadToken: base32 decode failed");
    return false;
  }
  log("  vane::ReadToken: hash: {}", printableBytes(unsealed.hash));
  token->seed32 = seed;
  const auto hash = seedHash(seed, key);
  if (!hash) {
    log("  vane::ReadToken: hash generation failed");
    return false;
  }
  if (*hash != unsealed.hash) {
    log("  vane::ReadToken: hash match failed");
    return false;
  }
  log("  vane::ReadToken: hash match ok");
  if (is_root) token->seed32 = ExpandSeed(*token, nullptr);
  return token->seed32.has_value();
}

bool vane::ReadToken(std::uint32_t index, std::unique_ptr<SoftTokenInfo>* token) {
  if (token != nullptr) token->reset();
  log("  vane::ReadToken: begin: index:{}", static_cast<std::int32_t>(index));
  log("  vane::ReadToken:   501 skipped (TARGET_OS_IPHONE false)");
  const std::string name = recordName(index);
  log("  vane::ReadToken: key={}", name);
  Record record;
  if (gateway_ == nullptr || !gateway_->KeyChainLoad(name, &record)) {
    log("  vane::ReadToken:   502 not found");
    clearIdentityCache();
    return false;
  }
  if (token != nullptr) {
    auto loaded = std::make_unique<SoftTokenInfo>();
    if (!readRecord(record, loaded.get())) {
      log("  vane::ReadToken: seed32 Nil: releasing token, returning Nil");
      clearIdentityCache();
      return false;
    }
    *token = std::move(loaded);
  }
  log("  vane::ReadToken: end: returning YES");
  clearIdentityCache();
  return true;
}

std::int32_t vane::ReadAllTokens(TokenArray& tokens) {
  const SlotReading reading(gateway_);
  std::int32_t count = 0;
  while (count < max_tokens &&
         ReadToken(static_cast<std::uint32_t>(count), &tokens[static_cast<std::size_t>(count)])) {
    ++count;
  }
  return count;
}

std::int32_t vane::slotOfSameName(const SoftTokenInfo& token) {
  const SlotReading reading(gateway_);
  for (std::int32_t i = 0; i < max_tokens; ++i) {
    log("  vane::WriteToken: [-2] reading index: {}", i);
    std::unique_ptr<SoftTokenInfo> stored;
    if (!ReadToken(static_cast<std::uint32_t>(i), &stored)) break;
    const auto name = stored->originalDescription();
    log("  vane::WriteToken: [-2] comparing with {}: ", orNil(name));
    if (name == token.originalDescription()) {
      log("  vane::WriteToken: [-2] original desc match at index:{}", i);
      return i;
    }
  }
  log("  vane::WriteToken: [-2] matching desc not found");
  return first_free_slot;
}

std::int32_t vane::firstFreeSlot() {
  const SlotReading reading(gateway_);
  for (std::int32_t i = 0; i < max_tokens; ++i) {
    std::unique_ptr<SoftTokenInfo> stored;
    if (!ReadToken(static_cast<std::uint32_t>(i), &stored)) {
      log("  vaneWriteToken: index: {}", i);
      return i;
    }
  }
  return max_tokens;
}

bool vane::WriteToken(std::int32_t* index, const SoftTokenInfo& token) {
  logWriteBegin(*index, token);
  if (*index == slot_of_same_name) *index = slotOfSameName(token);
  if (*index == first_free_slot) {
    *index = firstFreeSlot();
    if (*index == max_tokens) return false;
  }
  return saveToken(*index, token) != Saved::no_hash;
}

vane::Saved vane::saveToken(std::int32_t index, const SoftTokenInfo& token) {
  const std::string name = recordName(static_cast<std::uint32_t>(index));
  log("  vane::WriteToken: key: {}", name);
  const auto key = currentKey();
  const auto hash = seedHash(token.seed32 ? std::string_view(token.seed32->get()) : nil_text, key);
  if (!hash) {
    log("  vane::WriteToken:   GenerateSeedHash failed");
    return Saved::no_hash;
  }
  log("  vane::WriteToken:   Hash: {}", *hash);

  const std::string& seed = token.seed32->get();
  SealedSeed sealed = sealSeed(seed, *hash, key);
  log("  vane::WriteToken: AS1: {}", printableBytes(asText(sealed.shuffled)));
  log("  vane::WriteToken: AS2: {}", printableBytes(asText(sealed.bit_shuffled)));
  log("  vane::WriteToken: AS3: {}", printableBytes(asText(sealed.sealed).substr(0, seed.size())));
  for (std::size_t j = 0; j < seed.size(); ++j) {
    if (sealed.sealed[j] == 0) log("0 {}", j);
  }

  const std::uint32_t ek = token.ek != 0 ? token.ek : deviceId();
  log("  vane::WriteToken:   ek:{}", ek);
  log("  vane::WriteToken:   adding to dictionary...");
  Record record;
  if (token.description) record["desc"] = *token.description;
  record["seed32"] = std::move(sealed.sealed);
  record["ek"] = std::int64_t{ek};
  record["period"] = std::int64_t{token.period};
  log("  vane::WriteToken:   writing to keychain...");
  const bool saved = gateway_ != nullptr && gateway_->KeyChainSave(name, record);
  log("  vane::WriteToken:     ok");
  return saved ? Saved::yes : Saved::refused;
}

bool vane::inTrouble() {
  return gateway_ != nullptr && gateway_->inTrouble();
}

void vane::DeleteToken(std::uint32_t index) {
  log("  vane::DeleteToken: index: {}", static_cast<std::int32_t>(index));
  if (index >= static_cast<std::uint32_t>(max_tokens)) {
    log("  vane::DeleteToken: bad index");
    return;
  }
  const std::string name = recordName(index);
  log("  vane::DeleteToken: key: {}", name);
  if (gateway_ != nullptr) gateway_->KeyChainDelete(name);
}

void vane::DeleteTokens(std::span<const std::uint8_t, max_tokens> selected) {
  std::int32_t ti = 0;  // where the token shown at position i lives now
  for (std::int32_t i = 0; i < max_tokens; ++i) {
    log("  vane::DeleteTokens: start of loop i:{} ti:{}\n ==================", i, ti);
    if (selected[static_cast<std::size_t>(i)] == 0) {
      ++ti;
      continue;
    }
    log(" vane::DeleteTokens: i:{} is selected", i);
    DeleteToken(static_cast<std::uint32_t>(ti));
    // From here on the positions count on its being gone.
    if (inTrouble()) return;
    log(" vane::DeleteTokens: shifting subsequent tokens down...");
    for (std::int32_t j = ti + 1; j < max_tokens; ++j) {
      std::unique_ptr<SoftTokenInfo> token;
      if (!ReadToken(static_cast<std::uint32_t>(j), &token)) {
        if (inTrouble()) return;
        continue;
      }
      logWriteBegin(j - 1, *token);
      // The old slot is given up only for a token that stands in the new one; nor may the next
      // token be written over one that stayed.
      if (saveToken(j - 1, *token) != Saved::yes) return;
      DeleteToken(static_cast<std::uint32_t>(j));
      if (inTrouble()) return;
    }
    log("question: trash: shifting done");
  }
}

}  // namespace talvane
