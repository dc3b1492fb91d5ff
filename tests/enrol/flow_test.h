#pragma once

#include <gtest/gtest.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "engine/vane.h"
#include "enrol/enrol_flow.h"
#include "tests/enrol/script.h"
#include "tests/platform/fake_device_identifiers.h"
#include "tests/platform/faulty_keychain.h"
#include "tests/support/memory_user_defaults.h"
#include "tests/support/private_home.h"
#include "tests/support/recording_gateway.h"

namespace talvane::test {

using Lines = std::vector<std::string>;
using View = EnrolViews::View;
using Field = EnrolViews::Field;

/// Views that remember what was done to them. Showing the sign-in view starts a session.
class FakeViews final : public EnrolViews {
 public:
  EnrolFlow* flow = nullptr;
  View open = View::eva;
  Lines calls;
  std::string message;
  std::string address_message;
  bool submit_enabled = false;
  bool get_info_submit_enabled = false;
  std::map<Field, std::string> fields;
  GetInfoInput get_info;
  std::string address;
  Lines boxes;
  Lines questions;  // whether a token may be replaced, "ISSUED for STORED"
  bool may_replace = false;
  std::function<void()> before_layout;  // of the sign-in view

  /// Runs the next piece of work for the main thread; waits for it. False: none came in 20 seconds.
  bool performNext();
  std::size_t waiting();

  void switchView(View from, View to) override;
  void goHome() override;
  void refreshAuthentication() override;
  bool showsAuthentication() override { return open == View::eva; }
  void eva_layout() override;
  void setAuthenticationMessage(const std::string& text) override;
  void enableAuthenticationSubmit(bool enabled) override;
  Cleared<std::string> input(Field field) override { return fields[field]; }
  void clear(Field field) override { fields[field].clear(); }
  GetInfoInput getInfoInput() override { return get_info; }
  void enableGetInfoSubmit(bool enabled) override { get_info_submit_enabled = enabled; }
  std::string addressInput() override { return address; }
  void setAddressMessage(const std::string& text) override { address_message = text; }
  void simpleMessageBox(const std::string& text) override { boxes.push_back(text); }
  bool mayReplace(const SoftTokenInfo& issued, const std::string& stored) override {
    questions.push_back(issued.currentDescription().value_or("") + " for " + stored);
    return may_replace;
  }
  void performOnMainThread(std::function<void()> work);

 private:
  std::mutex mutex_;
  std::condition_variable came_;
  std::deque<std::function<void()>> work_;
};

class FlowTest : public testing::Test {
 protected:
  static constexpr const char* page = "https://srv/taenrol/enrol.exe?SoftTokenMode=7200";
  static constexpr const char* first_reply = "RESULT:OK\r\nVERSION:7200\r\n";
  static constexpr const char* token_url = "otpauth://totp/Work?secret=GEZDGNBVGY3TQOJQ&period=30";
  static constexpr const char* complete = "RESULT:OK,COMPLETE";

  FlowTest();
  ~FlowTest() override;

  void makeFlow();
  /// A session up to its first reply.
  void start(const std::string& reply = first_reply);
  /// The same with a view that shows the sign-in, its fields filled in and the calls forgotten.
  void startFilledIn(const std::string& reply = first_reply);
  /// A Submit that is answered so.
  void submit(const std::string& reply, long status = 200);
  /// A reply that accepts, with more lines in front of the token's.
  static std::string accepting(const std::string& lines = "");
  /// The body of the last request.
  std::string lastBody();
  Lines storedNames();
  /// Lines of the log that begin with one of these.
  Lines logged(const Lines& beginnings);

  PrivateHome home;
  MemoryUserDefaults defaults;
  Ini ini{defaults, SettingsFolders{home.home(), home.root() + "/none", home.root() + "/none"}};
  FaultyKeychain keychain;
  FakeDeviceIdentifiers identifiers;
  vaneinterface gateway{keychain, identifiers};
  TokenStore store{gateway, keychain, &defaults};
  RecordingGateway recorder{gateway};
  Script script;
  std::function<std::unique_ptr<UrlLoader>(std::string*)> make_loader;
  FakeViews views;
  std::unique_ptr<EnrolFlow> flow;
};

}  // namespace talvane::test
