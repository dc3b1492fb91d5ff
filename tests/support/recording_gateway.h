#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/vaneinterface.h"

namespace talvane::test {

/// The real gateway with a log that is kept and a clock that can stand. Any thread may log.
class RecordingGateway final : public Gateway {
 public:
  explicit RecordingGateway(vaneinterface& real) : real_(real) {}

  std::optional<std::int64_t> time;
  bool listening = true;

  std::vector<std::string> lines() {
    const std::lock_guard guard(mutex_);
    return lines_;
  }
  /// Empties the log.
  std::vector<std::string> takeLines() {
    const std::lock_guard guard(mutex_);
    return std::exchange(lines_, {});
  }

  bool KeyChainSave(const std::string& name, const Record& data) override {
    return real_.KeyChainSave(name, data);
  }
  bool KeyChainLoad(const std::string& name, Record* data) override {
    return real_.KeyChainLoad(name, data);
  }
  bool KeyChainDelete(const std::string& name) override { return real_.KeyChainDelete(name); }
  bool inTrouble() override { return real_.inTrouble(); }
  void beginReadingSlots() override { real_.beginReadingSlots(); }
  void endReadingSlots() override { real_.endReadingSlots(); }
  std::string GetDeviceId_SN() override { return real_.GetDeviceId_SN(); }
  std::string GetDeviceId_HDSN() override { return real_.GetDeviceId_HDSN(); }
  std::string GetDeviceId_USER() override { return real_.GetDeviceId_USER(); }
  bool wantsLog() override { return listening; }
  void log(std::string_view text) override {
    const std::lock_guard guard(mutex_);
    lines_.emplace_back(text);
  }
  std::int64_t CurrentTime() override { return time ? *time : real_.CurrentTime(); }

 private:
  vaneinterface& real_;
  std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace talvane::test
