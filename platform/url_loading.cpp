#include "platform/url_loading.h"

#include <array>
#include <memory>
#include <string>

#include "platform/modules.h"
#include "platform/translation.h"

namespace talvane {
namespace {

// The module and libcurl speak English. Their words also go to the trace.
constexpr std::array known_errors{
    marked("Could not resolve host: {}"),
    marked("The request was cancelled"),
    marked("The request took longer than {} minutes"),
    marked("The request took longer than {} seconds"),
    marked("The server could not be reached within {} seconds"),
    marked("The server has sent nothing for {} seconds"),
    marked("The server redirects from https to {}, which is not allowed"),
    marked("The server redirects too many times"),
    marked("The server redirects what you entered to another server, which is not allowed"),
    marked("The server's headers are longer than {} MB"),
    marked("The server's response is longer than {} MB"),
};

}  // namespace

std::string urlErrorWords(const std::string& description) {
  return translatedAs(known_errors, description);
}

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
