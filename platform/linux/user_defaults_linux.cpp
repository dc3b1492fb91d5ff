#include <fcntl.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "engine/text.h"
#include "platform/file_descriptor.h"
#include "platform/file_lock.h"
#include "platform/folders.h"
#include "platform/regular_file.h"
#include "platform/replace_file.h"
#include "platform/user_defaults.h"

namespace talvane {
namespace {

constexpr auto patience = std::chrono::seconds(2);
constexpr std::string_view group = "[softtoken]";

// A key file (Desktop Entry Specification, "Basic format of the file") with one group, in the
// config folder. Each change replaces the whole file.
class KeyFileDefaults final : public UserDefaults {
 public:
  Found string(const std::string& key, std::string* value) override {
    Values values;
    if (!load(&values)) return Found::unreadable;
    const auto found = values.find(key);
    if (found == values.end()) return Found::no;
    *value = found->second;
    return Found::yes;
  }

  bool setString(const std::string& key, const std::string& value) override {
    return change({{key, value}});
  }

  bool change(const Changes& changes) override {
    for (const auto& [key, value] : changes) {
      if (value && (value->find('\n') != std::string::npos || !isUtf8(*value))) return false;
    }
    if (!makePrivateFolder(configFolder())) return false;
    // Another program's change in between would be lost.
    const FileDescriptor lock = lockedFolder();
    Values values;
    if (!lock.isOpen() || !load(&values)) return false;
    removeDrafts(path());
    for (const auto& [key, value] : changes) {
      if (value) {
        values[key] = *value;
      } else {
        values.erase(key);
      }
    }
    std::string text = std::string(group) + '\n';
    for (const auto& [name, content] : values) {
      text.append(name).append("=").append(content).append("\n");
    }
    return replaceFile(path(), text) == 0;
  }

 private:
  using Values = std::map<std::string, std::string>;

  static std::string path() { return configFolder() + "/defaults.conf"; }

  // None if another program keeps it locked. On a file system without locks it is open all the
  // same.
  static FileDescriptor lockedFolder() {
    FileDescriptor folder(open(configFolder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.isOpen() && lockFile(folder.get(), patience) == EWOULDBLOCK) return FileDescriptor();
    return folder;
  }

  // A missing file is empty. A file with an unknown line cannot be trusted.
  static bool load(Values* values) {
    std::string text;
    if (const int error = readRegularFile(path(), &text); error != 0) return error == ENOENT;
    if (!isUtf8(text)) return false;
    for (const std::string_view line : split(text, '\n')) {
      if (line.empty() || line.front() == '#' || line == group) continue;
      const std::size_t equals = line.find('=');
      if (equals == std::string_view::npos) return false;
      (*values)[std::string(line.substr(0, equals))] = line.substr(equals + 1);
    }
    return true;
  }
};

}  // namespace

std::unique_ptr<UserDefaults> systemUserDefaults() {
  return std::make_unique<KeyFileDefaults>();
}

}  // namespace talvane
