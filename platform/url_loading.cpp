#include "platform/url_loading.h"

#include <memory>
#include <string>

#include "platform/modules.h"

namespace talvane {

std::unique_ptr<UrlLoader> makeUrlLoader(std::string* error, const UrlLoaderLimits& limits) {
  using Factory = UrlLoader* (*)(const UrlLoaderLimits*);
  std::string why;
  const auto factory =
      reinterpret_cast<Factory>(moduleFunction("url-loading", "softtoken_make_url_loader", &why));
  if (factory == nullptr) {
    *error = "Cannot load the network module (" + why + "); reinstall the program, with libcurl";
    return nullptr;
  }
  return std::unique_ptr<UrlLoader>(factory(&limits));
}

}  // namespace talvane
