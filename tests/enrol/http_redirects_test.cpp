// Redirects: which are followed, with what, and where they end.

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "tests/enrol/http_test.h"
#include "tests/enrol/https_server.h"

namespace talvane::test {
namespace {

using Texts = std::vector<std::string>;
using HttpRedirectsTest = HttpTest;

std::string redirect(int status, const std::string& target) {
  return response(std::to_string(status) + " Elsewhere", "moved", "Location: " + target + "\r\n");
}

/// Redirects "/from" to `target` and answers everything else with "arrived".
LoopbackServer::Handler sendingTo(int status, const std::string& target) {
  return [=](LoopbackServer::Connection& connection, const std::string& request) {
    const bool from = lineOf(request).ends_with("/from");
    connection.send(from ? redirect(status, target) : response("200 OK", "arrived"));
  };
}

struct Method {
  int status;
  const char* second_line;
  const char* second_body;
};

class HttpRedirectMethodTest : public HttpTest, public testing::WithParamInterface<Method> {};

TEST_P(HttpRedirectMethodTest, GetStaysAGet) {
  LoopbackServer server(sendingTo(GetParam().status, "/to"));
  const TaHttp http = got(server.url("/from"));
  EXPECT_EQ(http.status(), 200);
  EXPECT_STREQ(http.data(), "arrived");
  const auto requests = server.finish();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(lineOf(requests[1]), "GET /to");
}

TEST_P(HttpRedirectMethodTest, PostIsRepeatedOnlyWhereTheStatusAsksForIt) {
  LoopbackServer server(sendingTo(GetParam().status, "/to"));
  TaHttp http = client();
  http.post(server.url("/from"), "a=b");
  EXPECT_EQ(http.status(), 200);
  EXPECT_STREQ(http.data(), "arrived");
  const auto requests = server.finish();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(bodyOf(requests[0]), "a=b");
  EXPECT_EQ(lineOf(requests[1]), GetParam().second_line);
  EXPECT_EQ(bodyOf(requests[1]), GetParam().second_body);
}

INSTANTIATE_TEST_SUITE_P(Statuses, HttpRedirectMethodTest,
                         testing::Values(Method{301, "GET /to", ""}, Method{302, "GET /to", ""},
                                         Method{303, "GET /to", ""}, Method{307, "POST /to", "a=b"},
                                         Method{308, "POST /to", "a=b"}),
                         [](const auto& method) { return std::to_string(method.param.status); });

// RFC 3986, section 5.2, against the base "/from" or "/deep/er/from".
TEST_F(HttpRedirectsTest, RelativeTargets) {
  const std::vector<std::tuple<const char*, const char*, const char*>> cases{
      {"/from", "to", "GET /to"},
      {"/from", "?page=2", "GET /from?page=2"},
      {"/deep/er/from", "to", "GET /deep/er/to"},
      {"/deep/er/from", "../to", "GET /deep/to"},
      {"/deep/er/from", "/to", "GET /to"},
  };
  for (const auto& [from, target, second] : cases) {
    LoopbackServer server(sendingTo(302, target));
    EXPECT_EQ(got(server.url(from)).status(), 200) << target;
    const auto requests = server.finish();
    ASSERT_EQ(requests.size(), 2U) << target;
    EXPECT_EQ(lineOf(requests[1]), second) << target;
  }
}

TEST_F(HttpRedirectsTest, ToAnotherServer) {
  LoopbackServer there(response("200 OK", "there"));
  LoopbackServer here(redirect(301, there.url("/x")));
  const TaHttp http = got(here.url());
  EXPECT_STREQ(http.data(), "there");
  EXPECT_EQ(there.finish().size(), 1U);
}

TEST_F(HttpRedirectsTest, StatusAndDateAreTheLastOnes) {
  LoopbackServer there(response("404 Not Found", "", "Date: Thu, 01 Jan 1970 00:00:20 GMT\r\n"));
  LoopbackServer here(
      response("302 Found", "moved",
               "Date: Thu, 01 Jan 1970 00:00:10 GMT\r\nLocation: " + there.url() + "\r\n"));
  const TaHttp http = got(here.url());
  EXPECT_EQ(http.status(), 404);
  EXPECT_STREQ(http.data(), "");
  EXPECT_EQ(http.date(), 20);
}

TEST_F(HttpRedirectsTest, WithoutATargetIsAnAnswer) {
  LoopbackServer server(response("302 Found", "where?"));
  const TaHttp http = got(server.url());
  EXPECT_EQ(http.status(), 302);
  EXPECT_STREQ(http.data(), "where?");
}

TEST_F(HttpRedirectsTest, TargetOfAnotherStatusIsNotFollowed) {
  LoopbackServer server(sendingTo(201, "/to"));
  EXPECT_EQ(got(server.url("/from")).status(), 201);
  EXPECT_EQ(server.finish().size(), 1U);
}

TEST_F(HttpRedirectsTest, LoopEnds) {
  LoopbackServer server(redirect(302, "/from"));
  expectFailure(got(server.url("/from")), too_many_redirects);
  EXPECT_EQ(server.finish().size(), 17U) << "the first request and 16 redirects";
}

TEST_F(HttpRedirectsTest, LimitCountsRedirects) {
  UrlLoaderLimits limits;
  limits.redirects = 2;
  useLimits(limits);
  const auto counting = [](int stations) {
    return [=](LoopbackServer::Connection& connection, const std::string& request) {
      const int station = std::stoi(lineOf(request).substr(5));
      connection.send(station == stations ? response("200 OK", "arrived")
                                          : redirect(302, '/' + std::to_string(station + 1)));
    };
  };
  LoopbackServer two(counting(2));
  EXPECT_EQ(got(two.url("/0")).status(), 200);
  LoopbackServer three(counting(3));
  expectFailure(got(three.url("/0")), too_many_redirects);
}

TEST_F(HttpRedirectsTest, ToOtherSchemesIsRefused) {
  for (const char* target : {"file:///etc/passwd", "ftp://127.0.0.1/x", "gopher://127.0.0.1/x",
                             "javascript:alert(1)", "http://[::1"}) {
    LoopbackServer server(redirect(302, target));
    const TaHttp http = got(server.url());
    EXPECT_EQ(http.data() == nullptr, http.status() == 0) << target;
    EXPECT_NE(http.status(), 200) << target;
  }
}

TEST_F(HttpRedirectsTest, PostIsNotRepeatedToAnotherServer) {
  constexpr long access_denied = 9;  // CURLE_REMOTE_ACCESS_DENIED
  for (const int status : {307, 308}) {
    LoopbackServer there(response("200 OK", "there"));
    LoopbackServer here(redirect(status, there.url("/x")));
    TaHttp http = client();
    http.post(here.url(), "PASSWORD=secret");
    expectFailure(http, access_denied);
    EXPECT_EQ(there.finish(), Texts{}) << "another port is another server";
    LoopbackServer again(response("200 OK", "there"));
    LoopbackServer getting(redirect(status, again.url("/x")));
    EXPECT_STREQ(got(getting.url()).data(), "there") << "a GET carries nothing";
  }
}

TEST_F(HttpRedirectsTest, PostIsNotRepeatedUnderAnotherHostName) {
  LoopbackServer server(response("200 OK", "there"));
  std::string target = server.url("/to");
  target.replace(target.find("127.0.0.1"), 9, "localhost");
  LoopbackServer here([&](LoopbackServer::Connection& connection, const std::string& request) {
    const bool from = lineOf(request).ends_with("/from");
    connection.send(from ? redirect(307, target) : response("200 OK", "arrived"));
  });
  TaHttp http = client();
  http.post(here.url("/from"), "PASSWORD=secret");
  EXPECT_EQ(http.status(), 0);
  EXPECT_EQ(server.finish(), Texts{});
  EXPECT_EQ(here.finish().size(), 1U);
}

class HttpsRedirectsTest : public HttpTest {
 protected:
  HttpsRedirectsTest() : certificate(makeCertificate(folder.path(), "IP:127.0.0.1")) {
    trust(certificate.file);
  }

  TemporaryFolder folder;
  Certificate certificate;
};

TEST_F(HttpsRedirectsTest, FromHttpToHttpsIsFollowed) {
  HttpsServer secure(certificate, [](const std::string& path, const std::string&) {
    return HttpsReply{200, "secure " + path, "", ""};
  });
  LoopbackServer plain(redirect(301, secure.url("/page")));
  const TaHttp http = got(plain.url());
  EXPECT_EQ(http.status(), 200);
  EXPECT_STREQ(http.data(), "secure /page");
}

TEST_F(HttpsRedirectsTest, FromHttpsToHttpsIsFollowed) {
  HttpsServer secure(certificate, [](const std::string& path, const std::string&) {
    return path == "/from" ? HttpsReply{302, "", "", "/to"} : HttpsReply{200, path, "", ""};
  });
  EXPECT_STREQ(got(secure.url("/from")).data(), "/to");
}

TEST_F(HttpsRedirectsTest, FromHttpsToHttpIsRefused) {
  LoopbackServer plain(response("200 OK", "in clear"));
  HttpsServer secure(certificate, [&](const std::string&, const std::string&) {
    return HttpsReply{302, "", "", plain.url()};
  });
  expectFailure(got(secure.url()), unsupported_protocol);
  TaHttp http = client();
  http.post(secure.url(), "PASSWORD=secret");
  expectFailure(http, unsupported_protocol);
  EXPECT_EQ(plain.finish(), Texts{}) << "nothing was sent in clear";
}

TEST_F(HttpsRedirectsTest, RefusalNamesTheSchemeWhereItIsKnown) {
  const std::pair<const char*, const char*> targets[] = {
      {"http://127.0.0.1:9/", "http"},
      {"ftp://127.0.0.1/x", "ftp"},
      {"otherprogram://127.0.0.1/x", "elsewhere"},
      {"javascript:alert(1)", "elsewhere"},
  };
  for (const auto& [target, words] : targets) {
    HttpsServer secure(certificate, [&, to = target](const std::string&, const std::string&) {
      return HttpsReply{302, "", "", to};
    });
    EXPECT_EQ(got(secure.url()).error(), std::string("The server redirects from https to ") +
                                             words + ", which is not allowed [1]")
        << target;
  }
}

TEST_F(HttpsRedirectsTest, FromHttpsToHttpByAStopBetweenIsRefused) {
  LoopbackServer plain(response("200 OK", "in clear"));
  HttpsServer secure(certificate, [&](const std::string& path, const std::string&) {
    return path == "/between" ? HttpsReply{307, "", "", plain.url()}
                              : HttpsReply{307, "", "", "/between"};
  });
  expectFailure(got(secure.url("/from")), unsupported_protocol);
  EXPECT_EQ(plain.finish(), Texts{});
}

TEST_F(HttpsRedirectsTest, SchemeInUpperCaseIsNoWayAround) {
  LoopbackServer plain(response("200 OK", "in clear"));
  HttpsServer secure(certificate, [&](const std::string&, const std::string&) {
    return HttpsReply{302, "", "", "HTTP" + plain.url().substr(4)};
  });
  expectFailure(got(secure.url()), unsupported_protocol);
  EXPECT_EQ(plain.finish(), Texts{});
}

TEST_F(HttpsRedirectsTest, AddressWithHttpsInUpperCaseIsNoWayAround) {
  LoopbackServer plain(response("200 OK", "in clear"));
  HttpsServer secure(certificate, [&](const std::string&, const std::string&) {
    return HttpsReply{302, "", "", plain.url()};
  });
  expectFailure(got("HTTPS" + secure.url().substr(5)), unsupported_protocol);
  EXPECT_EQ(plain.finish(), Texts{});
}

}  // namespace
}  // namespace talvane::test
