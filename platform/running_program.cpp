#include "platform/running_program.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/text.h"
#include "platform/file_descriptor.h"
#include "platform/folders.h"
#include "platform/peer.h"
#include "platform/regular_file.h"

namespace talvane {
namespace {

constexpr std::string_view prefix = "instance";
constexpr std::string_view socket_suffix = ".socket";

struct FolderCloser {
  void operator()(DIR* folder) const { closedir(folder); }
};

// Whether a program of this user listens there. One that gets a connection without a request passes
// over it.
bool listens(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof(address.sun_path)) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  const FileDescriptor other(socket(AF_UNIX, SOCK_STREAM, 0));
  if (!other.isOpen() || fcntl(other.get(), F_SETFL, O_NONBLOCK) != 0) return false;
  return connect(other.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 &&
         peerIsThisUser(other.get());
}

ProgramFacts readProgramFacts(const std::string& path) {
  ProgramFacts facts;
  std::string text;
  if (readRegularFile(path, &text) != 0 || !isUtf8(text)) return facts;
  for (const std::string_view line : split(text, '\n')) {
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) continue;
    facts[std::string(line.substr(0, equals))] = line.substr(equals + 1);
  }
  return facts;
}

}  // namespace

std::string programFactsPath(const std::string& display) {
  return runtimeFolder() + '/' + std::string(prefix) + display + ".facts";
}

void writeProgramFacts(const std::string& path, const ProgramFacts& facts) {
  std::string text;
  for (const auto& [name, value] : facts) {
    std::string line = value;
    std::replace(line.begin(), line.end(), '\n', ' ');
    text.append(name).append("=").append(line).append("\n");
  }
  const FileDescriptor file(
      open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!file.isOpen()) return;
  std::string_view rest = text;
  while (!rest.empty()) {
    const ssize_t count = write(file.get(), rest.data(), rest.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
}

std::vector<ProgramFacts> runningPrograms() {
  std::vector<std::string> displays;
  const std::string path = runtimeFolder();
  const std::unique_ptr<DIR, FolderCloser> folder(opendir(path.c_str()));
  if (!folder) return {};
  while (const dirent* file = readdir(folder.get())) {
    std::string_view name = file->d_name;
    if (!name.starts_with(prefix) || !name.ends_with(socket_suffix)) continue;
    if (!listens(path + '/' + file->d_name)) continue;
    name.remove_prefix(prefix.size());
    name.remove_suffix(socket_suffix.size());
    displays.emplace_back(name);
  }
  std::sort(displays.begin(), displays.end());
  std::vector<ProgramFacts> programs;
  programs.reserve(displays.size());
  for (const std::string& display : displays) {
    programs.push_back(readProgramFacts(programFactsPath(display)));
  }
  return programs;
}

}  // namespace talvane
