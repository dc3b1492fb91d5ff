#include "engine/url.h"

#include <gtest/gtest.h>

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
}

TEST(Origin, DoubtfulAddressesHaveNone) {
  for (const char* url : {"", "srv", "ftp://srv/", "https:srv", "https://", "https:///x",
                          "https://user@srv/", "https://evil\\@srv/", "https://srv%2Eexample/",
                          "https://s rv/", "https://s\xC3\xA4/", " https://srv"}) {
    EXPECT_EQ(originOf(url), "") << url;
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
