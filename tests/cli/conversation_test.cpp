// The conversation in the administrators' guide is the one that the program and the demo server
// have.

#include <gtest/gtest.h>
#include <httplib.h>

#include <deque>
#include <regex>
#include <sstream>
#include <thread>

#include "tests/cli/cli_home.h"
#include "tests/support/demo_server.h"

namespace talvane::test {
namespace {

struct Exchange {
  std::string request;  // method and path
  std::string body;
  std::string reply;  // lines ended by CR LF
};

// The indented paragraphs of the guide's last part on enrolment: request line, body of a POST,
// reply.
std::vector<Exchange> guideConversation() {
  std::string text = readFile(std::string(DOCUMENTS) + "/docs/administration.md");
  text = text.substr(text.find("\n### A conversation\n") + 1);
  std::istringstream lines(text.substr(0, text.find("\n## ")));
  std::deque<Strings> paragraphs(1);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("    ")) {
      paragraphs.back().push_back(line.substr(4));
    } else if (!paragraphs.back().empty()) {
      paragraphs.emplace_back();
    }
  }
  const auto next = [&paragraphs](const char* line_end) {
    std::string joined;
    if (paragraphs.empty()) return joined;
    for (const std::string& line : paragraphs.front()) joined += line + line_end;
    paragraphs.pop_front();
    return joined;
  };
  std::vector<Exchange> conversation;
  while (!paragraphs.empty() && !paragraphs.front().empty()) {
    Exchange exchange;
    exchange.request = next("");
    if (exchange.request.starts_with("POST ")) exchange.body = next("");
    exchange.reply = next("\r\n");
    conversation.push_back(std::move(exchange));
  }
  return conversation;
}

// Without what differs from one enrolment and one computer to the next.
std::string masked(std::string text) {
  for (const char* varying : {"STATE=", "CHECKCODE=", "secret="}) {
    text = std::regex_replace(text, std::regex(std::string(varying) + "[A-Z2-7]+"), varying);
  }
  return text;
}

TEST(GuideConversation, IsComplete) {
  const auto conversation = guideConversation();
  ASSERT_EQ(conversation.size(), 3U);
  for (const Exchange& exchange : conversation) {
    EXPECT_TRUE(exchange.request.ends_with(" /taenrol/enrol.exe?SoftTokenMode=7200"))
        << exchange.request;
  }
}

TEST(GuideConversation, ProgramSendsTheseRequests) {
  const auto conversation = guideConversation();
  httplib::Server server;
  std::vector<Exchange> seen;
  const auto serve = [&](const httplib::Request& request, httplib::Response& response) {
    seen.push_back({request.method + ' ' + request.target, request.body, ""});
    if (seen.size() <= conversation.size()) {
      response.set_content(conversation[seen.size() - 1].reply, "text/plain");
    }
  };
  server.Get(".*", serve);
  server.Post(".*", serve);
  const int port = server.bind_to_any_port("127.0.0.1");
  std::thread serving([&server] { server.listen_after_bind(); });
  while (!server.is_running()) std::this_thread::yield();
  CliHome home;
  home.setSettings("AllowHTTP=yes\n");
  const Ended ended = home.run({"enrol", "http://127.0.0.1:" + std::to_string(port)},
                               "lea\n2580\n1\nRex\n2\nHill School\n");
  server.stop();
  serving.join();
  EXPECT_EQ(ended.out, "Stored \"Demo lea\".\n") << ended.err;
  ASSERT_EQ(seen.size(), conversation.size());
  for (std::size_t i = 0; i < seen.size(); ++i) {
    EXPECT_EQ(seen[i].request, conversation[i].request);
    EXPECT_EQ(masked(seen[i].body), masked(conversation[i].body));
  }
}

TEST(GuideConversation, DemoServerGivesTheseReplies) {
  const auto conversation = guideConversation();
  const TemporaryFolder folder;
  const DemoServer server(folder);
  httplib::Client client(server.http());
  httplib::Headers headers;
  // The completion needs the nonce and the check code of its own session.
  for (std::size_t i = 0; i + 1 < conversation.size(); ++i) {
    const auto& [request, body, reply] = conversation[i];
    const std::string path = request.substr(request.find(' ') + 1);
    const auto answer = body.empty()
                            ? client.Get(path, headers)
                            : client.Post(path, headers, body, "application/x-www-form-urlencoded");
    ASSERT_TRUE(answer);
    EXPECT_EQ(masked(answer->body), masked(reply));
    const std::string cookie = answer->get_header_value("Set-Cookie");
    if (!cookie.empty()) headers = {{"Cookie", cookie.substr(0, cookie.find(';'))}};
  }
}

}  // namespace
}  // namespace talvane::test
