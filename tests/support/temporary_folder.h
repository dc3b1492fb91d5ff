#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace talvane::test {

/// A fresh, empty folder of mode 0700; removed with all that is in it at the end of the scope.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    const char* base = std::getenv("TMPDIR");
    path_ = (base != nullptr && base[0] == '/' ? base : "/tmp") + std::string("/softtoken.XXXXXX");
    if (mkdtemp(path_.data()) == nullptr) {
      path_.clear();
      ADD_FAILURE() << "no temporary folder";
    }
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }
  /// The path of `name` in the folder.
  [[nodiscard]] std::string operator/(std::string_view name) const {
    return path_ + '/' + std::string(name);
  }

 private:
  std::string path_;
};

inline void writeFile(const std::string& path, std::string_view content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  ASSERT_FALSE(file.fail()) << path;
}

/// The content; empty when there is no such file.
inline std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return {};
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Whether there is anything of that name, a link that leads nowhere included.
inline bool exists(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

/// The permission bits; -1 when there is nothing of that name.
inline int modeOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? static_cast<int>(status.st_mode & 07777) : -1;
}

inline std::size_t entriesIn(const std::string& folder) {
  std::error_code error;
  std::size_t count = 0;
  for (std::filesystem::directory_iterator entry(folder, error), end; entry != end; ++entry) {
    ++count;
  }
  return count;
}

}  // namespace talvane::test
