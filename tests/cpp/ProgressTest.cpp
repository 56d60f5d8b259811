// Callbacks: what they may capture, give and throw; aborts; and that the next command is as ever.
#include <gmock/gmock.h>
#include <sys/inotify.h>

#include "LibraryFixture.h"
#include "devservice/files/Descriptor.h"

namespace kelo::testing {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;

class ProgressTest : public LibraryTest {
 protected:
  void SetUp() override { Open(); }

  // Two files of a megabyte; `slowly`: they would take half a minute.
  std::vector<DownloadFile> Files(bool slowly) {
    service().SetScript([slowly](const ClientRequest& request) -> std::optional<Reply> {
      if (request.verb != "GET") return std::nullopt;
      Reply reply;
      reply.body.assign(1 << 20, 'x');
      if (slowly) reply.bytesPerSecond = 50'000;
      return reply;
    });
    return {{Url() + "/a", folder().Path("a")}, {Url() + "/b", folder().Path("b")}};
  }
  void ExpectAborted(const std::vector<DownloadedFile>& files) {
    ASSERT_EQ(files.size(), 2u);
    for (const DownloadedFile& file : files) {
      ASSERT_TRUE(file.error);
      EXPECT_EQ(file.error->Code(), uint32_t{kKELOResult_Aborted});
    }
    ExpectNothingLeft();
  }
  void ExpectNothingLeft() {
    EXPECT_EQ(folder().EntryCount(), 1u) << "more than the file of the URL";
    EXPECT_EQ(library_->Capacity().used, 0u);
  }
};

void HearNothing(const Progress&) {}

TEST_F(ProgressTest, AnyCallableHearsOfATransfer) {
  std::vector<Progress> heard;
  auto owned = std::make_unique<int>(0);
  const auto files = Files(false);
  auto count = [&heard, owned = std::move(owned)](const Progress& progress) mutable {
    heard.push_back(progress);
    ++*owned;
  };
  const auto downloaded = library_->Download(files, std::move(count));
  EXPECT_FALSE(downloaded[0].error || downloaded[1].error);
  ASSERT_FALSE(heard.empty());
  EXPECT_EQ(heard.back().done, 1u << 20);
  EXPECT_EQ(heard.back().files, 2u);
  EXPECT_EQ(heard.back().filesDone, 2u);
  EXPECT_FALSE(heard.back().isUpload);

  heard.clear();
  library_->Upload(kRoot, {{.path = files[0].path}}, {},
                   [&](const Progress& p) { heard.push_back(p); });
  ASSERT_FALSE(heard.empty());
  EXPECT_TRUE(heard.back().isUpload);
  EXPECT_EQ(heard.back().total, 1u << 20);

  // There may be none, and one that was moved from is none.
  heard.clear();
  OnProgress hear = [&](const Progress& p) { heard.push_back(p); };
  const OnProgress moved = std::move(hear);
  const std::function<bool(const Progress&)> empty;
  bool (*const null)(const Progress&) = nullptr;
  for (const OnProgress& none : {OnProgress(empty), OnProgress(null), hear}) {
    EXPECT_FALSE(none);
    EXPECT_NO_THROW(library_->Upload(kRoot, {{.path = files[1].path}}, {}, none));
  }
  EXPECT_TRUE(heard.empty());
  EXPECT_TRUE(OnProgress(HearNothing));
  library_->Upload(kRoot, {{.path = files[1].path}}, {}, moved);
  EXPECT_FALSE(heard.empty());

  // It hears of its own command only.
  heard.clear();
  library_->Upload(kRoot, {{.path = files[1].path}});
  EXPECT_TRUE(heard.empty());
}

TEST_F(ProgressTest, FalseAborts) {
  int calls = 0;
  ExpectAborted(library_->Download(Files(true), [&](const Progress&) { return ++calls < 2; }));
  EXPECT_EQ(calls, 2) << "nothing is told behind the one that ended it";
  // With the last event of a file, too.
  const auto files = Files(false);
  const auto downloaded =
      library_->Download(files, [](const Progress& p) { return p.filesDone == 0; });
  EXPECT_FALSE(downloaded[0].error);
  ASSERT_TRUE(downloaded[1].error);
  EXPECT_EQ(downloaded[1].error->Code(), uint32_t{kKELOResult_Aborted});
  EXPECT_EQ(Told([&] {
              return library_->Upload(kRoot, {{.path = files[0].path}}, {},
                                      [](const Progress&) { return false; });
            }),
            ":3 3");
}

TEST_F(ProgressTest, WhatACallbackThrowsComesOutOfTheCall) {
  const auto fail = [](const Progress&) { throw std::out_of_range("mine"); };
  EXPECT_THROW(library_->Download(Files(true), fail), std::out_of_range);
  ExpectNothingLeft();
  EXPECT_EQ(Requests("").size(), 1u) << "the second file was asked for";
}

TEST_F(ProgressTest, ACallbackSendsNothingButAbort) {
  std::string words;
  ExpectAborted(library_->Download(Files(true), [&](const Progress&) {
    words = Failure([&] { library_->List(kRoot, Kind::Album); });
    library_->Abort();
  }));
  EXPECT_EQ(words, "cannot list the items: a progress callback can send nothing (4112)");
}

// A service that is silent lets no callback end the call.
TEST_F(ProgressTest, AnotherThreadAborts) {
  const auto files = Files(true);
  service().SetScript([](const ClientRequest& request) {
    return request.verb == "GET" ? std::optional(Reply{.silent = true}) : std::nullopt;
  });
  const auto fail = [](const Progress&) { ADD_FAILURE() << "nothing has moved"; };
  std::stop_source source;
  for (const bool byToken : {false, true}) {
    service().ClearArrived();
    const std::jthread other([&] {
      service().WaitForRequest([](const ClientRequest& request) { return request.verb == "GET"; });
      byToken ? void(source.request_stop()) : library_->Abort();
    });
    ExpectAborted(library_->Download(files, fail, source.get_token()));
  }
  service().ClearArrived();
  EXPECT_THAT(Failure([&] { library_->Load(source.get_token()); }), HasSubstr("aborted (3)"));
  EXPECT_THROW(
      library_->Upload(kRoot, {{.path = folder().Path("urls")}}, {}, {}, source.get_token()),
      UploadError);
  EXPECT_EQ(service().RequestCount(), 0u) << "a stop that came before sends nothing";
}

// While an upload looks at its files nothing is under way yet.
TEST_F(ProgressTest, AnotherThreadAbortsBeforeAnythingIsSent) {
  std::atomic<bool> aborted = false;
  service().SetScript([&](const ClientRequest&) -> std::optional<Reply> {
    return aborted ? Reply{.status = 500} : Reply{.silent = true};
  });
  const std::string path = folder().Write("a.jpg", "a");
  const devservice::Descriptor watch(inotify_init1(IN_CLOEXEC));
  ASSERT_GE(inotify_add_watch(watch.Get(), path.c_str(), IN_OPEN), 0);
  std::thread other([&] {
    char event[4096];
    EXPECT_GT(read(watch.Get(), event, sizeof event), 0);
    aborted = true;
    library_->Abort();
  });
  const std::vector<UploadFile> files(5000, {.path = path});
  EXPECT_THAT(Told([&] { return library_->Upload(kRoot, files); }), EndsWith(":3 3"));
  other.join();
}

}  // namespace
}  // namespace kelo::testing
