#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/url_loading.h"

namespace talvane {

/// Performs one blocking request at a time and keeps its outcome. Time limits, redirects, headers
/// and cookies are the URL loading service's. Not locked: one thread at a time.
class TaHttp {
 public:
  /// Shares the service; null: every request fails with `unavailable` as its error.
  explicit TaHttp(std::shared_ptr<UrlLoader> loader, std::string unavailable = "");

  void get(const std::string& url) { common(url, std::nullopt); }
  void post(const std::string& url, const std::string& postdata) { common(url, postdata); }
  /// GET without a body, POST with one. Of a body as many bytes are sent as it has characters
  /// (UTF-16 units): one that is not ASCII is cut short.
  void common(const std::string& url, const std::optional<std::string>& postdata);
  /// Deletes the cookies that would be sent to the URL.
  void clearcookies(const std::string& url);

  /// HTTP status of the last request; 0: no response.
  [[nodiscard]] long status() const { return status_; }
  void setStatus(long status) { status_ = status; }
  /// Body of the last request, followed by a NUL; null when there was none. Valid until the next
  /// request.
  [[nodiscard]] const char* data() const { return data_ ? data_->c_str() : nullptr; }
  void setData(std::optional<std::string> data) { data_ = std::move(data); }
  /// "DESCRIPTION [CODE]" of the last request's error, "(null) [0]" when it met none; nullopt
  /// before the first.
  [[nodiscard]] const std::optional<std::string>& error() const { return error_; }
  void setError(std::optional<std::string> error) { error_ = std::move(error); }
  /// The server's clock at the last request, seconds since the Unix epoch.
  [[nodiscard]] const std::optional<std::int64_t>& date() const { return date_; }

 private:
  std::shared_ptr<UrlLoader> loader_;
  std::string unavailable_;
  long status_ = 0;
  std::optional<std::string> data_;
  std::optional<std::string> error_;
  std::optional<std::int64_t> date_;
};

}  // namespace talvane
