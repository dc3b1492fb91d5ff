// Tells on standard output how the platform looks from where this program lies.
//
//   say executable|modules|bundle     a folder
//   exec PROGRAM                      what PROGRAM says of its executable's folder
//   read PICTURE                      "TEXT|ERROR"
//   load                              why there is no URL loading
//   look                              "FIND DESCRIBE KIND", then the words for the user

#include <unistd.h>

#include <cstdio>
#include <string>
#include <string_view>

#include "platform/folders.h"
#include "platform/keychains.h"
#include "platform/qr_image.h"
#include "platform/url_loading.h"

using namespace talvane;

int main(int argc, char** argv) {
  const std::string_view word = argc > 1 ? argv[1] : "";
  const std::string_view what = argc > 2 ? argv[2] : "";
  if (word == "say") {
    const std::string folder = what == "executable" ? executableFolder()
                               : what == "modules"  ? moduleFolder()
                                                    : bundleFolder();
    std::fputs(folder.c_str(), stdout);
  } else if (word == "exec") {
    execl(argv[2], argv[2], "say", "executable", nullptr);
    return 1;
  } else if (word == "read") {
    const QrImage image = readQrImage(argv[2]);
    std::printf("%s|%s", image.text->c_str(), image.error.c_str());
  } else if (word == "load") {
    std::string error;
    static_cast<void>(makeUrlLoader(&error));
    std::fputs(error.c_str(), stdout);
  } else if (word == "look") {
    const auto keychain = makeKeychain("secret-service");
    std::printf("%d %d %s\n%s\n", static_cast<int>(keychain->find("s", "a", nullptr)),
                static_cast<int>(keychain->describe().status), keychainKindForNewUser().c_str(),
                keychain->message(KeychainStatus::not_available).c_str());
  }
  return 0;
}
