#include "tests/cli/cli_home.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "engine/vane.h"
#include "platform/device_identifiers.h"
#include "platform/linux/vault/keychain.h"
#include "tests/cli/planted_token.h"
#include "tests/support/sanitizer_options.h"

namespace talvane::test {
namespace {

std::string recordOf(int slot) {
  return vane::recordName(static_cast<std::uint32_t>(slot));
}

std::string loginName() {
  return systemDeviceIdentifiers()->read().login_name;
}

}  // namespace

CliHome::CliHome() {
  for (const char* name : {"home", "data", "config", "run"}) {
    std::filesystem::create_directory(folder_ / name);
  }
  setSettings("AllowManual=true\n");
  environment = {"HOME=" + folder_ / "home",
                 "XDG_DATA_HOME=" + folder_ / "data",
                 "XDG_CONFIG_HOME=" + folder_ / "config",
                 "XDG_RUNTIME_DIR=" + folder_ / "run",
                 "DBUS_SESSION_BUS_ADDRESS=unix:path=" + folder_ / "no-bus",
                 "LC_ALL=C.UTF-8",
                 "TERM=xterm-256color",
                 "PATH=/usr/bin:/bin"};
  const Strings options = sanitizerOptions();
  environment.insert(environment.end(), options.begin(), options.end());
}

Strings CliHome::command(const Strings& arguments) const {
  Strings line = {SOFTTOKEN_CLI};
  if (!keychain.empty()) line.insert(line.end(), {"--keychain", keychain});
  line.insert(line.end(), arguments.begin(), arguments.end());
  return line;
}

Ended CliHome::run(const Strings& arguments, std::string_view input) const {
  Streams streams;
  streams.input = input;
  return run(arguments, streams);
}

Ended CliHome::run(const Strings& arguments, const Streams& streams) const {
  return runProcess(command(arguments), environment, streams);
}

std::unique_ptr<TerminalProcess> CliHome::runOnTerminal(const Strings& arguments,
                                                        unsigned short rows,
                                                        unsigned short columns) const {
  return std::make_unique<TerminalProcess>(command(arguments), environment, rows, columns);
}

std::string CliHome::add(const std::string& name, const std::string& seed, int period) const {
  const Ended ended = run({"add", "--period", std::to_string(period), "--", name}, seed + '\n');
  expectSuccess(ended);
  return ended.out;
}

void CliHome::plant(const std::string& name, std::int32_t slot) const {
  plantToken(dataFolder(), name, slot);
}

void CliHome::plantForeign(const std::string& name, std::int32_t slot) const {
  plantForeignToken(dataFolder(), name, slot);
}

nlohmann::json CliHome::list() const {
  const Ended ended = run({"list", "--json"});
  expectSuccess(ended);
  nlohmann::json value = nlohmann::json::parse(ended.out, nullptr, false);
  EXPECT_TRUE(value.is_array()) << ended.out;
  return value;
}

Strings CliHome::names() const {
  Strings result;
  for (const auto& token : list()) result.push_back(token.value("name", "(none)"));
  return result;
}

void CliHome::setSettings(std::string_view text) const {
  writeFile(settingsFile(), text);
}

void CliHome::damage(int slot) const {
  EXPECT_EQ(makeVaultKeychain(dataFolder())->replace(recordOf(slot), loginName(), Bytes(100, 0)),
            KeychainStatus::ok);
}

void CliHome::remove(int slot) const {
  EXPECT_EQ(makeVaultKeychain(dataFolder())->remove(recordOf(slot), loginName()),
            KeychainStatus::ok);
}

CliHome::Files CliHome::files() const {
  Files result;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(root())) {
    if (entry.is_regular_file()) result[entry.path()] = readFile(entry.path());
  }
  return result;
}

Strings CliHome::changedSince(const Files& before) const {
  const Files after = files();
  const auto size = [](const Files& files, const std::string& path) {
    const auto found = files.find(path);
    return found == files.end() ? "none" : std::to_string(found->second.size());
  };
  Files all = before;
  all.insert(after.begin(), after.end());
  Strings changes;
  for (const auto& [path, content] : all) {
    const auto now = after.find(path);
    if (now != after.end() && before.contains(path) && now->second == before.at(path)) continue;
    changes.push_back(path + ": " + size(before, path) + " -> " + size(after, path));
  }
  return changes;
}

void expectFailure(const Ended& ended, int exit_code, std::string_view words) {
  EXPECT_FALSE(ended.timed_out);
  EXPECT_EQ(ended.signal, 0);
  EXPECT_EQ(ended.exit_code, exit_code) << ended.err;
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << ended.err;
  EXPECT_TRUE(ended.err.starts_with("softtoken-cli: ")) << ended.err;
  EXPECT_TRUE(ended.err.ends_with('\n')) << ended.err;
  EXPECT_NE(ended.err.find(words), std::string::npos)
      << "wanted: " << words << "\ngot: " << ended.err;
  EXPECT_TRUE(std::none_of(ended.err.begin(), ended.err.end() - 1, [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
  })) << ended.err;
}

void expectSuccess(const Ended& ended) {
  EXPECT_FALSE(ended.timed_out);
  EXPECT_EQ(ended.signal, 0);
  EXPECT_EQ(ended.exit_code, 0) << ended.err;
  EXPECT_EQ(ended.err, "");
}

std::string oathPasscode(const std::string& seed, int period, std::int64_t time) {
  const Ended ended =
      runProcess({"oathtool", "--totp", "-b", "-s", std::to_string(period) + "s", "--now",
                  '@' + std::to_string(time), "-"},
                 {"PATH=/usr/bin:/bin:/usr/local/bin", "LC_ALL=C"}, {.input = seed});
  EXPECT_EQ(ended.exit_code, 0) << "oathtool is needed: " << ended.err;
  return ended.out.substr(0, ended.out.find('\n'));
}

}  // namespace talvane::test
