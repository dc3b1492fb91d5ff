#pragma once

// A gateway in memory for tests of the token engine.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/gateway.h"

namespace talvane::test {

class FakeGateway : public Gateway {
 public:
  /// The keychain. Tests fill it and look at it directly.
  std::map<std::string, Record> records;

  std::string serial;
  std::string volume;
  std::string user;
  /// Stands for the number made of the three texts above while it is set.
  std::optional<std::uint32_t> identity;

  std::int64_t time = 0;

  /// Whether log lines are wanted; `lines` holds what came.
  bool listening = true;
  std::vector<std::string> lines;

  /// Asked with the record's name; true makes the operation fail without an effect.
  std::function<bool(const std::string&)> refuse_save;
  std::function<bool(const std::string&)> refuse_load;
  /// The answer of inTrouble.
  bool in_trouble = false;

  /// Answers loads between beginReadingSlots and endReadingSlots from the records as they were at
  /// the begin, as a gateway may that looks at the keychain once.
  bool reads_in_one_look = false;

  std::size_t loads = 0;
  std::size_t saves = 0;
  std::size_t deletes = 0;
  std::size_t identity_requests = 0;
  std::size_t log_calls = 0;
  std::size_t readings = 0;
  /// Set when a reading of slots began inside another, ended without a begin, or saw a change made
  /// before it ended.
  bool reading_misused = false;
  /// Saves and deletes in order, as "save NAME", "refused NAME" and "delete NAME".
  std::vector<std::string> changes;

  [[nodiscard]] bool reading() const { return reading_; }

  bool KeyChainSave(const std::string& name, const Record& data) override {
    ++saves;
    noteChange();
    if (refuse_save && refuse_save(name)) {
      changes.push_back("refused " + name);
      return false;
    }
    changes.push_back("save " + name);
    records[name] = data;
    return true;
  }

  bool KeyChainLoad(const std::string& name, Record* data) override {
    ++loads;
    if (refuse_load && refuse_load(name)) return false;
    const auto& source = reading_ && reads_in_one_look ? one_look_ : records;
    const auto found = source.find(name);
    if (found == source.end()) return false;
    *data = found->second;
    return true;
  }

  bool KeyChainDelete(const std::string& name) override {
    ++deletes;
    noteChange();
    changes.push_back("delete " + name);
    records.erase(name);
    return true;
  }

  void beginReadingSlots() override {
    if (reading_) reading_misused = true;
    reading_ = true;
    ++readings;
    one_look_ = records;
  }

  void endReadingSlots() override {
    if (!reading_) reading_misused = true;
    reading_ = false;
  }

  bool inTrouble() override { return in_trouble; }

  std::string GetDeviceId_SN() override { return serial; }
  std::string GetDeviceId_HDSN() override { return volume; }
  std::string GetDeviceId_USER() override { return user; }

  std::uint32_t GetDeviceId() override {
    ++identity_requests;
    return identity ? *identity : Gateway::GetDeviceId();
  }

  bool wantsLog() override { return listening; }

  void log(std::string_view text) override {
    ++log_calls;
    lines.emplace_back(text);
  }

  std::int64_t CurrentTime() override { return time; }

 private:
  void noteChange() {
    if (reading_) reading_misused = true;
  }

  bool reading_ = false;
  std::map<std::string, Record> one_look_;
};

}  // namespace talvane::test
