#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "engine/gateway.h"
#include "platform/device_identifiers.h"
#include "platform/keychain_service.h"
#include "platform/translation.h"

namespace talvane {

/// The token engine's gateway to this system. Borrows the keychain and the identifiers.
///
/// Saves a record only if its last load, if any, found the record or found that it is missing. So
/// it never treats a locked, hung or damaged keychain as empty and overwrites it. While one of the
/// identifiers cannot be read, it loads, saves and deletes nothing: every call fails with
/// not_available.
class vaneinterface final : public Gateway {
 public:
  /// The result of a keychain call, with words for the user if the keychain did not answer it.
  struct Answer {
    KeychainStatus status = KeychainStatus::ok;
    Words words;
  };

  /// Records the results of the keychain calls in its scope, and stops them from overwriting
  /// existing records. Reads the identifiers when it begins: the scope has one identity. One at a
  /// time.
  class Recording {
   public:
    explicit Recording(vaneinterface& gateway);
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    /// Allows overwriting the record of this name; adds to earlier names.
    void mayReplace(const std::string& name) { replaceable_.insert(name); }

    [[nodiscard]] const Answer& lastLoad() const { return last_load_; }
    /// The texts that the record of the last load was stored under; of another type or missing: "".
    [[nodiscard]] const Identity& storedUnder() const { return stored_under_; }
    [[nodiscard]] const Identity& identity() const { return identity_; }
    /// Whether the identifiers still are what they were at the beginning.
    [[nodiscard]] bool hasSameIdentity() const;
    [[nodiscard]] bool hasSaved() const { return has_saved_; }
    /// The first save or deletion that failed, lookup included; nullopt if none did.
    [[nodiscard]] const std::optional<Answer>& failedChange() const { return failed_change_; }
    /// Whether it stopped a save that would have overwritten a protected record.
    [[nodiscard]] bool refused() const { return refused_; }

   private:
    friend class vaneinterface;
    void noteChange(const Answer& answer);

    vaneinterface& gateway_;
    const Identity identity_;
    std::set<std::string> replaceable_;
    Answer last_load_;
    Identity stored_under_;
    std::optional<Answer> failed_change_;
    bool has_saved_ = false;
    bool refused_ = false;
  };

  /// Seconds since the Unix epoch.
  using Clock = std::function<std::int64_t()>;
  /// Without a clock it uses the system's.
  vaneinterface(KeychainService& keychain, DeviceIdentifiers& identifiers, Clock clock = {});

  /// Adds the three device identifiers to the stored record, as "fpsn", "fphd" and "fpus".
  bool KeyChainSave(const std::string& name, const Record& data) override;
  bool KeyChainLoad(const std::string& name, Record* data) override;
  bool KeyChainDelete(const std::string& name) override;
  bool inTrouble() override { return in_trouble_; }
  void beginReadingSlots() override;
  void endReadingSlots() override;

  std::string GetDeviceId_SN() override;
  std::string GetDeviceId_HDSN() override;
  std::string GetDeviceId_USER() override;
  /// Computed once per reading of slots.
  std::uint32_t GetDeviceId() override;

  bool wantsLog() override;
  /// Writes to the trace log and, unless switched off, to the console.
  void log(std::string_view text) override;

  std::int64_t CurrentTime() override;

  /// Whether log lines go to the console too (standard error); on until switched off.
  void setConsole(bool on) { console_ = on; }

 private:
  const Identity& identity();
  Answer answer(KeychainStatus status);
  KeychainStatus save(const std::string& name, const Record& data);

  KeychainService& keychain_;
  DeviceIdentifiers& identifiers_;
  Clock clock_;
  bool console_ = true;
  std::map<std::string, KeychainStatus>
      failed_loads_;  // by record, as long as its last load failed
  bool in_trouble_ = false;
  int readings_ = 0;                             // begun and not ended
  Identity moment_identity_;                     // outside a recording and a reading
  std::optional<Identity> reading_identity_;     // of the reading under way
  std::optional<std::uint32_t> reading_number_;  // made of it
  Recording* recording_ = nullptr;
};

}  // namespace talvane
