#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

#include "tests/support/temporary_folder.h"

namespace talvane::test {

/// A copy of the probe (probe.cpp) in a folder tree of its own, as installed: ROOT/bin/NAME.
class InstalledCopy {
 public:
  explicit InstalledCopy(std::string name = "probe") : name_(std::move(name)) {
    std::error_code error;
    std::filesystem::create_directory(folder_ / "bin", error);
    std::filesystem::copy_file(PLATFORM_PROBE, program(), error);
    EXPECT_FALSE(error) << error.message();
  }

  [[nodiscard]] const std::string& root() const { return folder_.path(); }
  [[nodiscard]] std::string program() const { return folder_ / ("bin/" + name_); }

  /// What the copy prints on standard output when it is run with the words.
  [[nodiscard]] std::string outputOf(std::string_view words) const {
    const std::string command = "'" + program() + "' " + std::string(words);
    std::string output;
    std::FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return output;
    std::array<char, 4096> buffer{};
    while (const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe)) {
      output.append(buffer.data(), count);
    }
    EXPECT_EQ(pclose(pipe), 0) << command;
    return output;
  }

 private:
  TemporaryFolder folder_;
  std::string name_;
};

}  // namespace talvane::test
