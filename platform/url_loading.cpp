#include "platform/url_loading.h"

#include <memory>
#include <string>

#include "platform/modules.h"
#include "platform/translation.h"

namespace talvane {

std::unique_ptr<UrlLoader> makeUrlLoader(std::string* error, const UrlLoaderLimits& limits) {
  using Factory = UrlLoader* (*)(const UrlLoaderLimits*);
  std::string why;
  const auto factory =
      reinterpret_cast<Factory>(moduleFunction("url-loading", "softtoken_make_url_loader", &why));
  if (factory == nullptr) {
    *error = translatedWith(
        "Cannot load the network module ({}); reinstall the program, with libcurl", why);
    return nullptr;
  }
  return std::unique_ptr<UrlLoader>(factory(&limits));
}

}  // namespace talvane
