#pragma once

#include <string>

#include "platform/device_identifiers.h"

namespace talvane::test {

class FakeDeviceIdentifiers final : public DeviceIdentifiers {
 public:
  std::string serial = "0123456789abcdef";
  std::string volume = "A0B1C2D3-0000-4000-8000-00000000FFFF";
  std::string account = "ada";
  std::string trouble;

  Identity read() override { return {serial, volume, account + " and more", account, trouble}; }
};

}  // namespace talvane::test
