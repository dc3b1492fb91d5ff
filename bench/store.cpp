// Reading all tokens, as the program does, and one look-up after another beside it; 1, 8 and 32
// tokens, in the vault and in a Secret Service (GNOME Keyring on a private bus).

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <memory>

#include "engine/vane.h"
#include "platform/linux/vault/keychain.h"
#include "platform/vaneinterface.h"
#include "tests/secret_service/private_session.h"

namespace talvane {
namespace {

constexpr const char* seed = "GEZDGNBVGY3TQOJQ";

// A store of so many tokens in a keychain.
class FilledStore {
 public:
  FilledStore(KeychainService& keychain, std::int64_t count)
      : identifiers_(systemDeviceIdentifiers()), gateway_(keychain, *identifiers_) {
    gateway_.setConsole(false);
    vane::SetInterface(&gateway_);
    for (std::uint32_t slot = 0; slot < vane::max_tokens; ++slot) vane::DeleteToken(slot);
    for (std::int32_t slot = 0; slot < count; ++slot) {
      SoftTokenInfo token;
      token.description = "Token " + std::to_string(slot);
      token.seed32 = seed;
      std::int32_t index = slot;
      vane::WriteToken(&index, token);
    }
  }
  ~FilledStore() { vane::SetInterface(nullptr); }
  FilledStore(const FilledStore&) = delete;
  FilledStore& operator=(const FilledStore&) = delete;

 private:
  std::unique_ptr<DeviceIdentifiers> identifiers_;
  vaneinterface gateway_;
};

void readAll(benchmark::State& state, KeychainService& keychain) {
  const FilledStore store(keychain, state.range(0));
  for (auto _ : state) {
    vane::TokenArray tokens;
    if (vane::ReadAllTokens(tokens) != state.range(0)) state.SkipWithError("tokens are missing");
  }
  state.SetComplexityN(state.range(0));
}

void readOneByOne(benchmark::State& state, KeychainService& keychain) {
  const FilledStore store(keychain, state.range(0));
  for (auto _ : state) {
    std::unique_ptr<SoftTokenInfo> token;
    for (std::uint32_t slot = 0; vane::ReadToken(slot, &token);) ++slot;
  }
  state.SetComplexityN(state.range(0));
}

// Opens the keychain again for each reading, as a newly started program does.
template <typename Make>
void openAndReadAll(benchmark::State& state, Make make) {
  const auto first = make();
  const FilledStore store(*first, state.range(0));
  const auto identifiers = systemDeviceIdentifiers();
  for (auto _ : state) {
    const auto keychain = make();
    vaneinterface gateway(*keychain, *identifiers);
    gateway.setConsole(false);
    vane::SetInterface(&gateway);
    vane::TokenArray tokens;
    if (vane::ReadAllTokens(tokens) != state.range(0)) state.SkipWithError("tokens are missing");
    vane::SetInterface(nullptr);
  }
  state.SetComplexityN(state.range(0));
}

template <typename Make>
void registerFor(const std::string& name, KeychainService& keychain, Make make) {
  const auto add = [&](const std::string& kind, auto function) {
    benchmark::RegisterBenchmark((name + '/' + kind).c_str(), function)
        ->Arg(1)
        ->Arg(8)
        ->Arg(32)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
  };
  add("all", [&keychain](benchmark::State& state) { readAll(state, keychain); });
  add("one by one", [&keychain](benchmark::State& state) { readOneByOne(state, keychain); });
  add("open, all", [make](benchmark::State& state) { openAndReadAll(state, make); });
}

}  // namespace
}  // namespace talvane

int main(int argc, char** argv) {
  using namespace talvane;
  benchmark::Initialize(&argc, argv);
  testing::PrivateSession session;
  session.startBus();
  session.startDaemon("a password");
  const std::string folder = session.folder() / "vault";
  const auto make_vault = [folder] { return makeVaultKeychain(folder); };
  const auto vault = make_vault();
  const auto secret_service = testing::makeSecretServiceKeychain();
  registerFor("vault", *vault, make_vault);
  registerFor("secret service", *secret_service, testing::makeSecretServiceKeychain);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
