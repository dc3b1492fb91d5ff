#include "tests/support/demo_server.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

namespace talvane::test {

DemoServer::DemoServer(const TemporaryFolder& folder) : certificate_(folder / "certificate.pem") {
  const std::string addresses = folder / "addresses";
  child_ = fork();
  if (child_ == 0) {
    const int nowhere = open("/dev/null", O_WRONLY);
    dup2(nowhere, STDOUT_FILENO);
    execl(DEMO_SERVER, DEMO_SERVER, "--users", DEMO_USERS, "--certificate", certificate_.c_str(),
          "--addresses", addresses.c_str(), static_cast<char*>(nullptr));
    _exit(127);
  }
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (std::chrono::steady_clock::now() < end) {
    std::ifstream file(addresses);
    if (std::getline(file, http_) && std::getline(file, https_) && !file.eof()) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  ADD_FAILURE() << "the demo server did not start";
}

DemoServer::~DemoServer() {
  if (child_ <= 0) return;
  kill(child_, SIGKILL);
  waitpid(child_, nullptr, 0);
}

std::string DemoServer::verdict(const std::string& user, const std::string& code) const {
  httplib::Client client(http_);
  const auto reply = client.Get("/verify?user=" + user + "&code=" + code);
  return reply ? reply->body : "no reply";
}

}  // namespace talvane::test
