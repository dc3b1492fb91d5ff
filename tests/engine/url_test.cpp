#include "engine/url.h"

#include <gtest/gtest.h>

#include <string>

#include "engine/text.h"

namespace talvane::test {
namespace {

TEST(Origin, SchemeHostAndPort) {
  EXPECT_EQ(originOf("https://srv.example/a?b#c"), "https://srv.example:443");
  EXPECT_EQ(originOf("http://srv.example"), "http://srv.example:80");
  EXPECT_EQ(originOf("HTTPS://Srv.Example:8443/"), "https://srv.example:8443");
  EXPECT_EQ(originOf("https://srv?x"), "https://srv:443");
  EXPECT_EQ(originOf("https://srv:/"), "https://srv:443");
  EXPECT_EQ(originOf("https://[::1]/"), "https://[::1]:443");
  EXPECT_EQ(originOf("https://[::1]:9/"), "https://[::1]:9");
  EXPECT_EQ(originOf("https://[FE80::A]:9/"), "https://[fe80::a]:9");
  EXPECT_EQ(originOf("https://[::1]:/"), "https://[::1]:443");
}

TEST(Origin, DoubtfulAddressesHaveNone) {
  for (const char* url : {"", "srv", "ftp://srv/", "https:srv", "https://", "https:///x",
                          "https://user@srv/", "https://evil\\@srv/", "https://srv%2Eexample/",
                          "https://s rv/", "https://s\xC3\xA4/", " https://srv"}) {
    EXPECT_EQ(originOf(url), "") << url;
  }
}

TEST(Origin, EveryCharacterOfAServer) {
  const std::string allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._[";
  for (char c = 1; c < 127; ++c) {
    if (std::string("/?#:]").find(c) != std::string::npos) continue;  // they end a part
    const bool fits = allowed.find(c) != std::string::npos;
    const std::string server = std::string("a") + c + 'b';
    EXPECT_EQ(originOf("https://" + server + "/"),
              fits ? "https://" + lowerCase(server) + ":443" : "");
  }
}

TEST(UrlParts, SchemeHostPathAndQuery) {
  const UrlParts parts = urlParts("otpauth://totp/My%20Mail?secret=A%42&x#fragment?y");
  EXPECT_EQ(parts.scheme, "otpauth");
  EXPECT_EQ(parts.host, "totp");
  EXPECT_EQ(parts.path, "/My Mail");
  ASSERT_TRUE(parts.query.has_value());
  EXPECT_EQ(parts.query->get(), "secret=A%42&x");
  EXPECT_EQ(urlParts("s:path#one#two").path, "path");
}

TEST(UrlParts, PartsThatAreMissing) {
  EXPECT_FALSE(urlParts("s://h").query.has_value());
  EXPECT_EQ(urlParts("s://h").path, "");
  EXPECT_FALSE(urlParts("s:path").host.has_value());
  EXPECT_EQ(urlParts("s:path").path, "path");
  EXPECT_EQ(urlParts("s:///path").host, "");
  EXPECT_EQ(urlParts("s:?q").query->get(), "q");
  for (const char* url : {"", "no scheme", "://h/p", ":", "/p?q", "a/b:c"}) {
    const UrlParts parts = urlParts(url);
    EXPECT_FALSE(parts.scheme || parts.host || parts.path || parts.query) << url;
  }
}

TEST(UrlParts, HostWithoutUserAndPort) {
  EXPECT_EQ(urlParts("s://h:1/").host, "h");
  EXPECT_EQ(urlParts("s://user@h:1/").host, "h");
  EXPECT_EQ(urlParts("s://user@old@h/").host, "h");
  EXPECT_EQ(urlParts("s://user:word@h/").host, "h");
  EXPECT_EQ(urlParts("s://[::1]:8/").host, "::1");
  EXPECT_EQ(urlParts("s://[::1]").host, "::1");
  EXPECT_EQ(urlParts("s://[::1]]/").host, "::1");
}

TEST(UrlParts, OneSlashAtTheEndOfThePathGoes) {
  EXPECT_EQ(urlParts("s://h/").path, "/");
  EXPECT_EQ(urlParts("s://h//").path, "/");
  EXPECT_EQ(urlParts("s://h/a/").path, "/a");
  EXPECT_EQ(urlParts("s://h/a//").path, "/a/");
  EXPECT_EQ(urlParts("s:a/").path, "a");
  EXPECT_EQ(urlParts("s:/").path, "/");
}

TEST(UrlParts, EveryCharacterOfAScheme) {
  const std::string allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-.";
  for (char c = 1; c < 127; ++c) {
    if (c == ':') continue;
    const std::string scheme = std::string("a") + c + 'b';
    const bool fits = allowed.find(c) != std::string::npos;
    EXPECT_EQ(urlParts(scheme + "://h/").scheme.value_or("none"), fits ? scheme : "none");
  }
}

TEST(WebAddress, HttpAndHttpsOnly) {
  for (const char* url : {"http://srv", "https://srv/x", "HTTPS://srv", "Http://"}) {
    EXPECT_TRUE(isWebAddress(url)) << url;
  }
  for (const char* url :
       {"", "http", "http:/srv", "https:srv", "file:///etc/passwd", "/bin/sh",
        "javascript:alert(1)", " http://srv", "httpx://srv", "smb://srv", "mailto:a@b"}) {
    EXPECT_FALSE(isWebAddress(url)) << url;
  }
}

}  // namespace
}  // namespace talvane::test
