#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace talvane {

using Bytes = std::vector<std::uint8_t>;

/// One value of a keychain record: text (UTF-8), bytes, or a whole number.
using RecordValue = std::variant<std::string, Bytes, std::int64_t>;

/// One keychain record, by key.
using Record = std::map<std::string, RecordValue, std::less<>>;

/// The token engine's one way to the world. Calls come from the main thread only, but for
/// `wantsLog` and `log`.
class Gateway {
 public:
  virtual ~Gateway();

  /// Stores the record under `name`, replacing the one there. false: nothing was changed.
  virtual bool KeyChainSave(const std::string& name, const Record& data) = 0;
  /// true: `*data` is the record. false: none there, or it cannot be read; `*data` is untouched.
  virtual bool KeyChainLoad(const std::string& name, Record* data) = 0;
  /// Removes the record; true also when there was none.
  virtual bool KeyChainDelete(const std::string& name) = 0;

  /// Whether the last of these calls met a keychain that did not answer: neither done, nor
  /// found to be missing. Removing says true even then.
  virtual bool inTrouble();

  /// Brackets loads that belong to one reading of the store. Between the two the gateway may answer
  /// from one look at the keychain, taken after the begin. Calls pair up; a pair within another
  /// belongs to the outer one's reading.
  virtual void beginReadingSlots();
  virtual void endReadingSlots();

  /// The machine's serial number, the system volume's UUID and the user's identity; an unavailable
  /// one is empty.
  virtual std::string GetDeviceId_SN() = 0;
  virtual std::string GetDeviceId_HDSN() = 0;
  virtual std::string GetDeviceId_USER() = 0;
  /// The device identity number of the three, 0 to 2^31 - 1; 0 when all are empty.
  virtual std::uint32_t GetDeviceId();

  /// Whether anyone would see a log line; asked before a line is formatted.
  virtual bool wantsLog() = 0;
  virtual void log(std::string_view text) = 0;

  /// Seconds since the Unix epoch, by the wall clock.
  virtual std::int64_t CurrentTime();
};

/// Keeps a reading of the store open for the length of a scope.
class SlotReading {
 public:
  explicit SlotReading(Gateway* gateway);
  ~SlotReading();
  SlotReading(const SlotReading&) = delete;
  SlotReading& operator=(const SlotReading&) = delete;

 private:
  Gateway* gateway_;
};

/// The device identity number of the three identifiers run together: 0 to 2^31 - 1.
std::uint32_t deviceIdentity(std::string_view identifiers);

}  // namespace talvane
