#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <map>

#include "engine/text.h"
#include "platform/folders.h"
#include "platform/regular_file.h"
#include "platform/user_defaults.h"

namespace talvane {
namespace {

constexpr std::string_view group = "[softtoken]";

// A key file (Desktop Entry Specification, "Basic format of the file") with one group, in the
// config folder; replaced as a whole by each change.
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
    Values values;
    if (value.find('\n') != std::string::npos || !isUtf8(value) || !load(&values)) return false;
    values[key] = value;
    std::string text = std::string(group) + '\n';
    for (const auto& [name, content] : values) {
      text.append(name).append("=").append(content).append("\n");
    }
    return makePrivateFolder(configFolder()) && replaceFile(path(), text);
  }

 private:
  using Values = std::map<std::string, std::string>;

  static std::string path() { return configFolder() + "/defaults.conf"; }

  // A file that is not there is empty. One with a line that is none of ours cannot be trusted.
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

  static bool replaceFile(const std::string& path, const std::string& text) {
    std::string temporary = path + ".XXXXXX";
    const int descriptor = mkostemp(temporary.data(), O_CLOEXEC);
    if (descriptor < 0) return false;
    const bool written =
        write(descriptor, text.data(), text.size()) == static_cast<ssize_t>(text.size()) &&
        fsync(descriptor) == 0;
    const bool closed = close(descriptor) == 0;
    if (written && closed && rename(temporary.c_str(), path.c_str()) == 0) return true;
    unlink(temporary.c_str());
    return false;
  }
};

}  // namespace

std::unique_ptr<UserDefaults> systemUserDefaults() {
  return std::make_unique<KeyFileDefaults>();
}

}  // namespace talvane
