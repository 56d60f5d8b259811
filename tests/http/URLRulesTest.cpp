// Which URLs can be formed.
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

}  // namespace
}  // namespace kelo
