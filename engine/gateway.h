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

/// The record's value for the key; null if there is none, or if it is of another type.
template <typename Value>
const Value* valueOf(const Record& record, std::string_view key) {
  const auto found = record.find(key);
  return found == record.end() ? nullptr : std::get_if<Value>(&found->second);
}

/// The token engine's only interface to the world. Calls come from the main thread, except
/// `wantsLog` and `log`.
class Gateway {
 public:
  virtual ~Gateway();

  /// Stores the record under `name` and replaces any record there. Returns false if nothing
  /// changed.
  virtual bool KeyChainSave(const std::string& name, const Record& data) = 0;
  /// Reads the record into `*data`. Returns false, and leaves `*data` unchanged, if there is none
  /// or it cannot be read.
  virtual bool KeyChainLoad(const std::string& name, Record* data) = 0;
  /// Removes the record. Returns true even if there was none.
  virtual bool KeyChainDelete(const std::string& name) = 0;

  /// Whether the keychain failed to answer the last of these calls, which was neither done nor
  /// found the record missing. KeyChainDelete returns true even then.
  virtual bool inTrouble();

  /// Enclose the loads of one reading of the store. Between the two the gateway may answer from one
  /// snapshot of the keychain, taken after beginReadingSlots. Calls come in pairs; a nested pair
  /// belongs to the outer reading.
  virtual void beginReadingSlots();
  virtual void endReadingSlots();

  /// The machine's serial number, the system volume's UUID, and the user's identity; empty if
  /// unavailable.
  virtual std::string GetDeviceId_SN() = 0;
  virtual std::string GetDeviceId_HDSN() = 0;
  virtual std::string GetDeviceId_USER() = 0;
  /// The device identity number of the three, 0 to 2^31 - 1; 0 when all are empty.
  virtual std::uint32_t GetDeviceId();

  /// Whether anyone would see a log line. Called before a line is formatted.
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

/// The device identity number of the three concatenated identifiers: 0 to 2^31 - 1.
std::uint32_t deviceIdentity(std::string_view identifiers);

}  // namespace talvane
