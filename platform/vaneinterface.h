#pragma once

#include <map>
#include <optional>
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
  /// What the last keychain call came to, and the text that says so.
  struct Outcome {
    KeychainStatus status = KeychainStatus::ok;
    std::string error = "OK";

    /// Whether the keychain answered, be it with a damaged item.
    [[nodiscard]] bool answered() const;
    /// `error` as a sentence of its own, without the leading "ERR ".
    [[nodiscard]] std::string words() const;
  };

  vaneinterface(KeychainService& keychain, DeviceIdentifiers& identifiers);

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

  /// Whether log lines go to the console too (standard error); on until switched off.
  void setConsole(bool on) { console_ = on; }

  /// What calls before this came to no longer counts: `lastSave` and `lastDelete` are "OK" until
  /// there is a new one.
  void forgetOutcomes();
  /// Whether there was a save since.
  [[nodiscard]] bool hasSaved() const { return has_saved_; }
  [[nodiscard]] const Outcome& lastLoad() const { return last_load_; }
  [[nodiscard]] const Outcome& lastSave() const { return last_save_; }
  /// Of a removal whose look-up failed, the failure, though the removal itself counts as done.
  [[nodiscard]] const Outcome& lastDelete() const { return last_delete_; }

 private:
  Outcome failure(KeychainStatus status);

  KeychainService& keychain_;
  DeviceIdentifiers& identifiers_;
  bool console_ = true;
  std::map<std::string, KeychainStatus> failed_loads_;  // by record, while its last load failed
  bool reading_slots_ = false;
  std::optional<std::uint32_t> identity_;  // of the reading
  bool in_trouble_ = false;
  bool has_saved_ = false;
  Outcome last_load_;
  Outcome last_save_;
  Outcome last_delete_;
};

}  // namespace talvane
