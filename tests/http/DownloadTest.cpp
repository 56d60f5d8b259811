// Downloads and the files they make, or must not touch.

#include <cerrno>
#include <csignal>
#include <random>

#include "http/HTTPTestSupport.h"
#include "http/ScriptedLoader.h"
#include "http/SocketServer.h"
#include "platform/FileStream.h"
#include "support/FaultPoint.h"

namespace kelo {
namespace {

namespace fs = std::filesystem;

std::string Bytes(std::size_t size) {
  std::string bytes(size, '\0');
  std::mt19937 random(1);
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

struct DownloadFixture : testing::Test {
  const std::string bytes = Bytes(3 << 20);
  SocketServer server{AnswerAll(bytes)};
  Transport transport;
  TemporaryFolder& folder = transport.folder;

  TransportCode To(const std::string& path) { return transport.DownloadTo(server.Url("/f"), path); }
};

bool HasNamelessFiles() {
  const FileDescriptor place = OpenFolder(fs::temp_directory_path());
  return static_cast<bool>(OpenNamelessFile(place.Get(), 0600));
}

// In both ways: where files can do without a name, and where they cannot.
struct Download : DownloadFixture, testing::WithParamInterface<bool> {
  std::optional<FailingCall> refused;
  Download() {
    if (!GetParam()) refused.emplace("openat", EOPNOTSUPP);
  }
  void SetUp() override {
    if (GetParam() && !HasNamelessFiles()) GTEST_SKIP() << "files have names here";
  }
};
INSTANTIATE_TEST_SUITE_P(, Download, testing::Bool(),
                         [](const auto& naming) { return naming.param ? "nameless" : "named"; });

TEST_P(Download, StoresEveryByte) {
  EXPECT_EQ(To(folder.Path("f")), 0u);
  EXPECT_EQ(transport.size, bytes.size());
  EXPECT_TRUE(ReadFile(folder.Path("f")) == bytes);
  EXPECT_EQ(fs::status(folder.Path("f")).permissions(),
            fs::status(folder.Write("g", "")).permissions());
  std::uint32_t last = 0;
  for (const Progress& progress : transport.progress.heard) {
    EXPECT_GT(progress.done, last);
    EXPECT_EQ(progress.total, bytes.size());
    last = progress.done;
  }
  EXPECT_EQ(last, bytes.size());
}

TEST_P(Download, LeavesAloneWhatStandsAtTheDestination) {
  const std::string file = folder.Write("file", "mine");
  fs::create_symlink(folder.Path("nowhere"), folder.Path("dangling"));
  fs::create_symlink(file, folder.Path("link"));
  fs::create_directory(folder.Path("dir"));
  const std::pair<std::string, std::uint32_t> cases[] = {
      {file, 4102},
      {folder.Path("dangling"), 4102},
      {folder.Path("link"), 4102},
      {folder.Path("dir"), 4102},
      {folder.Path("dir/"), 4102},
      {"", 4106},
      {folder.Path("missing/f"), 4106},
      {folder.Path(std::string(300, 'n')), 4106},
      {folder.Path(std::string("a\0b", 3)), 4106},
  };
  for (const auto& [path, code] : cases) {
    EXPECT_EQ(To(path), code) << path;
    EXPECT_EQ(transport.size, 0u) << path;
  }
  EXPECT_EQ(folder.EntryCount(), 4u);
  EXPECT_EQ(ReadFile(file), "mine");
  EXPECT_TRUE(fs::is_symlink(folder.Path("dangling")) && fs::is_symlink(folder.Path("link")));
  EXPECT_EQ(server.Connections(), 0) << "nothing is asked for that cannot be stored";
}

TEST_P(Download, DiskFaultsLeaveNoFile) {
  const struct {
    const char* call;
    int error;
    std::size_t bytesBefore;
    std::uint32_t code;
  } cases[] = {{"write", ENOSPC, 0, 4104},       {"write", ENOSPC, 1 << 20, 4104},
               {"write", EDQUOT, 1 << 20, 4104}, {"write", EIO, 1 << 20, 4112},
               {"close", ENOSPC, 0, 4104},       {"close", EDQUOT, 0, 4104},
               {"close", EIO, 0, 4112},          {"fstat", EIO, 0, 4106}};
  for (const auto& c : cases) {
    // Nothing is named that has not been written.
    const FailingCall neverNamed("linkat", EEXIST);
    TransportCode code;
    {
      const FailingCall failing(c.call, c.error, c.bytesBefore);
      code = To(folder.Path("f"));
    }
    EXPECT_EQ(code, c.code) << c.call << c.error;
    EXPECT_EQ(transport.size, 0u) << c.call << c.error;
    EXPECT_EQ(folder.EntryCount(), 0u) << c.call << c.error;
  }
  EXPECT_EQ(To(folder.Path("f")), 0u);
}

TEST_P(Download, LeavesAloneWhatTookThePlaceMeanwhile) {
  for (const bool thrown : {false, true}) {
    transport.progress.reaction = [this, thrown] {
      fs::remove(folder.Path("f"));
      folder.Write("f", "somebody else's");
      if (thrown) throw std::runtime_error("end it");
    };
    if (thrown)
      EXPECT_THROW(To(folder.Path("f")), std::runtime_error);
    else
      EXPECT_EQ(To(folder.Path("f")), GetParam() ? 4102u : 0u);
    EXPECT_EQ(ReadFile(folder.Path("f")), "somebody else's");
    fs::remove(folder.Path("f"));
  }
}

TEST_P(Download, StaysInTheFolderThatThePathNamed) {
  const fs::path elsewhere = fs::current_path();
  fs::create_directory(folder.Path("here"));
  for (const bool thrown : {false, true}) {
    fs::current_path(folder.Path("here"));
    transport.progress.reaction = [&] {
      fs::current_path(elsewhere);
      if (thrown) throw std::runtime_error("end it");
    };
    if (thrown)
      EXPECT_THROW(To("g"), std::runtime_error);
    else
      EXPECT_EQ(To("f"), 0u);
  }
  EXPECT_TRUE(ReadFile(folder.Path("here/f")) == bytes);
  EXPECT_FALSE(fs::exists(folder.Path("here/g")));
}

TEST_F(DownloadFixture, LengthsBeyondAWordAreToldAsItsLargest) {
  SocketServer announcing([](Peer& peer) {
    peer.ReadRequest();
    peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 2147483648\r\n\r\nabc");
  });
  EXPECT_EQ(transport.DownloadTo(announcing.Url(), folder.Path("f")), 4099u);
  EXPECT_EQ(transport.progress.heard, (std::vector<Progress>{{"", 3, 0x80000000}}));

  LoaderScript script;
  Transport scripted(std::make_unique<ScriptedLoader>(script));
  const std::string zeros(64 << 20, '\0');
  script.Response(200, 0x100000003);
  for (int i = 0; i < 64; ++i)
    script.steps.push_back([&zeros](URLConnectionDelegate& d) { d.DidReceiveData(zeros); });
  script.Data("end");
  script.Finish();
  const HollowFiles hollow;
  const std::string path = scripted.folder.Path("f");
  EXPECT_EQ(scripted.DownloadTo("http://a", path), 0u);
  EXPECT_EQ(scripted.size, 0xFFFFFFFF);
  EXPECT_EQ(fs::file_size(path), 0x100000003ull);
  const std::vector<Progress>& progress = scripted.progress.heard;
  EXPECT_EQ(progress[31].done, 0x80000000);
  EXPECT_EQ(progress.back(), (Progress{"", 0xFFFFFFFF, 0xFFFFFFFF}));
}

TEST_F(DownloadFixture, ARefusedNameLeavesNoFileOrIsGotRound) {
  if (!HasNamelessFiles()) GTEST_SKIP() << "files have names here";
  const std::pair<int, std::uint32_t> cases[] = {
      {ENOSPC, 4104}, {EDQUOT, 4104}, {EEXIST, 4102}, {EPERM, 0}};  // the last is got round
  for (const auto& [error, code] : cases) {
    const FailingCall refused("linkat", error);
    EXPECT_EQ(To(folder.Path("f")), code) << error;
    EXPECT_EQ(folder.EntryCount(), code == 0 ? 1u : 0u) << error;
  }
  EXPECT_TRUE(ReadFile(folder.Path("f")) == bytes);
}

TEST_F(DownloadFixture, OfAHostThatIsKilledLeavesNothing) {
  if (!HasNamelessFiles()) GTEST_SKIP() << "files have names here";
  transport.progress.reaction = [] { raise(SIGKILL); };
  EXPECT_EXIT(To(folder.Path("f")), testing::KilledBySignal(SIGKILL), "");
  EXPECT_EQ(server.Requests().size(), 1u);
  EXPECT_EQ(folder.EntryCount(), 0u);
}

}  // namespace
}  // namespace kelo
