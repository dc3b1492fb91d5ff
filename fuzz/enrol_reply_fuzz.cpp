// Any bytes as the server's reply, to the first request or a later one, and the bodies and checks
// that follow from it.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "engine/text.h"
#include "engine/vane.h"
#include "enrol/enrol_layout.h"
#include "enrol/pin_rules.h"
#include "enrol/ta_enrol_client.h"
#include "tests/support/fake_gateway.h"

namespace {

using talvane::TaEnrolClient;

void require(bool condition) {
  if (!condition) std::abort();
}

void useState(TaEnrolClient& client, const std::string& body) {
  const int height = talvane::getInfoHeight(client);
  require(height >= 270 && height <= 500);
  static_cast<void>(talvane::getInfoPlaces(client, height));
  static_cast<void>(talvane::pinPrompt(client));
  if (talvane::checkPIN(client, body) && client.bUSERCREATEPIN) {
    require(static_cast<std::int64_t>(talvane::utf16Length(body)) == client.PINLENGTH);
    static_cast<void>(talvane::checkPINAdvanced(client, body));
  }
  const bool challenge = client.bChallenge;
  require(challenge == (client.RESULT == TaEnrolClient::Result::challenge));
  const std::string before = client.post.value_or("");
  if (client.makeGetInfoResponsePOST()) {
    require(client.post.value_or("") == before);
  } else {
    require(client.post->get().starts_with(before + "&CHECKCODE="));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string body(data, data + size);
  talvane::test::FakeGateway gateway;
  gateway.listening = size % 8 == 0;  // log lines take most of the time
  talvane::vane::SetInterface(&gateway);

  TaEnrolClient first;
  const auto refused = first.processEnrolResponse(body.c_str(), TaEnrolClient::get_parser);
  require(!first.post && first.SOFTTOKEN == nullptr);

  TaEnrolClient client;
  const auto error = client.processEnrolResponse(body.c_str(), TaEnrolClient::post_parser);
  if (!talvane::isUtf8(body.c_str())) require(!refused && !error);
  useState(client, body);
  talvane::vane::SetInterface(nullptr);
  return 0;
}
