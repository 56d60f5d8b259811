// After every fault the next command on the same session is right, the catalogue agrees with
// itself, and no file, descriptor or thread is left.

#include "support/AccountTest.h"
#include "support/FaultPoint.h"

namespace kelo::testing {
namespace {

constexpr uint32_t kNotTried = ~0u;  // to this request it is no fault
// With such a label no server of names is asked.
const std::string kNoHost = "http://" + std::string(64, 'x') + ".example";

// What a peer may do wrong, and what each request then comes to.
struct Fault {
  std::string name;
  Reply reply;
  // What a document (PUT), an upload (POST) and the opening of a session (a GET that follows
  // redirects) come to ...
  uint32_t others;
  uint32_t download = others;  // ... and a download, likewise

  friend void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.name; }
};

// These bytes and nothing else; then the connection ends, or goes on.
Reply Bytes(const std::string& bytes, bool goesOn = false) {
  Reply reply{.body = bytes, .hasHead = false};
  if (!goesOn) reply.cutAfter = bytes.size();
  return reply;
}

// `piece` again and again; the limit only ends a test that fails.
Reply WithoutEnd(std::string head, const std::string& piece) {
  while (head.size() < 4u << 20) head += piece;
  return Bytes(head);
}

Reply RedirectTo(const std::string& target) {
  return {.status = 302, .headers = {{"Location", target}}};
}

std::vector<Fault> PeerFaults() {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string chunked = ok + "Transfer-Encoding: chunked\r\n\r\n";
  const std::string packed = ok + "Content-Encoding: gzip\r\nContent-Length: ";
  const std::string found = "HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/\r\n";
  const std::string line = "X: " + std::string(1000, 'x') + "\r\n";
  const std::string begun = ok + "Content-Length: 9\r\n\r\nabc";
  const std::string gzip("\x1f\x8b\x08\0\0\0\0\0\0\3", 10);
  return {
      {"closed", {.closeAtOnce = true}, 4129},
      {"reset", {.reset = true}, 4129},
      {"reset in the body", {.body = begun, .reset = true, .hasHead = false}, 4129},
      {"body cut", Bytes(begun), 4129},
      {"chunks cut", Bytes(chunked + "5\r\nabcde\r\n"), 4129},
      {"chunks that are none", Bytes(chunked + "zz\r\nabc"), 4129},
      {"length too short", Bytes(ok + "Content-Length: 3\r\n\r\n<r stat=\"ok\" />", true), 4144,
       kNotTried},
      {"status line cut", Bytes("HTTP/1.1 200 O"), 4129},
      {"head cut in a field", Bytes(ok + "Content-Length: 2\r\nX: "), 4129},
      {"header without end", WithoutEnd(ok + "X: ", std::string(1000, 'x')), 4114},
      {"head cut before its end", Bytes(ok), 4129},
      {"redirect cut", Bytes("HTTP/1.1 302 Found\r\nLocation: /\r\n"), 4129},
      {"404 with its body cut", Bytes("HTTP/1.1 404 No\r\nContent-Length: 9\r\n\r\nabc"), 4129},
      {"404 cut", Bytes("HTTP/1.1 404 Not Found\r\n"), 4129},
      {"only an interim answer", Bytes("HTTP/1.1 100 Continue\r\n\r\n"), 4129},
      {"headers without end", WithoutEnd(ok, line), 4114},
      {"interim answers without end", WithoutEnd("", "HTTP/1.1 100 Continue\r\n\r\n"), 4114},
      {"trailers without end", WithoutEnd(chunked + "3\r\nabc\r\n0\r\n", line), 4114},
      {"redirect with a body without end", WithoutEnd(found + "\r\n", line), 4114},
      {"redirect to no host", RedirectTo(kNoHost), 4114},
      {"garbage", Bytes("\x01\x02 this is no HTTP\r\n\r\n"), 4114},
      {"another protocol", Bytes("220 ready for mail\r\n"), 4114},
      {"404", {.status = 404}, 4114, 4098},
      {"500", {.status = 500, .body = "oops"}, 4114},
      {"504", {.status = 504}, 4128},
      {"redirect to a closed port", RedirectTo("http://127.0.0.1:1/"), 4114},
      {"redirect to another scheme", RedirectTo("file:///etc/hostname"), 4114},
      {"redirect in a circle", RedirectTo("/again"), 4114},
      {"redirect to nowhere", {.status = 302}, 4114},
      {"broken compression", Bytes(packed + "4\r\n\r\nabcd"), 4114, kNotTried},
      {"compression cut", Bytes(packed + "10\r\n\r\n" + gzip, true), 4144, kNotTried},
      {"empty", {}, 4144, kNotTried},
      {"no stat and closed", Bytes(ok + "Content-Length: 5\r\n\r\n<r />"), 4144, kNotTried},
      {"service error", {.body = "<r stat=\"fail\" errcode=\"208\" />"}, 4101, kNotTried},
      {"silent until the abort", {.silent = true}, 3},
      {"slow until the abort", Bytes(ok + "Content-Length: 100\r\n\r\nabc", true), 3},
  };
}

class RecoveryTest : public AccountTest {
 protected:
  static constexpr size_t kMaxConnections = 4;

  void SetUp() override {
    ASSERT_NO_FATAL_FAILURE(OpenAccount());
    ExpectRecovered(Url());
    maxSockets_ = Sockets() + 2 * kMaxConnections;  // both ends are this process's
    files_ = OpenFiles(false);
  }
  static size_t Sockets() { return OpenFiles(true).size() - OpenFiles(false).size(); }

  void ExpectNothingLeft() {
    ExpectRecovered(Url());
    EXPECT_TRUE(Await([&] { return Sockets() <= maxSockets_; })) << "connections are left";
    EXPECT_TRUE(Await([&] { return OpenFiles(false) == files_; })) << "a descriptor is left";
  }

  // The command meets the fault behind `good` requests of it; then all is well again.
  void Meet(const Fault& fault, const char* command, uint32_t expected, int good,
            const std::function<uint32_t()>& send) {
    if (expected == kNotTried) return;
    SCOPED_TRACE(command + std::to_string(good));
    const Catalogue before = ReadCatalogue();
    std::atomic<int> requests = 0;
    service().SetScript([&, reply = fault.reply](const ClientRequest&) {
      return ++requests > good ? std::optional(reply) : std::nullopt;
    });
    std::jthread other;
    if (expected == kKELOResult_Aborted) {
      other = std::jthread([&] {
        EXPECT_TRUE(Await([&] { return requests > good; }));
        EXPECT_EQ(KELOAccessCommand(kKELOCommand_Abort, nullptr), 0u);
      });
    }
    EXPECT_EQ(send(), expected);
    if (other.joinable()) other.join();
    service().SetScript({});
    EXPECT_FALSE(std::filesystem::exists(DownloadPath()));
    // Until the friends' albums are asked for, what was loaded stays.
    if (good < 2) EXPECT_EQ(ReadCatalogue(), before);
    ExpectNothingLeft();
  }

  size_t maxSockets_ = 0;
  std::multiset<std::string> files_;
};

class AfterPeerFault : public RecoveryTest, public ::testing::WithParamInterface<Fault> {};

TEST_P(AfterPeerFault, EveryKindOfRequestWorksAgain) {
  const Fault& fault = GetParam();
  Meet(fault, "document", fault.others, 0, [&] { return Capacity(); });
  for (const int good : {0, 1, 2}) Meet(fault, "load", fault.others, good, [&] { return Load(); });
  for (const uint32_t options : {0u, uint32_t{kKELOOption_CheckDuplicates}}) {
    const auto upload = [&] {
      std::string id;
      const uint32_t result = Upload(album_, id, options);
      EXPECT_EQ(id, "");
      return result;
    };
    Meet(fault, "upload", fault.others, 0, upload);
  }
  const auto download = [&] { return Download(Url() + picturePath_); };
  Meet(fault, "download", fault.download, 0, download);
  Meet(fault, "open session", fault.others, 0, [&] { return Open(); });
}

INSTANTIATE_TEST_SUITE_P(, AfterPeerFault, ::testing::ValuesIn(PeerFaults()), [](const auto& row) {
  std::string name = row.param.name;
  std::ranges::replace(name, ' ', '_');
  return name;
});

// An upload of 100 MiB goes through a file, for which there is no space.
TEST_F(RecoveryTest, AfterASpoolOnAFullDisk) {
  std::string path = folder().Write("large", "");
  std::filesystem::resize_file(path, 100 << 20);
  tagKELO_LoadInfo file = UploadOf(path, 100 << 20);
  {
    const FailingCall full("write", ENOSPC, 1 << 20);
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
    EXPECT_EQ(Download(Url() + picturePath_), throwing ? 4144u : 3u);
    EXPECT_FALSE(std::filesystem::exists(DownloadPath()));
    ExpectNothingLeft();
    eventsLeft = 1;
    EXPECT_EQ(Upload(album_, id), throwing ? 4144u : 3u);
    EXPECT_EQ(id, "");
    ExpectNothingLeft();
  }
}

// Everything that a session has opened goes with the controller, also after failed lookups.
struct FailedLookups : CommandTest {
  void TestBody() override {
    service().SetScript([](const auto&) { return RedirectTo(kNoHost); });
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Open(), 4114u);
    service().SetScript({});
    EXPECT_EQ(Open(), 0u);
  }
};

TEST(Closing, LeavesNoDescriptorAndNoThread) {
  const auto threads = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
  };
  const auto files = OpenFiles(true);
  const auto before = threads();
  FailedLookups().TestBody();
  EXPECT_TRUE(Await([&] { return OpenFiles(true) == files && threads() == before; }));
}

}  // namespace
}  // namespace kelo::testing
