// Which URLs can be formed, and what libcurl's errors mean.
#include <gtest/gtest.h>

#include <string>

#include "platform/URLLoading.h"
#include "platform/URLLoadingCurl.h"

namespace kelo {
namespace {

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
      {"http://", URLScheme::Malformed},
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

TEST(URLRules, ErrorsOfTheEngine) {
  const std::pair<CURLcode, int> cases[] = {
      {CURLE_COULDNT_RESOLVE_HOST, -1003}, {CURLE_COULDNT_RESOLVE_PROXY, -1003},
      {CURLE_OPERATION_TIMEDOUT, -1001},   {CURLE_PARTIAL_FILE, -1005},
      {CURLE_GOT_NOTHING, -1005},          {CURLE_SEND_ERROR, -1005},
      {CURLE_RECV_ERROR, -1005},           {CURLE_SEND_FAIL_REWIND, -1005}};
  for (const auto& [code, expected] : cases) EXPECT_EQ(URLErrorFromCurl(code), expected) << code;
  // All others fall together later; none may be taken for one of those above.
  for (const CURLcode code :
       {CURLE_COULDNT_CONNECT, CURLE_PEER_FAILED_VERIFICATION, CURLE_SSL_CONNECT_ERROR,
        CURLE_UNSUPPORTED_PROTOCOL, CURLE_BAD_CONTENT_ENCODING, CURLE_WEIRD_SERVER_REPLY,
        CURLE_OUT_OF_MEMORY}) {
    const int other = URLErrorFromCurl(code);
    for (const auto& [known, expected] : cases) EXPECT_NE(other, expected) << code;
    EXPECT_NE(other, kURLError_Cancelled) << code;
  }
}

}  // namespace
}  // namespace kelo
