// What each course of a request's events comes to, by scripted events: those that no peer brings
// about at will.
#include <gtest/gtest.h>

#include <limits>
#include <memory>

#include "http/HTTPTestSupport.h"
#include "http/ScriptedLoader.h"

namespace kelo {
namespace {

struct Scripted {
  LoaderScript script;
  Transport transport{std::make_unique<ScriptedLoader>(script)};

  TransportCode Get() { return transport.Get("http://h/p"); }
};

TEST(MacHTTPControl, AnswerTextEndsAtItsFirstZeroByte) {
  Scripted s;
  s.script.Answer(200, std::string("text\0more\0", 10));
  EXPECT_EQ(s.Get(), 0u);
  EXPECT_EQ(s.transport.response, "text");
  s.script.Answer(200, std::string("\0", 1));
  EXPECT_EQ(s.Get(), 0u);
  EXPECT_EQ(s.transport.response, "");
}

TEST(MacHTTPControl, AnAnswerWithoutEndIsGivenUp) {
  Scripted s;
  const std::size_t tooMuch = (std::size_t{512} << 20) + 1;
  const std::unique_ptr<char[]> untouched(new char[tooMuch]);
  s.script.Response(200, std::numeric_limits<std::uint64_t>::max());
  s.script.steps.push_back([&](URLConnectionDelegate& delegate) {
    delegate.DidReceiveData(std::string_view(untouched.get(), tooMuch));
  });
  EXPECT_EQ(s.Get(), 4112u);
  EXPECT_EQ(s.transport.response, "");
}

TEST(MacHTTPControl, ADownloadOfUnknownLengthHasATotalOfZero) {
  Scripted s;
  s.script.Response(200);
  s.script.Data("abc");
  s.script.Finish();
  EXPECT_EQ(s.transport.Download("http://h/f"), 0u);
  EXPECT_EQ(s.transport.progress.downloads, (std::vector<Progress>{{"", 3, 0}}));
}

TEST(MacHTTPControl, AbortWinsOverAFailureButNotOverTheEnd) {
  Scripted s;
  const auto abort = [&](URLConnectionDelegate&) { s.transport.connection.HTTPAbort(); };
  s.script.Response(413);
  s.script.steps.push_back([&](URLConnectionDelegate& delegate) {
    abort(delegate);
    delegate.DidFailWithError(kURLErrorDomain, URLError::TimedOut);
  });
  EXPECT_EQ(s.Get(), 1u);
  s.script.Response(200);
  s.script.steps.push_back([&](URLConnectionDelegate& delegate) {
    delegate.DidFinishLoading();
    abort(delegate);
  });
  EXPECT_EQ(s.Get(), 0u);
}

}  // namespace
}  // namespace kelo
