// The server URLs, from a file named by the environment; and which URLs can be formed.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "http/HTTPTestSupport.h"
#include "platform/URLLoadingCurl.h"

namespace kelo {
namespace {

constexpr const char* kDefaultKELO = "http://api.talvo.example";
constexpr const char* kDefaultGA = "http://www.talvo.example";

std::string KELOServer() {
  std::string url = "stale";
  KELOHTTPController().GetURLofKELOServer(url);
  return url;
}

std::string GAServer() {
  std::string url = "stale";
  KELOHTTPController().GetURLofGAServer(url);
  return url;
}

TEST(ServerURL, TakesWhatStandsBetweenTheQuotesBehindTheKey) {
  const std::string kelo = "kKELO_URLofKELOServer";
  const std::string ga = "kKELO_URLofGAServer";
  const struct {
    std::string text, kelo, ga;
  } cases[] = {
      {"", kDefaultKELO, kDefaultGA},
      {"nothing of use", kDefaultKELO, kDefaultGA},
      {kelo + " = \"http://k\"\n" + ga + " = \"http://g/\"\n", "http://k", "http://g/"},
      {kelo + "=\"http://k\"", "http://k", kDefaultGA},
      {ga + "\n\n  ' no quote yet '\n\" as it stands \" \"b\"", kDefaultKELO, " as it stands "},
      {kelo + "=\"\" " + ga + "=\"g\"", kDefaultKELO, "g"},
      {kelo + "=\"", kDefaultKELO, kDefaultGA},
      {kelo + "=\"unclosed", kDefaultKELO, kDefaultGA},
      {kelo, kDefaultKELO, kDefaultGA},
      {"x" + kelo + "x=\"inside a word\"", "inside a word", kDefaultGA},
      {kelo + "=\"first\" " + kelo + "=\"second\"", "first", kDefaultGA},
      {std::string("\0", 1) + kelo + "=\"behind a zero\"", kDefaultKELO, kDefaultGA},
      {kelo + "=\"cut" + std::string("\0", 1) + "\"", kDefaultKELO, kDefaultGA},
  };
  TemporaryFolder folder;
  setenv("KELO_URLS_FILE", (folder.Path("urls")).c_str(), 1);
  EXPECT_EQ(KELOServer(), kDefaultKELO) << "no file";
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    folder.Write("urls", c.text);
    EXPECT_EQ(KELOServer(), c.kelo);
    EXPECT_EQ(GAServer(), c.ga);
  }
  setenv("KELO_URLS_FILE", (folder.Path("")).c_str(), 1);
  EXPECT_EQ(KELOServer(), kDefaultKELO) << "a folder in its place";
  unsetenv("KELO_URLS_FILE");
}

TEST(URLRules, Schemes) {
  const std::pair<std::string, URLScheme> cases[] = {
      {"http://h", URLScheme::HTTP},
      {"HTTPS://h:1/p?q#f", URLScheme::HTTPS},
      {"http://[::1]:80/", URLScheme::HTTP},
      {"ftp://h/f", URLScheme::Unsupported},
      {"file:///etc/passwd", URLScheme::Unsupported},
      {"gopher://h", URLScheme::Unsupported},
      {"", URLScheme::Malformed},
      {"h/p", URLScheme::Malformed},
      {"http:/h", URLScheme::Malformed},
      {"http:///h", URLScheme::Malformed},
      {"http://h:port/", URLScheme::Malformed},
      {"http://h h/", URLScheme::Malformed},
      {"http://h/a b", URLScheme::Malformed},
      {"http://h/\r\nX: y", URLScheme::Malformed},
      {std::string("http://h/\0p", 11), URLScheme::Malformed},
  };
  for (const auto& [text, scheme] : cases) {
    EXPECT_EQ(SchemeOfURL(text), scheme) << text;
    EXPECT_EQ(IsWellFormedURL(text), scheme != URLScheme::Malformed) << text;
  }
}

}  // namespace
}  // namespace kelo
