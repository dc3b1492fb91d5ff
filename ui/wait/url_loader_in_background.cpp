#include "ui/wait/url_loader_in_background.h"

#include <QCoreApplication>
#include <QThread>
#include <atomic>
#include <memory>
#include <utility>

#include "platform/url_loading.h"
#include "ui/wait/wait.h"

namespace talvane {
namespace {

struct Exchange {
  explicit Exchange(UrlRequest what) : request(std::move(what)) {}

  UrlRequest request;
  UrlResponse response;
  std::atomic<bool> given_up = false;
};

}  // namespace

UrlResponse UrlLoaderInBackground::load(const UrlRequest& request) {
  if (QThread::currentThread() != QCoreApplication::instance()->thread()) {
    return loader_->load(request);
  }
  const auto exchange = std::make_shared<Exchange>(request);
  const bool done = Wait::run(
      thread_,
      [this, exchange] {
        if (!exchange->given_up) exchange->response = loader_->load(exchange->request);
      },
      Wait::For::answer);
  if (done) return std::move(exchange->response);
  exchange->given_up = true;
  loader_->cancel();
  UrlResponse cancelled;
  cancelled.error = UrlResponse::Error{UrlResponse::cancelled, UrlResponse::cancelled_code};
  return cancelled;
}

}  // namespace talvane
