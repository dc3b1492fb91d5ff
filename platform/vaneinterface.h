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

namespace talvane {

/// The token engine's gateway to this system. Borrows the keychain and the identifiers.
///
/// A record is saved only when its last load, if there was one, found it or found that it is
/// missing: a keychain that was locked, hung or damaged a moment ago is not taken for empty and
/// written over.
class vaneinterface final : public Gateway {
 public:
  /// What a call of the keychain came to, with words for the user unless it was answered.
  struct Answer {
    KeychainStatus status = KeychainStatus::ok;
    std::string words;
  };

  /// Notes what the keychain says to the calls in its scope, and keeps them from saving over
  /// records that are there. One at a time.
  class Recording {
   public:
    explicit Recording(vaneinterface& gateway);
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    /// Lets the record of that name, and those named before, be saved over.
    void mayReplace(const std::string& name) { replaceable_.insert(name); }

    [[nodiscard]] const Answer& lastLoad() const { return last_load_; }
    [[nodiscard]] bool hasSaved() const { return has_saved_; }
    /// The first save or deletion that failed, be it in its look-up; nullopt: none.
    [[nodiscard]] const std::optional<Answer>& failedChange() const { return failed_change_; }
    /// A record was to be saved over one that was not to be replaced, and was not.
    [[nodiscard]] bool refused() const { return refused_; }

   private:
    friend class vaneinterface;
    void noteChange(const Answer& answer);

    vaneinterface& gateway_;
    std::set<std::string> replaceable_;
    Answer last_load_;
    std::optional<Answer> failed_change_;
    bool has_saved_ = false;
    bool refused_ = false;
  };

  /// Seconds since the Unix epoch.
  using Clock = std::function<std::int64_t()>;
  /// Without a clock, by the system's.
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
  /// Within a reading of slots it is worked out once.
  std::uint32_t GetDeviceId() override;

  bool wantsLog() override;
  /// Writes to the trace log and, unless switched off, to the system console.
  void log(std::string_view text) override;

  std::int64_t CurrentTime() override;

  /// Whether log lines go to the console too (standard error); on until switched off.
  void setConsole(bool on) { console_ = on; }

 private:
  Answer answer(KeychainStatus status);
  KeychainStatus save(const std::string& name, const Record& data);

  KeychainService& keychain_;
  DeviceIdentifiers& identifiers_;
  Clock clock_;
  bool console_ = true;
  std::map<std::string, KeychainStatus> failed_loads_;  // by record, while its last load failed
  bool in_trouble_ = false;
  int readings_ = 0;                       // begun and not ended
  std::optional<std::uint32_t> identity_;  // of the reading under way
  Recording* recording_ = nullptr;
};

}  // namespace talvane
