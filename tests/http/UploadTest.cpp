// Uploads: files that cannot be read, the spool, progress.
#include <unistd.h>

#include "http/HTTPTestSupport.h"
#include "http/ScriptedLoader.h"
#include "http/SocketServer.h"
#include "support/FaultPoint.h"

namespace kelo {
namespace {

namespace fs = std::filesystem;
using Parts = std::vector<tagHTTPConnection_MultipartBody>;

constexpr std::uint32_t kThreshold = 104857600;

struct Upload : testing::Test {
  Upload() { server.CountZeros(); }
  SocketServer server{AnswerAll("stored")};
  Transport transport;
  TemporaryFolder& folder = transport.folder;
  TemporaryFolder files;

  TransportCode Send(const Parts& parts,
                     const std::vector<tagHTTPConnection_HeaderInfo>& headers = {}) {
    return transport.Send(server.Url("/up"), parts, 5, headers, "q=1");
  }
  std::string LastBody() {
    const std::string request = server.Requests().back();
    return request.substr(request.find("\r\n\r\n") + 4);
  }
  // Whether this process has a spool file open, which must be private and have no name.
  bool HasOpenSpool() {
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      const std::string target = fs::read_symlink(entry.path(), gone).string();
      if (!target.starts_with(folder.Path("spool"))) continue;
      EXPECT_TRUE(target.ends_with("(deleted)")) << target;
      EXPECT_EQ(fs::status(entry.path()).permissions(), fs::perms(0600));
      return true;
    }
    return false;
  }
  // A sparse file that begins with `mark`.
  std::string BigFile(const std::string& name, const std::string& mark, std::uint32_t size) {
    const std::string path = files.Write(name, mark);
    fs::resize_file(path, size);
    return path;
  }
};

TEST_F(Upload, SendsNothingUnlessEveryFileSuppliesItsSize) {
  const std::string good = files.Write("good", "good");
  const std::string big = BigFile("big", "", kThreshold);
  const std::pair<std::string, std::uint32_t> cases[] = {{files.Path("missing"), 0},
                                                         {files.Write("short", "abc"), 4},
                                                         {files.Write("empty", ""), 1},
                                                         {good + "/x", 1},
                                                         {good + std::string("\0x", 2), 1},
                                                         {"/proc/self/mem", 1},
                                                         {"", 1}};
  for (const auto& [path, size] : cases) {
    for (const std::uint32_t ballast : {0u, kThreshold}) {  // in memory, through the spool
      EXPECT_EQ(Send({{"h", good, 4}, {"h", path, size}, {"t", ballast ? big : "", ballast}}),
                4107u)
          << path << " with " << ballast;
    }
  }
  EXPECT_EQ(server.Connections(), 0);
  EXPECT_TRUE(transport.progress.heard.empty());
  EXPECT_EQ(folder.EntryCount(), 0u);
}

TEST_F(Upload, SpoolsFromAHundredMebibytesOn) {
  const std::string almost = BigFile("almost", "first", kThreshold - 1);
  const std::string last = files.Write("last", "Zz");
  bool spooled = false;
  transport.progress.reaction = [&] {
    spooled = HasOpenSpool();
    EXPECT_EQ(folder.EntryCount(), 0u);
  };
  for (const std::uint32_t size : {0u, 1u, 2u}) {
    SCOPED_TRACE(size);
    transport.progress.heard.clear();
    ASSERT_EQ(Send({{"<", almost, kThreshold - 1}, {"|", last, size}, {">", "", 0}}), 0u);
    EXPECT_EQ(spooled, size > 0);
    EXPECT_EQ(LastBody(), "<first|" + std::string("Zz", size) + ">(104857594 zeros)");
    const auto& uploads = transport.progress.heard;  // others may come in between
    EXPECT_EQ(uploads.front(), (Progress{last, 0, 0}));
    EXPECT_EQ(uploads.back(), (Progress{last, kThreshold - 1 + size, 2}));
  }
}

TEST_F(Upload, TheSpoolTakesThePlaceOfFilesAndLinks) {
  const std::string spool = folder.Path("spool");
  const std::string victim = files.Write("victim", "precious");
  const Parts small = {{"small", "", 0}};
  const Parts large = {{"large", BigFile("big", "x", kThreshold), kThreshold}};
  for (const Parts& parts : {small, large}) {
    folder.Write("spool", "stale");
    EXPECT_EQ(Send(parts), 0u);
    EXPECT_EQ(folder.EntryCount(), 0u) << "a stale file goes";
    fs::create_symlink(victim, spool);
    EXPECT_EQ(Send(parts), 0u);
    EXPECT_EQ(folder.EntryCount(), 0u) << "a link goes";
    EXPECT_EQ(ReadFile(victim), "precious");
  }
  // What cannot be taken away stays, and a neighbour serves.
  fs::create_directory(spool);
  for (const Parts& parts : {small, large}) {
    transport.progress.reaction = [&] { EXPECT_EQ(HasOpenSpool(), parts[0].fileSize > 0); };
    EXPECT_EQ(Send(parts), 0u);
    EXPECT_EQ(LastBody(), parts[0].fileSize > 0 ? "largex(104857599 zeros)" : "small");
    EXPECT_EQ(folder.EntryCount(), 1u);
  }
  EXPECT_TRUE(fs::is_directory(spool));
}

TEST_F(Upload, SendsWhatItReadWhateverBecomesOfTheFile) {
  const std::string small = files.Write("small", "as it was");
  const std::string big = BigFile("big", "as it was", kThreshold);
  transport.progress.reaction = [&] {
    files.Write("small", "");
    fs::remove(big);
  };
  ASSERT_EQ(Send({{"", small, 9}}), 0u);
  EXPECT_EQ(LastBody(), "as it was");
  fs::remove(big);
  BigFile("big", "as it was", kThreshold);
  ASSERT_EQ(Send({{"", big, kThreshold}}), 0u);
  EXPECT_EQ(LastBody(), "as it was(104857591 zeros)");
}

TEST_F(Upload, TwoHostsAtOnceDontMeet) {
  const std::string paths[] = {BigFile("one", "one", kThreshold),
                               BigFile("two", "two", kThreshold)};
  TransportCode codes[2] = {};
  std::thread other([&] {
    Transport second(MakeURLLoader(), folder.Path("spool"));
    codes[1] = second.Send(server.Url("/two"), {{"", paths[1], kThreshold}}, 20);
  });
  codes[0] = transport.Send(server.Url("/one"), {{"", paths[0], kThreshold}}, 20);
  other.join();
  EXPECT_EQ(codes[0], 0u);
  EXPECT_EQ(codes[1], 0u);
  for (const std::string& request : server.Requests()) {
    const std::string mark = request.starts_with("POST /one") ? "one" : "two";
    EXPECT_EQ(request.substr(request.find("\r\n\r\n") + 4), mark + "(104857597 zeros)");
  }
  EXPECT_EQ(server.Requests().size(), 2u);
  EXPECT_EQ(folder.EntryCount(), 0u);
}

TEST(UploadSizes, AddUpBeyondTheWidthOfAWord) {
  constexpr std::uint32_t kPiece = 64 << 20;
  LoaderScript script;
  Transport transport(std::make_unique<ScriptedLoader>(script));
  const std::string small = transport.folder.Write("small", "small");
  const std::string large = transport.folder.Write("large", "");
  fs::resize_file(large, kPiece - 3);
  std::ofstream(large, std::ios::app) << "end";
  Parts parts(64, {"", large, kPiece});
  parts.push_back({"", small, 5});
  script.steps.push_back([&](URLConnectionDelegate&) {
    const auto& body = std::get<URLFileBody>(script.requests[0].body);
    EXPECT_EQ(body.length, 0x100000005u);
    char tail[9] = {};
    EXPECT_EQ(pread(body.descriptor, tail, sizeof tail, 0x100000005 - 8), 8);
    EXPECT_STREQ(tail, "endsmall");
  });
  script.Answer(200, "stored");
  const HollowFiles hollow;
  EXPECT_EQ(transport.Send("http://a", parts), 0u);
  EXPECT_EQ(transport.progress.heard.back(), (Progress{small, 0xFFFFFFFF, 65}));
}

TEST(UploadPeer, ThatIsSlowSeesTheBytesCountedAsTheyLeave) {
  using Clock = std::chrono::steady_clock;
  SocketServer server([](Peer& peer) {
    peer.ReadHead();
    for (int i = 0; i < 8; ++i) {
      peer.Skip(512 << 10);
      if (!peer.Pause(std::chrono::milliseconds(60))) return;
    }
    peer.Reply(200, "stored");
  });
  server.ReceiveLittleAtATime();
  Transport transport;
  TemporaryFolder files;
  constexpr std::uint32_t kSize = 2 << 20;
  const std::string file = files.Write("f", std::string(kSize, 'f'));
  const std::string last = files.Write("last", std::string(kSize, 'l'));
  std::vector<Clock::time_point> times;
  transport.progress.reaction = [&] { times.push_back(Clock::now()); };
  const std::string literal(1000, '-');
  ASSERT_EQ(transport.Send(server.Url(), {{literal, file, kSize}, {literal, last, kSize}}), 0u);
  const auto& uploads = transport.progress.heard;
  ASSERT_GE(uploads.size(), 3u);
  EXPECT_EQ(uploads.front(), (Progress{last, 0, 0}));
  EXPECT_EQ(uploads.back(), (Progress{last, 2 * kSize, 2}));
  bool anyPartOfAFile = false;
  for (std::size_t i = 1; i + 1 < uploads.size(); ++i) {
    anyPartOfAFile |= uploads[i].done % kSize != 0;
    EXPECT_EQ(uploads[i].total, 0u) << i;
    EXPECT_GT(uploads[i].done, uploads[i - 1].done) << i;
    EXPECT_LE(uploads[i].done, 2 * kSize) << i;
    EXPECT_GE(times[i] - times[i - 1], std::chrono::milliseconds(95)) << i;
  }
  EXPECT_TRUE(anyPartOfAFile) << "a file that had begun to leave was counted whole";
}

TEST(UploadPeer, ThatRefusesTheBodyBeforeItsEndIsHeard) {
  SocketServer server([](Peer& peer) {
    peer.ReadHead();
    peer.Reply(413, "too large", "Connection: close\r\n");
    peer.WaitUntilClosed();
  });
  Transport transport;
  TemporaryFolder files;
  const std::string file = files.Write("f", "x");
  for (const std::uint32_t size : {64u << 20, kThreshold}) {  // from memory, from the spool
    fs::resize_file(file, size);
    EXPECT_EQ(transport.Send(server.Url(), {{"", file, size}}), 4100u) << size;
    EXPECT_EQ(transport.response, "too large") << size;
  }
  EXPECT_EQ(server.Connections(), 2);
  EXPECT_EQ(transport.folder.EntryCount(), 0u);
}

}  // namespace
}  // namespace kelo
