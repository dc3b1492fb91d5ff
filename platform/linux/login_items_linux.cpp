#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/text.h"
#include "platform/folders.h"
#include "platform/linux/autostart_entry.h"
#include "platform/linux/folder_watch.h"
#include "platform/login_items_list.h"
#include "platform/replace_file.h"

// The autostart folders of the Desktop Application Autostart Specification. The list follows the
// order of the folders, the user's own first. In a folder, the files that this program writes come
// first, from the highest number down; then the rest by name. Of several files with one name, only
// the first counts.

namespace talvane {
namespace {

constexpr std::string_view suffix = ".desktop";
constexpr std::string_view own_name = "softtoken";
constexpr int largest_number = 9999;

class AutostartItem final : public LoginItem {
 public:
  AutostartItem(std::string item_folder, std::string item_file, AutostartEntry item_entry)
      : folder(std::move(item_folder)), file(std::move(item_file)), entry(std::move(item_entry)) {}

  const std::string folder;
  const std::string file;
  const AutostartEntry entry;
};

// 1 for softtoken.desktop, N for softtoken-N.desktop, 0 for a desktop entry of any other name.
int numberOf(std::string_view file) {
  if (!file.starts_with(own_name)) return 0;
  file.remove_suffix(suffix.size());
  file.remove_prefix(own_name.size());
  if (file.empty()) return 1;
  const std::string digits(file.substr(1));
  if (file.front() != '-' || digits.empty() || digits.size() > 4 || digits.front() == '0' ||
      digits.find_first_not_of("0123456789") != std::string::npos) {
    return 0;
  }
  const auto number = static_cast<int>(leadingInteger(digits));
  return number > 1 ? number : 0;
}

std::string fileOfNumber(int number) {
  const std::string middle = number == 1 ? "" : "-" + std::to_string(number);
  return std::string(own_name) + middle + std::string(suffix);
}

bool comesBefore(const std::string& left, const std::string& right) {
  const int left_number = numberOf(left);
  const int right_number = numberOf(right);
  return left_number != right_number ? left_number > right_number : left < right;
}

struct FolderCloser {
  void operator()(DIR* folder) const { closedir(folder); }
};

// The names of the folder's desktop entries, in the list's order.
std::vector<std::string> filesIn(const std::string& path) {
  std::vector<std::string> files;
  const std::unique_ptr<DIR, FolderCloser> folder(opendir(path.c_str()));
  if (!folder) return files;
  while (const dirent* file = readdir(folder.get())) {
    const std::string_view name = file->d_name;
    if (name.ends_with(suffix)) files.emplace_back(name);
  }
  std::sort(files.begin(), files.end(), comesBefore);
  return files;
}

std::string pathIn(const std::string& folder, const std::string& file) {
  return folder + '/' + file;
}

bool isThere(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

std::string withoutSlashes(std::string_view path) {
  while (path.ends_with('/')) path.remove_suffix(1);
  return std::string(path);
}

// The user's folder, then the system's, each once.
std::vector<std::string> autostartFolders() {
  const char* own = std::getenv("XDG_CONFIG_HOME");
  const char* shared = std::getenv("XDG_CONFIG_DIRS");
  std::vector<std::string> folders = {
      withoutSlashes(own != nullptr && own[0] == '/' ? own : homeFolder() + "/.config") +
      "/autostart"};
  for (const std::string_view path :
       split(shared != nullptr && shared[0] != '\0' ? shared : "/etc/xdg", ':')) {
    if (!path.starts_with('/')) continue;
    std::string folder = withoutSlashes(path) + "/autostart";
    if (std::find(folders.begin(), folders.end(), folder) == folders.end()) {
      folders.push_back(std::move(folder));
    }
  }
  return folders;
}

class AutostartList final : public LoginItemsList {
 public:
  AutostartList() : folders_(autostartFolders()), watch_(folders_, std::string(suffix)) {}

  std::vector<LoginItemHandle> snapshot() override {
    std::vector<LoginItemHandle> items;
    std::set<std::string> seen;
    for (const std::string& folder : folders_) {
      for (const std::string& file : filesIn(folder)) {
        if (!seen.insert(file).second) continue;
        auto entry = readAutostartEntry(pathIn(folder, file));
        if (!entry || entry->hidden) continue;
        items.push_back(std::make_shared<AutostartItem>(folder, file, std::move(*entry)));
      }
    }
    return items;
  }

  std::optional<std::string> resolve(const LoginItem& item) override {
    const auto* own = dynamic_cast<const AutostartItem*>(&item);
    if (own == nullptr || !isStarted(own->entry)) return std::nullopt;
    return programOf(own->entry);
  }

  void insertAtHead(const std::string& target) override {
    // An entry for anything else could never be found again.
    if (executableFile(target) != target) return;
    int number = 1;
    for (const std::string& folder : folders_) {
      const std::vector<std::string> files = filesIn(folder);
      if (!files.empty()) number = std::max(number, numberOf(files.front()));
    }
    if (!mayBeReplaced(fileOfNumber(number), target)) ++number;
    if (number <= largest_number) replaceOwnFile(fileOfNumber(number), autostartText(target));
  }

  void remove(const LoginItem& item) override {
    const auto* own = dynamic_cast<const AutostartItem*>(&item);
    if (own == nullptr || !isThere(pathIn(own->folder, own->file))) return;
    // A system file stays, and one that the user's file has hidden must not reappear.
    const bool in_system = std::any_of(folders_.begin() + 1, folders_.end(), [&](auto& folder) {
      return isThere(pathIn(folder, own->file));
    });
    if (in_system) {
      replaceOwnFile(own->file, hiddenAutostartText(own->entry.name));
    } else {
      unlink(pathIn(folders_.front(), own->file).c_str());
    }
  }

  std::optional<std::string> ownTarget() override {
    std::string path = executablePath();
    if (path.empty()) return std::nullopt;
    return path;
  }

  void setChangeCallback(std::function<void()> callback) override {
    callback_ = std::move(callback);
  }

  [[nodiscard]] int watchDescriptor() const override { return watch_.descriptor(); }

  void readChanges() override {
    if (!watch_.readChanges()) return;
    const std::function<void()> callback = callback_;  // it may destroy this
    if (callback) callback();
  }

 private:
  // Whether the user's file of that name may be overwritten: it does not exist, counts as deleted,
  // or starts the same program but is switched off or not for this session.
  [[nodiscard]] bool mayBeReplaced(const std::string& file, const std::string& target) const {
    for (const std::string& folder : folders_) {
      const std::string path = pathIn(folder, file);
      if (!isThere(path)) continue;
      const auto entry = readAutostartEntry(path);
      return entry && (entry->hidden || programOf(*entry) == target);
    }
    return true;
  }

  // Writes the text to the user's folder in one step, or leaves it unchanged.
  void replaceOwnFile(const std::string& file, const std::string& text) const {
    const std::string& folder = folders_.front();
    if (!makePrivateFolder(folder)) return;
    static_cast<void>(replaceFile(pathIn(folder, file), text));
  }

  const std::vector<std::string> folders_;
  FolderWatch watch_;
  std::function<void()> callback_;
};

}  // namespace

std::unique_ptr<LoginItemsList> systemLoginItems() {
  return std::make_unique<AutostartList>();
}

}  // namespace talvane
