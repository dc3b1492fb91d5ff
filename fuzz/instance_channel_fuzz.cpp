// Any bytes as what another program of the user sends to the running one. What is received is what
// was sent, as text, and the sender is told so; nothing keeps the channel from taking the next.

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QString>
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "ui/desktop/instance_channel.h"

namespace {

constexpr std::size_t longest = 65536;  // bytes; what is as long is refused

void require(bool condition) {
  if (!condition) std::abort();
}

// A channel in a folder of its own, for all inputs.
class Listener {
 public:
  Listener() : application_(count_, arguments_) {
    std::string folder = (std::filesystem::temp_directory_path() / "channel-XXXXXX").string();
    require(mkdtemp(folder.data()) != nullptr);
    folder_ = folder;
    setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
    channel_ = std::make_unique<talvane::InstanceChannel>(":fuzz");
    require(channel_->becomeFirst());
    channel_->received = [this](const QString& request) { received_ = request; };
    channel_->listen();
    address_.sun_family = AF_UNIX;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_)) {
      if (entry.is_socket()) std::strcpy(address_.sun_path, entry.path().c_str());
    }
  }
  ~Listener() { std::filesystem::remove_all(folder_); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  // What the channel says it received; `first`: size of the first piece; `answer`: what it tells
  // the sender.
  std::optional<QString> send(std::string_view bytes, std::size_t first, std::string* answer) {
    const int sender = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(connect(sender, reinterpret_cast<const sockaddr*>(&address_), sizeof address_) == 0);
    received_.reset();
    const std::string_view rest = bytes.substr(std::min(first, bytes.size()));
    for (const std::string_view piece : {bytes.substr(0, bytes.size() - rest.size()), rest}) {
      static_cast<void>(::send(sender, piece.data(), piece.size(), MSG_NOSIGNAL));
    }
    shutdown(sender, SHUT_WR);
    char reply[8];
    ssize_t length = 0;
    do {
      QCoreApplication::processEvents();
      length = recv(sender, reply, sizeof reply, MSG_DONTWAIT);
    } while (length < 0 && errno == EAGAIN);
    // The sender is let go before the request is performed.
    QCoreApplication::processEvents();
    answer->assign(reply, static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    close(sender);
    return received_;
  }

 private:
  int count_ = 1;
  char name_[5] = "fuzz";
  char* arguments_[2] = {name_, nullptr};
  QCoreApplication application_;
  std::filesystem::path folder_;
  std::unique_ptr<talvane::InstanceChannel> channel_;
  sockaddr_un address_{};
  std::optional<QString> received_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Listener listener;
  if (size == 0) return 0;
  // The first byte tells in which pieces the rest is sent; a few are made too long.
  const auto shape = data[0];
  std::string bytes(data + 1, data + size);
  const bool too_long = shape == 255 && bytes.size() == 7;
  if (too_long) bytes.resize(longest, 'x');
  std::string answer;
  const auto received = listener.send(bytes, too_long ? bytes.size() : shape, &answer);
  require(received.has_value() == !answer.empty());
  require(received.has_value() == (!bytes.empty() && !too_long));
  require(!received ||
          *received == QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size())));
  return 0;
}
