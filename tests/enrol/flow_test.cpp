#include "tests/enrol/flow_test.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace talvane::test {
namespace {

using namespace std::chrono_literals;

const char* nameOf(View view) {
  switch (view) {
    case View::tv:
      return "tv";
    case View::av:
      return "av";
    case View::eva:
      return "eva";
    case View::evgi:
      return "evgi";
    case View::evgu:
      break;
  }
  return "evgu";
}

}  // namespace

bool FakeViews::performNext() {
  std::function<void()> next;
  {
    std::unique_lock lock(mutex_);
    if (!came_.wait_for(lock, 20s, [&] { return !work_.empty(); })) return false;
    next = std::move(work_.front());
    work_.pop_front();
  }
  next();
  return true;
}

std::size_t FakeViews::waiting() {
  const std::lock_guard guard(mutex_);
  return work_.size();
}

void FakeViews::performOnMainThread(std::function<void()> work) {
  const std::lock_guard guard(mutex_);
  work_.push_back(std::move(work));
  came_.notify_all();
}

void FakeViews::switchView(View from, View to) {
  calls.push_back(std::string("switch ") + nameOf(from) + ' ' + nameOf(to));
  open = to;
  if (to == View::eva) flow->eva_init();
}

void FakeViews::goHome() {
  calls.emplace_back("home");
  open = View::tv;
}

void FakeViews::refreshAuthentication() {
  calls.emplace_back("refresh");
  flow->eva_init();
}

void FakeViews::eva_layout() {
  if (before_layout) before_layout();
  calls.push_back(flow->pleasewait() ? "layout busy" : "layout");
}

void FakeViews::setAuthenticationMessage(const std::string& text) {
  message = text;
  if (!text.empty()) calls.push_back("message " + text);
}

void FakeViews::enableAuthenticationSubmit(bool enabled) {
  submit_enabled = enabled;
  calls.push_back(enabled ? "enable" : "disable");
}

FlowTest::FlowTest() {
  gateway.setConsole(false);
  recorder.time = 59;
  vane::SetInterface(&recorder);
  ini.EnrolURL = "https://srv";
  make_loader = [this](std::string*) { return script.makeLoader(); };
  makeFlow();
}

FlowTest::~FlowTest() {
  flow.reset();
  vane::SetInterface(nullptr);
}

void FlowTest::makeFlow() {
  flow = std::make_unique<EnrolFlow>(EnrolFlow::Parts{
      &views, &ini, &store, &gateway, [this](std::string* error) { return make_loader(error); },
      [this](std::function<void()> work) { views.performOnMainThread(std::move(work)); }});
  views.flow = flow.get();
}

void FlowTest::start(const std::string& reply) {
  script.answer(reply);
  flow->eva_init();
  ASSERT_TRUE(views.performNext());
}

void FlowTest::startFilledIn(const std::string& reply) {
  start(reply);
  views.fields = {{Field::userid, "U"}, {Field::password, "P"}, {Field::passcode, "C"}};
  views.calls.clear();
  recorder.takeLines();
}

void FlowTest::submit(const std::string& reply, long status) {
  script.answer(reply, status);
  flow->eva_submitclicked();
}

std::string FlowTest::accepting(const std::string& lines) {
  return "RESULT:OK,GETINFO\r\n" + lines + "INPUT:SOFTTOKENURL=" + token_url + "\r\n";
}

std::string FlowTest::lastBody() {
  const auto requests = script.requests();
  return requests.empty() ? "(no request)" : requests.back().body.value_or("(no body)");
}

Lines FlowTest::storedNames() {
  vane::TokenArray tokens;
  const std::int32_t count = vane::ReadAllTokens(tokens);
  Lines names;
  for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
    names.push_back(tokens[i]->description.value_or("(nil)"));
  }
  return names;
}

Lines FlowTest::logged(const Lines& beginnings) {
  Lines found;
  for (const std::string& line : recorder.lines()) {
    if (std::any_of(beginnings.begin(), beginnings.end(),
                    [&](const std::string& begin) { return line.starts_with(begin); })) {
      found.push_back(line);
    }
  }
  return found;
}

}  // namespace talvane::test
