#include "enrol/ta_http.h"

#include <fmt/core.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "engine/cleared.h"
#include "engine/text.h"
#include "platform/url_loading.h"

namespace talvane {

TaHttp::TaHttp(std::shared_ptr<UrlLoader> loader, std::string unavailable)
    : loader_(std::move(loader)), unavailable_(std::move(unavailable)) {}

void TaHttp::common(const std::string& url, const std::optional<Cleared<std::string>>& postdata) {
  data_.reset();
  UrlRequest request{url, postdata};
  if (request.body) {
    std::string& body = request.body->mutableValue();
    body.resize(std::min(body.size(), utf16Length(body)));
  }
  UrlResponse response;
  if (loader_ != nullptr) {
    response = loader_->load(request);
  } else {
    response.error = UrlResponse::Error{unavailable_, 0};
  }
  status_ = response.status;
  error_ = response.error
               ? fmt::format("{} [{}]", response.error->description, response.error->code)
               : fmt::format("{} [0]", nil_text);
  data_ = std::move(response.body);
  date_ = response.date;
}

void TaHttp::clearcookies(const std::string& url) {
  if (loader_ != nullptr) loader_->deleteCookies(url);
}

}  // namespace talvane
