#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/gateway.h"
#include "engine/soft_token_info.h"
#include "engine/vane.h"
#include "tests/support/gateway_test.h"
#include "tests/support/vectors.h"

namespace talvane::test {

/// Log lines, or any list of texts.
struct Lines : std::vector<std::string> {
  using vector::vector;
  Lines(const vector& lines) : vector(lines) {}  // NOLINT(google-explicit-constructor)

  Lines& operator+=(const Lines& more) {
    insert(end(), more.begin(), more.end());
    return *this;
  }
};

inline std::string slotName(std::int64_t slot) {
  return "TalvaneSoftToken502" + std::to_string(slot);
}

inline SoftTokenInfo makeToken(std::string_view description, std::string_view seed,
                               std::int32_t period = 30) {
  SoftTokenInfo token;
  token.description = std::string(description);
  token.seed32 = Cleared<std::string>(std::string(seed));
  token.period = period;
  return token;
}

/// The identity for each key of the key table.
inline std::map<std::string, std::uint32_t> identitiesByKey() {
  std::map<std::string, std::uint32_t> identities;
  for (const auto& row : readVectors("device_key.tsv", 2, 47)) {
    identities[row[1]] = static_cast<std::uint32_t>(std::stoul(row[0]));
  }
  return identities;
}

inline std::string seedOf(const SoftTokenInfo& token) {
  return token.seed32 ? token.seed32->get() : "no seed";
}

/// The lines that begin with `prefix`.
inline Lines linesWith(const Lines& lines, std::string_view prefix) {
  Lines result;
  for (const std::string& line : lines) {
    if (line.starts_with(prefix)) result.push_back(line);
  }
  return result;
}

inline std::size_t countOf(const Lines& lines, std::string_view line) {
  std::size_t count = 0;
  for (const std::string& each : lines) {
    if (each == line) ++count;
  }
  return count;
}

/// Without the lines that tell where a sealed byte is zero; their place among the others is free.
inline Lines withoutZeroLines(const Lines& lines) {
  Lines result;
  for (const std::string& line : lines) {
    if (!line.starts_with("0 ")) result.push_back(line);
  }
  return result;
}

/// The engine with a gateway in memory; device identity 12345, whose key is
/// cea8c3e14d4946a808e1fb49c8a802e1, unless a test changes it.
class EngineTest : public GatewayTest {
 protected:
  EngineTest() : GatewayTest(12345) {}

  void setIdentity(std::uint32_t identity) {
    gateway.identity = identity;
    vane::SetInterface(&gateway);
  }

  /// Writes a token into a slot and fails the test where that fails.
  void store(std::int32_t slot, const SoftTokenInfo& token) {
    std::int32_t used = slot;
    ASSERT_TRUE(vane::WriteToken(&used, token));
    ASSERT_EQ(used, slot);
  }

  /// The creation names of slots 0 to 31 as they are read one by one, "" for an unreadable slot,
  /// without the unreadable ones at the end.
  Lines names() {
    Lines result;
    for (std::uint32_t slot = 0; slot < 32; ++slot) {
      std::unique_ptr<SoftTokenInfo> token;
      result.emplace_back();
      if (vane::ReadToken(slot, &token)) result.back() = token->originalDescription().value_or("");
    }
    while (!result.empty() && result.back().empty()) result.pop_back();
    return result;
  }
};

/// What the log says at each step with device identity 12345 and the seed JBSWY3DPEHPK3PXP or its
/// first 13 characters.
namespace lines {

inline Lines passcode(const std::string& seed, std::int64_t counter) {
  return {"  vane: gp: begin: \"" + seed + "\" " + std::to_string(counter)};
}

inline Lines seedHash(const std::string& seed, const std::string& full, const std::string& hash) {
  Lines lines{"  vane::GenerateSeedHash: begin: seed=" + seed + " c1=34608 c2=43875"};
  lines += passcode(full, 34608);
  lines += passcode(full, 43875);
  lines += Lines{"  vane::GenerateSeedHash: returning " + hash};
  return lines;
}

inline Lines expand13() {
  return {"  vane:     ExpandSeed: begin: root: JBSWY3DPEHPK3",
          "  vane:     ExpandSeed: suffix creation stage1",
          "  vane:     ExpandSeed:   CEA8C3E1",
          "  vane:     ExpandSeed:   4D4946A8",
          "  vane:     ExpandSeed:   8E1FB49",
          "  vane:     ExpandSeed:   C8A802E1",
          "  vane:     ExpandSeed: suffix creation stage2",
          "  vane:     ExpandSeed:    2115 9CBCE380 C0AA69A1 A9E72E91",
          "L :80A22981",
          "  vane:     ExpandSeed: L(20bits):22981",
          "  vane:     ExpandSeed: final seed: JBSWY3DPEHPKEKMB  length:16"};
}

inline Lines readBegin(std::int32_t slot) {
  return {"  vane::ReadToken: begin: index:" + std::to_string(slot),
          "  vane::ReadToken:   501 skipped (TARGET_OS_IPHONE false)",
          "  vane::ReadToken: key=" + slotName(slot)};
}

inline Lines readNothing(std::int32_t slot) {
  Lines lines = readBegin(slot);
  lines += Lines{"  vane::ReadToken:   502 not found"};
  return lines;
}

/// The stages of unsealing: bytes above 127 as Latin-1 characters.
inline Lines unseal16() {
  return {
      "  vane::ReadToken: AS1: e\u00e9\u0082\u00e1\u00a0\u00a2\u0088\u00a0\u0081e\u00a0\u00c8\u00a0"
      "\u00e2\u0083\u00c3",
      "  vane::ReadToken: AS2: 3WHSPXDPB3PEPYJK", "  vane::ReadToken: AS3: JBSWY3DPEHPK3PXP"};
}

inline Lines unseal13() {
  return {
      "  vane::ReadToken: AS1: \u00e1\u00e2\u00a0e\u00e9\u0088\u0082\u00a0e\u00c8\u00c3\u0083"
      "\u0081",
      "  vane::ReadToken: AS2: SYP3WDHP3EKJB", "  vane::ReadToken: AS3: JBSWY3DPEHPK3"};
}

inline Lines read16(std::int32_t slot, std::int32_t period = 30) {
  Lines lines = readBegin(slot);
  lines += Lines{"  vane::ReadToken:   period: " + std::to_string(period),
                 "  vane::ReadToken:   version 502 seed", "  vane::ReadToken:   got ek:12345"};
  lines += unseal16();
  lines += Lines{"  vane::ReadToken: hash: 2JOGR2BW"};
  lines += seedHash("JBSWY3DPEHPK3PXP", "JBSWY3DPEHPK3PXP", "2JOGR2BW");
  lines += Lines{"  vane::ReadToken: hash match ok", "  vane::ReadToken: end: returning YES"};
  return lines;
}

inline Lines read13(std::int32_t slot, std::int32_t period = 30) {
  Lines lines = readBegin(slot);
  lines += Lines{"  vane::ReadToken:   period: " + std::to_string(period),
                 "  vane::ReadToken:   version 502 seed", "  vane::ReadToken:   got ek:12345"};
  lines += unseal13();
  lines += Lines{"  vane::ReadToken: hash: OOWKG64M"};
  lines += seedHash("JBSWY3DPEHPK3", "JBSWY3DPEHPK3AAA", "OOWKG64M");
  lines += Lines{"  vane::ReadToken: hash match ok"};
  lines += expand13();
  lines += Lines{"  vane::ReadToken: end: returning YES"};
  return lines;
}

/// What WriteToken writes once it knows the slot.
inline Lines writeEnd() {
  return {"  vane::WriteToken:   ek:12345", "  vane::WriteToken:   adding to dictionary...",
          "  vane::WriteToken:   writing to keychain...", "  vane::WriteToken:     ok"};
}

/// Without the line about the zero byte: see withoutZeroLines.
inline Lines write16(std::int32_t slot) {
  Lines lines{"  vane::WriteToken: key: " + slotName(slot)};
  lines += seedHash("JBSWY3DPEHPK3PXP", "JBSWY3DPEHPK3PXP", "2JOGR2BW");
  lines += Lines{
      "  vane::WriteToken:   Hash: 2JOGR2BW", "  vane::WriteToken: AS1: 3WHSPXDPB3PEPYJK",
      "  vane::WriteToken: AS2: e\u00e9\u0082\u00e1\u00a0\u00a2\u0088\u00a0\u0081e\u00a0\u00c8"
      "\u00a0\u00e2\u0083\u00c3",
      // The fourth sealed byte is zero: it has a line of its own, and nothing after it prints.
      "  vane::WriteToken: AS3: \u00abAA"};
  lines += writeEnd();
  return lines;
}

inline Lines write13(std::int32_t slot) {
  Lines lines{"  vane::WriteToken: key: " + slotName(slot)};
  lines += seedHash("JBSWY3DPEHPK3", "JBSWY3DPEHPK3AAA", "OOWKG64M");
  lines += Lines{"  vane::WriteToken:   Hash: OOWKG64M", "  vane::WriteToken: AS1: SYP3WDHP3EKJB",
                 "  vane::WriteToken: AS2: \u00e1\u00e2\u00a0e\u00e9\u0088\u0082\u00a0e\u00c8\u00c3"
                 "\u0083\u0081",
                 "  vane::WriteToken: AS3: /Jc\u0084\u00a4\u00c1\u00c4\u0008m)8\u00caI"};
  lines += writeEnd();
  return lines;
}

}  // namespace lines

}  // namespace talvane::test
