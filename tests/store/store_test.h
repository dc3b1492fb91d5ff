#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/token_store.h"
#include "tests/platform/fake_device_identifiers.h"
#include "tests/platform/faulty_keychain.h"
#include "tests/support/memory_user_defaults.h"
#include "tests/support/private_home.h"
#include "tests/support/recording_gateway.h"

namespace talvane::test {

using Next = Problem::Next;
using SameName = TokenStore::SameName;
using Names = std::vector<std::string>;
/// What the keychain holds, byte for byte, by slot.
using Items = std::map<std::string, Bytes>;

inline constexpr const char* seed_16 = "JBSWY3DPEHPK3PXP";
inline constexpr const char* other_seed_16 = "GEZDGNBVGY3TQOJQ";
inline constexpr const char* seed_13 = "MFRGGZDFMZTWQ";

/// The machine's serial number can be made unreadable for some of the questions for it.
class FlakyIdentifiers final : public DeviceIdentifiers {
 public:
  FakeDeviceIdentifiers sound;
  std::size_t questions = 0;
  std::size_t first_fault = 0;
  std::size_t end_of_faults = 0;

  Identity read() override {
    Identity identity = sound.read();
    const std::size_t number = questions++;
    if (number >= first_fault && number < end_of_faults) identity.serial_number.clear();
    return identity;
  }
};

class StoreTest : public testing::Test {
 protected:
  StoreTest() {
    gateway.setConsole(false);
    vane::SetInterface(&gateway);
  }
  ~StoreTest() override { vane::SetInterface(nullptr); }

  static SoftTokenInfo token(const std::string& description, const std::string& seed = seed_16) {
    SoftTokenInfo result;
    result.description = description;
    result.seed32 = Cleared<std::string>(seed);
    return result;
  }

  /// Puts tokens into the slots, of seeds of their own; an empty name leaves the slot empty.
  void fill(const Names& descriptions) {
    for (std::size_t i = 0; i < descriptions.size(); ++i) {
      // What was found damaged a moment ago is not written over.
      vane::ReadToken(static_cast<std::uint32_t>(i), nullptr);
      if (descriptions[i].empty()) continue;
      auto slot = static_cast<std::int32_t>(i);
      ASSERT_TRUE(vane::WriteToken(&slot, token(descriptions[i], seedOf(i))));
    }
    vane::SetInterface(&gateway);
  }
  static std::string seedOf(std::size_t i) {
    std::string seed = seed_16;
    seed[0] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567"[i];
    return seed;
  }

  /// What is in the slot can no longer be decoded.
  void damage(std::size_t slot) { item(slot) = Bytes{1, 2, 3}; }
  /// What is in the slot was stored on another computer.
  void makeForeign(std::size_t slot) {
    vane::SetInterface(&gateway);
    std::unique_ptr<SoftTokenInfo> stored;
    ASSERT_TRUE(vane::ReadToken(static_cast<std::uint32_t>(slot), &stored));
    const std::string serial = std::exchange(identifiers.sound.serial, "of another machine");
    auto index = static_cast<std::int32_t>(slot);
    vane::SetInterface(&gateway);
    ASSERT_TRUE(vane::WriteToken(&index, *stored));
    identifiers.sound.serial = serial;
    vane::SetInterface(&gateway);
  }
  SecretBytes& item(std::size_t slot) {
    return keychain.memory.items[{"TalvaneSoftToken502" + std::to_string(slot), "ada"}];
  }

  Items items() const {
    Items result;
    for (const auto& [name, secret] : keychain.memory.items) result[name.first] = secret.get();
    return result;
  }

  /// The descriptions of the tokens that can be read.
  Names names() {
    vane::SetInterface(&gateway);
    vane::TokenArray tokens;
    Names result;
    const auto count = static_cast<std::size_t>(vane::ReadAllTokens(tokens));
    for (std::size_t i = 0; i < count; ++i) result.push_back(tokens[i]->description.value_or(""));
    return result;
  }

  StoredTokens read() {
    auto tokens = store.read();
    EXPECT_TRUE(tokens.has_value());
    return tokens ? std::move(*tokens) : StoredTokens();
  }

  static TokenStore::Selection selection(std::initializer_list<std::size_t> slots) {
    TokenStore::Selection result{};
    for (const std::size_t slot : slots) result[slot] = 1;
    return result;
  }

  /// The operation is refused so, and what is stored stays as it is, byte for byte.
  template <typename Operation>
  void expectRefused(Operation operation, Next next, std::string_view words) {
    const Items before = items();
    const auto result = operation();
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(static_cast<int>(result.error().next), static_cast<int>(next))
        << result.error().words;
    EXPECT_NE(result.error().words.find(words), std::string::npos) << result.error().words;
    EXPECT_EQ(items(), before);
  }

  /// Repeats the change as often as it calls the keychain, and each time fails another of the
  /// calls. `check` gets the change's result and what was stored before it.
  template <typename Change, typename Check>
  void failEachCall(Change change, Check check) {
    keychain.undoes = true;
    const auto before = keychain.memory.items;
    keychain.calls = 0;
    ASSERT_TRUE(change().has_value());
    const std::size_t calls = keychain.calls;
    ASSERT_GT(calls, 0U);
    for (std::size_t failing = 0; failing < calls; ++failing) {
      SCOPED_TRACE("call " + std::to_string(failing));
      keychain.memory.items = before;
      const Items kept = items();
      keychain.calls = 0;
      keychain.fault = [failing](FaultyKeychain::Call, std::size_t call) {
        return call == failing ? KeychainStatus::io_error : KeychainStatus::ok;
      };
      const auto result = change();
      keychain.fault = nullptr;
      check(result, kept);
      read();  // as the gateway writes nothing over what it could not read
    }
  }

  /// Repeats the change as often as it asks for the identity, and each time leaves another of the
  /// questions without an answer. `check` gets the change's result.
  template <typename Change, typename Check>
  void failEachQuestion(Change change, Check check) {
    const auto before = keychain.memory.items;
    identifiers.questions = 0;
    ASSERT_TRUE(change().has_value());
    const std::size_t questions = identifiers.questions;
    ASSERT_GT(questions, 0U);
    for (std::size_t fault = 0; fault < questions; ++fault) {
      SCOPED_TRACE("question " + std::to_string(fault));
      keychain.memory.items = before;
      identifiers.questions = 0;
      identifiers.first_fault = fault;
      identifiers.end_of_faults = fault + 1;
      const auto result = change();
      identifiers.end_of_faults = 0;
      check(result);
    }
  }

  PrivateHome home;
  FaultyKeychain keychain;
  FlakyIdentifiers identifiers;
  vaneinterface gateway{keychain, identifiers};
  MemoryUserDefaults defaults;
  TokenStore store{gateway, keychain, &defaults, std::chrono::milliseconds(20)};
};

}  // namespace talvane::test
