#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace talvane {

enum class BusState : std::uint8_t {
  answers,
  silent,  // something listens there, and says nothing
  unknown  // nothing listens, or the address is of another kind than a socket of this machine
};
/// Asks the bus at this D-Bus address for its authentication, for at most `patience`. An empty
/// address stands for the bus in XDG_RUNTIME_DIR.
BusState stateOfBus(const std::string& address, std::chrono::milliseconds patience);

/// Keeps a silent session bus from delaying the start. The toolkit calls it for accessibility, the
/// status area and the desktop's theme, and each call waits up to 25 seconds. Construct it before
/// the toolkit, and destroy it when the toolkit runs. With a silent bus the toolkit then works as
/// on a system without one; other parts of the program still find the bus in the environment.
class SilentBusGuard {
 public:
  explicit SilentBusGuard(std::chrono::milliseconds patience = std::chrono::milliseconds(1500));
  ~SilentBusGuard();
  SilentBusGuard(const SilentBusGuard&) = delete;
  SilentBusGuard& operator=(const SilentBusGuard&) = delete;

 private:
  struct Variable {
    std::string name;
    bool was_set = false;
    std::string value;
  };
  void set(const char* name, const char* value);

  std::vector<Variable> changed_;
};

}  // namespace talvane
