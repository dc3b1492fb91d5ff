#include "ui/desktop/instance_channel.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/un.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <QTimer>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/file_descriptor.h"
#include "platform/folders.h"
#include "platform/own_files.h"
#include "platform/peer.h"
#include "platform/running_program.h"
#include "platform/translation.h"

namespace talvane {
namespace {

constexpr std::size_t longest_request = 65536;
constexpr std::size_t most_peers = 64;
constexpr auto patience_with_request = std::chrono::seconds(5);
constexpr auto patience_with_answer = std::chrono::milliseconds(3000);
constexpr char taken = '+';

// Child processes do not inherit it.
FileDescriptor keptToUs(int number) {
  FileDescriptor descriptor(number);
  if (descriptor.isOpen()) fcntl(descriptor.get(), F_SETFD, FD_CLOEXEC);
  return descriptor;
}

bool addressOf(const std::string& path, sockaddr_un* address) {
  *address = {};
  address->sun_family = AF_UNIX;
  if (path.size() >= sizeof(address->sun_path)) return false;
  std::memcpy(address->sun_path, path.c_str(), path.size() + 1);
  return true;
}

const sockaddr* generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

// Everything the other side sends; empty when its end does not come in time.
QByteArray readWhole(int descriptor, std::chrono::milliseconds patience) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + patience;
  QByteArray text;
  std::array<char, 4096> piece{};
  while (static_cast<std::size_t>(text.size()) < longest_request) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    pollfd waiting{descriptor, POLLIN, 0};
    const int ready = left.count() <= 0 ? 0 : poll(&waiting, 1, static_cast<int>(left.count()));
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return {};
    const ssize_t length = read(descriptor, piece.data(), piece.size());
    if (length < 0 && errno == EINTR) continue;
    if (length < 0) return {};
    if (length == 0) return text;
    text.append(piece.data(), static_cast<qsizetype>(length));
  }
  return {};
}

}  // namespace

std::string displayName() {
  const char* display = std::getenv("DISPLAY");
  if (display == nullptr || display[0] == '\0') display = std::getenv("WAYLAND_DISPLAY");
  std::string name = display == nullptr ? "" : display;
  // ":0" and ":0.0" are one display.
  if (const auto colon = name.rfind(':'); colon != std::string::npos) {
    name = name.substr(0, name.find('.', colon));
  }
  for (char& letter : name) {
    if (letter == '/') letter = '_';
  }
  return name;
}

struct InstanceChannel::Peer {
  explicit Peer(FileDescriptor connection)
      : socket(std::move(connection)),
        notifier(new QSocketNotifier(socket.get(), QSocketNotifier::Read)),
        patience(new QTimer) {
    patience->setSingleShot(true);
  }
  ~Peer() { end(); }
  void end() {
    if (notifier == nullptr) return;
    notifier->setEnabled(false);
    patience->stop();
    // One of them may be calling.
    std::exchange(notifier, nullptr)->deleteLater();
    std::exchange(patience, nullptr)->deleteLater();
    static_cast<void>(socket.close());
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  FileDescriptor socket;
  QSocketNotifier* notifier;
  QTimer* patience;
  QByteArray request;
};

InstanceChannel::InstanceChannel(const std::string& display)
    : lock_path_(runtimeFolder() + "/instance" + display + ".lock"),
      socket_path_(runtimeFolder() + "/instance" + display + ".socket"),
      facts_path_(programFactsPath(display)) {}

InstanceChannel::~InstanceChannel() {
  close();
}

bool InstanceChannel::becomeFirst() {
  sockaddr_un address{};
  error_ = makeOwnFolder(runtimeFolder());
  if (!error_.empty()) return false;
  if (!addressOf(socket_path_, &address)) {
    error_ = translatedWith("The path {} is too long; set XDG_RUNTIME_DIR to a shorter one",
                            socket_path_);
    return false;
  }
  FileDescriptor lock(open(lock_path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!lock.isOpen()) {
    error_ = translatedWith("Cannot open {} ({}); check what it is and who owns it", lock_path_,
                            std::strerror(errno));
    return false;
  }
  if (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) return false;
  lock_ = std::move(lock);
  // A program that died may have left one.
  unlink(socket_path_.c_str());
  FileDescriptor listening = keptToUs(socket(AF_UNIX, SOCK_STREAM, 0));
  const mode_t mask = umask(0077);
  const bool listens = listening.isOpen() &&
                       bind(listening.get(), generic(address), sizeof(address)) == 0 &&
                       ::listen(listening.get(), SOMAXCONN) == 0;
  umask(mask);
  // The program works without it too.
  if (listens) listening_ = std::move(listening);
  return true;
}

void InstanceChannel::listen() {
  if (!listening_.isOpen()) return;
  notifier_ = std::make_unique<QSocketNotifier>(listening_.get(), QSocketNotifier::Read);
  connect(notifier_.get(), &QSocketNotifier::activated, this, [this] { accept(); });
}

void InstanceChannel::tell(const ProgramFacts& facts) const {
  if (lock_.isOpen()) writeProgramFacts(facts_path_, facts);
}

void InstanceChannel::accept() {
  FileDescriptor other = keptToUs(::accept(listening_.get(), nullptr, nullptr));
  if (!other.isOpen() || !peerIsThisUser(other.get()) ||
      fcntl(other.get(), F_SETFL, O_NONBLOCK) != 0) {
    return;
  }
  // Whoever came first and has said nothing makes room.
  if (peers_.size() == most_peers) drop(std::shared_ptr<Peer>(peers_.front()));
  const auto peer = peers_.emplace_back(std::make_shared<Peer>(std::move(other)));
  const std::weak_ptr<Peer> known = peer;
  connect(peer->notifier, &QSocketNotifier::activated, this,
          [this, known] { readFrom(known.lock()); });
  connect(peer->patience, &QTimer::timeout, this, [this, known] { drop(known.lock()); });
  peer->patience->start(patience_with_request);
  readFrom(peer);
}

void InstanceChannel::readFrom(const std::shared_ptr<Peer>& peer) {
  if (peer == nullptr) return;
  std::array<char, 4096> piece{};
  for (;;) {
    const ssize_t length = read(peer->socket.get(), piece.data(), piece.size());
    if (length < 0 && errno == EINTR) continue;
    if (length < 0 && errno == EAGAIN) return;
    if (length > 0) {
      peer->request.append(piece.data(), static_cast<qsizetype>(length));
      if (static_cast<std::size_t>(peer->request.size()) < longest_request) continue;
    }
    const QByteArray request = length == 0 ? peer->request : QByteArray();
    if (!request.isEmpty()) static_cast<void>(::send(peer->socket.get(), &taken, 1, 0));
    // Close first: performing the request may wait for the user.
    drop(peer);
    if (!request.isEmpty() && received) received(QString::fromUtf8(request));
    return;
  }
}

void InstanceChannel::drop(const std::shared_ptr<Peer>& peer) {
  if (peer == nullptr) return;
  peer->end();
  std::erase(peers_, peer);
}

void InstanceChannel::close() {
  notifier_.reset();
  peers_.clear();
  if (listening_.isOpen()) unlink(socket_path_.c_str());
  if (lock_.isOpen()) unlink(facts_path_.c_str());
  listening_ = FileDescriptor();
}

bool InstanceChannel::send(const QString& request) const {
  sockaddr_un address{};
  if (!addressOf(socket_path_, &address)) return false;
  const FileDescriptor other = keptToUs(socket(AF_UNIX, SOCK_STREAM, 0));
  if (!other.isOpen()) return false;
  // A program that has just started may hold the lock and not listen yet.
  for (int attempt = 0; ::connect(other.get(), generic(address), sizeof(address)) != 0; ++attempt) {
    if (attempt == 20) return false;
    usleep(50'000);
  }
  // A link holds a seed.
  if (!peerIsThisUser(other.get())) return false;
  const QByteArray text = request.toUtf8();
  if (::send(other.get(), text.constData(), static_cast<std::size_t>(text.size()), 0) !=
      text.size()) {
    return false;
  }
  shutdown(other.get(), SHUT_WR);
  return readWhole(other.get(), patience_with_answer) == QByteArray(1, taken);
}

}  // namespace talvane
