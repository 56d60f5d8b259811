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
  HTTPConnection& connection = transport.connection;
  std::string response = "stale";

  TransportCode Get() { return connection.HTTPRequestGET("http://h/p", "q=1", response, 7); }
  TransportCode Download(std::uint32_t& size) {
    return connection.HTTPFileDownload("http://h/f", transport.folder.Path("out"), size, 7);
  }
};

TEST(MacHTTPControl, StatusDecidesAndTheBodyIsDeliveredAnyway) {
  const struct {
    int status;
    std::uint32_t get, download;
  } cases[] = {{200, 0, 0},       {404, 4097, 4101}, {408, 4098, 4098}, {504, 4098, 4098},
               {413, 4100, 4100}, {201, 4112, 4112}, {204, 4112, 4112}, {302, 4112, 4112},
               {500, 4112, 4112}, {0, 4112, 4112}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.status);
    Scripted s;
    s.script.Answer(c.status, "answer");
    EXPECT_EQ(s.Get(), c.get);
    EXPECT_EQ(s.response, "answer");
    s.script.Answer(c.status, "answer");
    std::uint32_t size = 99;
    EXPECT_EQ(s.Download(size), c.download);
    EXPECT_EQ(size, c.download == 0 ? 6u : 0u);
    EXPECT_EQ(s.transport.folder.EntryCount(), c.download == 0 ? 1u : 0u);
    EXPECT_EQ(s.transport.progress.downloads.size(), c.download == 0 ? 1u : 0u);
  }
}

TEST(MacHTTPControl, FailuresDecideOverTheStatusAndDeliverNothing) {
  const struct {
    std::string_view domain;
    int code;
    std::uint32_t expected;
  } cases[] = {{kURLErrorDomain, -1003, 4097}, {kURLErrorDomain, -1006, 4097},
               {kURLErrorDomain, -1005, 4099}, {kURLErrorDomain, -1001, 4098},
               {kURLErrorDomain, -999, 4100},  {kURLErrorDomain, -1002, 4112},
               {kURLErrorDomain, -1, 4112},    {"NSPOSIXErrorDomain", -1001, 4112}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.code);
    Scripted s;
    s.script.Response(413);  // -999 leaves this one standing
    s.script.Data("partial");
    s.script.Fail(c.domain, c.code);
    EXPECT_EQ(s.Get(), c.expected);
    EXPECT_EQ(s.response, "");
    s.script.Answer(200, "next");
    EXPECT_EQ(s.Get(), 0u) << "the next request begins anew";
    EXPECT_EQ(s.response, "next");
  }
}

TEST(MacHTTPControl, AnswerTextEndsAtItsFirstZeroByte) {
  Scripted s;
  s.script.Answer(200, std::string("text\0more\0", 10));
  EXPECT_EQ(s.Get(), 0u);
  EXPECT_EQ(s.response, "text");
  s.script.Answer(200, std::string("\0", 1));
  EXPECT_EQ(s.Get(), 0u);
  EXPECT_EQ(s.response, "");
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
  EXPECT_EQ(s.response, "");
}

TEST(MacHTTPControl, DownloadProgressSaturatesAndTheFileIsWhatCame) {
  Scripted s;
  s.script.Response(200, (std::uint64_t{5} << 32) + 1);
  s.script.Data("abc");
  s.script.Data("defg");
  s.script.Finish();
  std::uint32_t size = 0;
  EXPECT_EQ(s.Download(size), 0u);
  EXPECT_EQ(size, 7u);
  const std::vector<Progress> expected = {{"", 3, 0xFFFFFFFF}, {"", 7, 0xFFFFFFFF}};
  EXPECT_EQ(s.transport.progress.downloads, expected);
  EXPECT_EQ(ReadFile(s.transport.folder.Path("out")), "abcdefg");

  Scripted unknownLength;
  unknownLength.script.Response(200);
  unknownLength.script.Data("abc");
  unknownLength.script.Finish();
  EXPECT_EQ(unknownLength.Download(size), 0u);
  EXPECT_EQ(unknownLength.transport.progress.downloads, (std::vector<Progress>{{"", 3, 0}}));
}

TEST(MacHTTPControl, AbortWinsOverAFailureButNotOverTheEnd) {
  Scripted s;
  const auto abort = [&](URLConnectionDelegate&) { s.connection.HTTPAbort(); };
  s.script.Response(413);
  s.script.steps.push_back([&](URLConnectionDelegate& delegate) {
    abort(delegate);
    delegate.DidFailWithError(kURLErrorDomain, kURLError_TimedOut);
  });
  EXPECT_EQ(s.Get(), 1u);
  s.script.Response(200);
  s.script.steps.push_back([&](URLConnectionDelegate& delegate) {
    delegate.DidFinishLoading();
    abort(delegate);
  });
  EXPECT_EQ(s.Get(), 0u);
}

TEST(KELOHTTPController, TranslatesTransportCodes) {
  KELOHTTPController controller;
  const std::pair<std::uint32_t, std::uint32_t> cases[] = {
      {0, 0},       {1, 3},       {4097, 4114}, {4098, 4128}, {4099, 4129},      {4100, 4103},
      {4101, 4098}, {4102, 4099}, {4103, 4101}, {4104, 4102}, {4105, 4114},      {4106, 4113},
      {4107, 4098}, {4112, 4114}, {2, 4114},    {4096, 4114}, {0xFFFFFFFF, 4114}};
  for (const auto& [transport, result] : cases)
    EXPECT_EQ(controller.ConvertErrorCodeHTTPtoKELO(TransportCode{transport}), result) << transport;
}

}  // namespace
}  // namespace kelo
