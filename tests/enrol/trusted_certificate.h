#pragma once

#include <string>

namespace talvane::test {

/// Path of the one certificate that requests of this process trust; empty: the system's own. Set it
/// while no request is under way.
void trustCertificate(const std::string& path);

}  // namespace talvane::test
