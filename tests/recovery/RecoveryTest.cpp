// After every fault the next command on the same session is right, the catalogue agrees with
// itself, and no file, descriptor or thread is left.

#include <dlfcn.h>
#include <netdb.h>

#include <functional>
#include <thread>

#include "http/FaultyFiles.h"
#include "recovery/Front.h"
#include "recovery/PeerFaults.h"
#include "support/AccountTest.h"

namespace kelo::testing {
namespace {

using namespace std::chrono_literals;

class RecoveryTest : public AccountTest {
 protected:
  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(OpenAccount());
    front_.emplace(Url());
    folder().Write("urls", "kKELO_URLofKELOServer=\"" + front_->Url() + "\"\n");
    UseSessionAt(front_->Url());
    ExpectRecovered(front_->Url());
    files_ = OpenFiles(false);
  }
  // The same session over other URLs; the catalogue is then loaded again.
  void UseSessionAt(const std::string& base) {
    tagKELO_SessionInfo session{};
    ASSERT_EQ(Send(kKELOCommand_GetSessionInfo, Record(&session)), 0u);
    for (auto* url : {&session.uploadUrl, &session.manageUrl}) {
      const std::string before = FieldText(*url);
      SetField(*url, base + before.substr(before.find('/', before.find("//") + 2)));
    }
    UseSession(session);
  }
  std::string FrontUrl() const { return front_->Url(); }

  void ExpectNothingLeft() {
    ExpectRecovered(front_->Url());
    EXPECT_TRUE(Await([&] { return front_->OpenConnections() <= 4; })) << "connections are left";
    EXPECT_TRUE(Await([&] { return OpenFiles(false) == files_; })) << "a descriptor is left";
  }

  // One request of the command meets the fault, after `good` others; then all is well again.
  void Meet(const Fault& fault, const char* command, uint32_t expected, int good,
            const std::function<uint32_t()>& send) {
    if (expected == kNotTried) return;
    SCOPED_TRACE(command);
    const Catalogue before = ReadCatalogue();
    front_->Break(fault.peer, good);
    std::thread other;
    if (expected == kKELOResult_Aborted) {
      other = std::thread([&, requests = static_cast<size_t>(good) + 1] {
        EXPECT_TRUE(front_->WaitForRequests(requests));
        EXPECT_EQ(KELOAccessCommand(kKELOCommand_Abort, nullptr), 0u);
      });
    }
    EXPECT_EQ(send(), expected);
    if (other.joinable()) other.join();
    front_->Heal();
    EXPECT_FALSE(std::filesystem::exists(DownloadPath()));
    // Until the friends' albums are asked for, what was loaded stays.
    if (good < 2) EXPECT_EQ(ReadCatalogue(), before);
    ExpectNothingLeft();
  }

  std::optional<Front> front_;
  std::multiset<std::string> files_;
};

class AfterPeerFault : public RecoveryTest, public ::testing::WithParamInterface<Fault> {};

TEST_P(AfterPeerFault, EveryKindOfRequestWorksAgain) {
  const Fault& fault = GetParam();
  Meet(fault, "document", fault.others, 0, [&] { return Capacity(); });
  for (int good : {0, 1, 2}) {
    Meet(
        fault, ("load " + std::to_string(good)).c_str(), fault.others, good,
        [&] { return Load(); });
  }
  Meet(fault, "upload", fault.others, 0, [&] {
    std::string id;
    const uint32_t result = Upload(album_, id);
    EXPECT_EQ(id, "");
    return result;
  });
  Meet(
      fault, "checked upload", fault.others, 0,
      [&] {
        std::string id;
        return Upload(album_, id, kKELOOption_CheckDuplicates);
      });
  Meet(
      fault, "download", fault.download, 0, [&] { return Download(front_->Url(picturePath_)); });
  Meet(fault, "open session", fault.others, 0, [&] { return Open(); });
}

std::string TestName(const ::testing::TestParamInfo<Fault>& info) {
  std::string name = info.param.name;
  for (char& c : name) c = c == ' ' ? '_' : c;
  return name;
}
INSTANTIATE_TEST_SUITE_P(, AfterPeerFault, ::testing::ValuesIn(PeerFaults()), TestName);

// An upload of 100 MiB goes through a file, for which there is no space.
TEST_F(RecoveryTest, AfterASpoolOnAFullDisk) {
  std::string path = folder().Write("large", "");
  std::filesystem::resize_file(path, 100 << 20);
  tagKELO_LoadInfo file = UploadOf(path, 100 << 20);
  {
    const FaultyFiles full(ENOSPC, 1 << 20);
    EXPECT_EQ(SendOne(kKELOCommand_Upload, &file, album_), 4114u);
  }
  std::filesystem::remove(path);
  ExpectNothingLeft();
}

// The host's callback aborts, or throws, at each event that a command has.
TEST_F(RecoveryTest, AfterACallbackThatEndsItsCommand) {
  static int eventsLeft;
  static bool throws;
  Register([](uint32_t, uint32_t, const tagKELO_ProgressInfo*) -> uint32_t {
    if (--eventsLeft != 0) return 0;
    if (throws) throw 42;
    return KELOAccessCommand(kKELOCommand_Abort, nullptr);
  });
  for (const bool throwing : {false, true}) {
    SCOPED_TRACE(throwing ? "throws" : "aborts");
    throws = throwing;
    std::string id;
    eventsLeft = 1;
    EXPECT_EQ(Download(FrontUrl() + picturePath_), throwing ? 4144u : 3u);
    EXPECT_FALSE(std::filesystem::exists(DownloadPath()));
    ExpectNothingLeft();
    eventsLeft = 1;
    EXPECT_EQ(Upload(album_, id), throwing ? 4144u : 3u);
    EXPECT_EQ(id, "");
    ExpectNothingLeft();
  }
}

// Everything that a session has opened goes with the controller, also after failed lookups.
TEST(Closing, LeavesNoDescriptorAndNoThread) {
  const auto files = OpenFiles(true);
  const size_t threads = CountOfThreads();
  {
    Front front("http://127.0.0.1:1");
    TemporaryFolder folder;
    setenv("KELO_URLS_FILE",
           folder.Write("urls", "kKELO_URLofKELOServer=\"" + front.Url() + "\"").c_str(), 1);
    KELOAccessInitialize(0);
    front.Break(RedirectTo(kNoHost));
    tagKELO_OpenSessionInfo block{};
    tagCommandControlInfo record{};
    record.data = &block;
    for (int i = 0; i < 3; ++i)
      EXPECT_EQ(KELOAccessCommand(kKELOCommand_OpenSession, &record), 4114u);
    front.Break(AnswerStatus(200, "<r stat=\"ok\" />"));
    EXPECT_EQ(KELOAccessCommand(kKELOCommand_OpenSession, &record), 0u);
    KELOAccessClose();
    unsetenv("KELO_URLS_FILE");
  }
  EXPECT_TRUE(Await([&] { return OpenFiles(true) == files && CountOfThreads() == threads; }));
}

}  // namespace
}  // namespace kelo::testing

// No name is looked up outside, and none that ends in .invalid is found.
extern "C" __attribute__((visibility("default"))) int getaddrinfo(const char* node,
                                                                  const char* service,
                                                                  const addrinfo* hints,
                                                                  addrinfo** result) {
  if (node != nullptr && std::string_view(node).ends_with(".invalid")) return EAI_NONAME;
  static const auto system =
      reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  return system(node, service, hints, result);
}
