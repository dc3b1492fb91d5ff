#include "tests/cli/planted_token.h"

#include <gtest/gtest.h>

#include <memory>

#include "engine/soft_token_info.h"
#include "engine/vane.h"
#include "platform/device_identifiers.h"
#include "platform/linux/vault/keychain.h"
#include "platform/vaneinterface.h"

namespace talvane::test {
namespace {

class OtherComputer final : public DeviceIdentifiers {
 public:
  Identity read() override {
    Identity identity = here_->read();
    identity.serial_number = "of another computer";
    return identity;
  }

 private:
  std::unique_ptr<DeviceIdentifiers> here_ = systemDeviceIdentifiers();
};

void plant(const std::string& data_folder, const std::string& name, std::int32_t slot,
           DeviceIdentifiers& identifiers) {
  const auto vault = makeVaultKeychain(data_folder);
  vaneinterface gateway(*vault, identifiers);
  gateway.setConsole(false);
  vane::SetInterface(&gateway);
  SoftTokenInfo token;
  token.description = name;
  token.seed32 = Cleared<std::string>("JBSWY3DPEHPK3PXP");
  EXPECT_TRUE(vane::WriteToken(&slot, token));
  vane::SetInterface(nullptr);
}

}  // namespace

void plantToken(const std::string& data_folder, const std::string& name, std::int32_t slot) {
  plant(data_folder, name, slot, *systemDeviceIdentifiers());
}

void plantForeignToken(const std::string& data_folder, const std::string& name, std::int32_t slot) {
  OtherComputer identifiers;
  plant(data_folder, name, slot, identifiers);
}

}  // namespace talvane::test
