#pragma once

#include <cstdint>
#include <string>

namespace talvane::test {

/// Puts a token into a slot of the vault in this folder, also of a name that adding would refuse.
void plantToken(const std::string& data_folder, const std::string& name, std::int32_t slot);
/// The same as another computer does it, which this one cannot read.
void plantForeignToken(const std::string& data_folder, const std::string& name, std::int32_t slot);

}  // namespace talvane::test
