#include "store/keychain_move.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tl/expected.hpp>
#include <utility>

#include "engine/vane.h"
#include "platform/folders.h"
#include "platform/keychain_service.h"
#include "platform/keychain_words.h"
#include "platform/keychains.h"
#include "platform/translation.h"
#include "platform/user_defaults.h"
#include "store/problem.h"
#include "store/store_lock.h"

namespace talvane {
namespace {

using Next = Problem::Next;

constexpr std::uint32_t slots = vane::max_tokens;

// "to KIND" while the keychain of that kind gets copies, "from KIND" while it has leftovers.
constexpr const char* move_key = "KeychainMove";
constexpr const char* copying = "to ";
constexpr const char* deleting = "from ";

using Records = std::map<std::uint32_t, SecretBytes>;  // by slot

Problem problemOf(KeychainService& keychain, KeychainStatus status) {
  return {Next::check_keychain, messageWithCode(keychain, status)};
}

Problem cannotNote() {
  return {Next::check_keychain,
          translatedWith("Cannot change the user defaults; check that {} can be read and written",
                         configFolder())};
}

enum class Damaged : std::uint8_t { refuse, without_content };

Result<Records> readRecords(KeychainService& keychain, const std::string& account,
                            Damaged damaged = Damaged::without_content) {
  Records records;
  keychain.beginReading(account);
  std::optional<Problem> problem;
  for (std::uint32_t slot = 0; slot < slots && !problem; ++slot) {
    SecretBytes record;
    const KeychainStatus status = keychain.find(vane::recordName(slot), account, &record);
    if (status == KeychainStatus::ok ||
        (status == KeychainStatus::cannot_decode && damaged == Damaged::without_content)) {
      records.emplace(slot, std::move(record));
    } else if (status == KeychainStatus::cannot_decode) {
      problem =
          Problem{Next::clear_slot,
                  translatedWith("The record in slot {} of the keychain is damaged and cannot "
                                 "be moved, and nothing was moved; delete it first",
                                 slot),
                  static_cast<std::int32_t>(slot)};
    } else if (status != KeychainStatus::item_not_found) {
      problem = problemOf(keychain, status);
    }
  }
  keychain.endReading();
  if (problem) return tl::unexpected(std::move(*problem));
  return records;
}

// Makes `after` of `before`, as one change.
Result<void> changeRecords(KeychainService& keychain, const std::string& account,
                           const Records& before, const Records& after) {
  KeychainStatus status = keychain.beginChange();
  if (status != KeychainStatus::ok) return tl::unexpected(problemOf(keychain, status));
  for (std::uint32_t slot = 0; slot < slots && status == KeychainStatus::ok; ++slot) {
    const std::string name = vane::recordName(slot);
    const auto old = before.find(slot);
    const auto wanted = after.find(slot);
    if (wanted == after.end()) {
      if (old != before.end()) status = keychain.remove(name, account);
    } else if (old == before.end()) {
      status = keychain.add(name, account, wanted->second);
    } else if (old->second.get() != wanted->second.get()) {
      status = keychain.replace(name, account, wanted->second);
    }
  }
  if (status != KeychainStatus::ok) {
    Problem problem = problemOf(keychain, status);
    keychain.abandonChange();
    return tl::unexpected(std::move(problem));
  }
  status = keychain.endChange();
  if (status != KeychainStatus::ok) return tl::unexpected(problemOf(keychain, status));
  return {};
}

bool areSame(const Records& one, const Records& other) {
  if (one.size() != other.size()) return false;
  for (const auto& [slot, record] : one) {
    const auto found = other.find(slot);
    if (found == other.end() || found->second.get() != record.get()) return false;
  }
  return true;
}

// Whether `records` holds nothing that `all` does not hold in the same slot.
bool isPartOf(const Records& records, const Records& all) {
  Records same;
  for (const auto& [slot, record] : all) {
    if (records.contains(slot)) same.emplace(slot, record);
  }
  return areSame(records, same);
}

}  // namespace

KeychainMove::KeychainMove(UserDefaults& defaults, std::string account,
                           std::chrono::milliseconds patience, Make make)
    : defaults_(defaults),
      account_(std::move(account)),
      patience_(patience),
      make_(std::move(make)) {}

std::optional<KeychainMove::Unfinished> KeychainMove::unfinished() {
  std::string note;
  if (defaults_.string(move_key, &note) != UserDefaults::Found::yes) return std::nullopt;
  std::string chosen;
  static_cast<void>(defaults_.string(keychain_choice_key, &chosen));
  for (const auto& [words, step] : {std::pair(copying, Unfinished::Step::copying),
                                    std::pair(deleting, Unfinished::Step::deleting)}) {
    if (!note.starts_with(words)) continue;
    const std::string kind = note.substr(std::string(words).size());
    // A user who has changed the choice by hand means what is there.
    if (kind == chosen) return std::nullopt;
    return Unfinished{step, kind};
  }
  return std::nullopt;
}

Result<KeychainMove::Done> KeychainMove::move(const std::string& from, const std::string& to) {
  const StoreLock lock(dataFolder(), patience_);
  if (!lock.held()) {
    return tl::unexpected(
        Problem{lock.busy() ? Next::try_again : Next::check_keychain, lock.error()});
  }
  std::string source_kind;
  switch (defaults_.string(keychain_choice_key, &source_kind)) {
    case UserDefaults::Found::unreadable:
      return tl::unexpected(cannotNote());
    case UserDefaults::Found::no:
      source_kind = from;
      break;
    case UserDefaults::Found::yes:
      break;
  }
  const auto cut_short = unfinished();
  Done done;

  if (source_kind == to) {
    if (!cut_short) {
      if (!defaults_.change({{keychain_choice_key, to}, {move_key, std::nullopt}})) {
        return tl::unexpected(cannotNote());
      }
      return done;
    }
  } else {
    const auto source = make_(source_kind);
    const auto target = make_(to);
    const auto records = readRecords(*source, account_, Damaged::refuse);
    if (!records) return tl::unexpected(records.error());
    if (const KeychainStatus status = target->describe().status; status != KeychainStatus::ok) {
      return tl::unexpected(problemOf(*target, status));
    }
    const auto there = readRecords(*target, account_);
    if (!there) return tl::unexpected(there.error());
    // Copies and leftovers of ours may be written over.
    const bool is_ours = cut_short && cut_short->kind == to;
    const bool only_chooses = records->empty() && !is_ours;
    if (!only_chooses && !is_ours && !isPartOf(*there, *records)) {
      return tl::unexpected(
          Problem{Next::check_keychain,
                  translatedWith(
                      "The keychain \"{}\" holds other tokens already, and nothing was moved; to "
                      "use those, set {}={} in {}/defaults.conf, and delete them there if you do "
                      "not need them",
                      to, keychain_choice_key, to, configFolder())});
    }
    if (!only_chooses) {
      if (!defaults_.change({{keychain_choice_key, source_kind}, {move_key, copying + to}})) {
        return tl::unexpected(cannotNote());
      }
      if (auto copied = changeRecords(*target, account_, *there, *records); !copied) {
        return tl::unexpected(copied.error());
      }
      const auto stored = readRecords(*make_(to), account_);
      if (!stored) return tl::unexpected(stored.error());
      if (!areSame(*stored, *records)) {
        return tl::unexpected(
            Problem{Next::try_again,
                    translatedWith("The keychain \"{}\" does not hold what was copied to it, and "
                                   "nothing was moved; try again",
                                   to)});
      }
    }
    std::optional<std::string> note;
    if (!records->empty()) note = deleting + source_kind;
    if (!defaults_.change({{keychain_choice_key, to}, {move_key, note}})) {
      return tl::unexpected(cannotNote());
    }
    done.moved = records->size();
    if (!note) return done;
  }

  // From here on everything is in the chosen keychain.
  const std::string left = source_kind == to ? cut_short->kind : source_kind;
  const auto old = make_(left);
  const auto deleted =
      readRecords(*old, account_).and_then([&](const Records& records) -> Result<void> {
        return changeRecords(*old, account_, records, {});
      });
  if (!deleted) {
    done.leftovers = deleted.error().words;
  } else if (!defaults_.change({{move_key, std::nullopt}})) {
    done.leftovers = cannotNote().words;
  }
  return done;
}

std::optional<std::size_t> countRecords(KeychainService& keychain, const std::string& account) {
  std::size_t count = 0;
  bool answers = true;
  keychain.beginReading(account);
  for (std::uint32_t slot = 0; slot < slots && answers; ++slot) {
    switch (keychain.find(vane::recordName(slot), account, nullptr)) {
      case KeychainStatus::ok:
      case KeychainStatus::cannot_decode:
        ++count;
        break;
      case KeychainStatus::item_not_found:
        break;
      default:
        answers = false;
    }
  }
  keychain.endReading();
  return answers ? std::optional(count) : std::nullopt;
}

}  // namespace talvane
