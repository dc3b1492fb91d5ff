#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

#include "engine/vane.h"
#include "tests/support/fake_gateway.h"

namespace talvane::test {

/// What stands on the token engine, with a gateway in memory.
class GatewayTest : public testing::Test {
 protected:
  /// With the identity of the device, or else that of one without identifiers.
  explicit GatewayTest(std::optional<std::uint32_t> identity = std::nullopt) {
    gateway.identity = identity;
    vane::SetInterface(&gateway);
  }
  ~GatewayTest() override { vane::SetInterface(nullptr); }

  void TearDown() override {
    EXPECT_FALSE(gateway.reading_misused);
    EXPECT_FALSE(gateway.reading());
  }

  FakeGateway gateway;
};

}  // namespace talvane::test
