#pragma once

#include <memory>
#include <string>
#include <utility>

#include "platform/url_loading.h"
#include "ui/wait/background_thread.h"

namespace talvane {

/// Performs the main thread's requests on a thread of its own while the main thread waits (see
/// Wait). When the user leaves, it cancels all requests under way. Requests of other threads block
/// those threads.
class UrlLoaderInBackground final : public UrlLoader {
 public:
  explicit UrlLoaderInBackground(std::unique_ptr<UrlLoader> loader) : loader_(std::move(loader)) {}
  ~UrlLoaderInBackground() override { loader_->cancel(); }

  UrlResponse load(const UrlRequest& request) override;
  void deleteCookies(const std::string& url) override { loader_->deleteCookies(url); }
  void cancel() override { loader_->cancel(); }
  void stop() override { loader_->stop(); }

 private:
  std::unique_ptr<UrlLoader> loader_;
  BackgroundThread thread_;
};

}  // namespace talvane
