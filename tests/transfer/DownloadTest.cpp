// The download command's batch: which failures end it, what each record tells; and the storage
// capacity.

#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

class DownloadTest : public CommandTest {
 protected:
  DownloadTest() {
    service().SetScript([](const LoggedRequest& request) -> std::optional<Reply> {
      if (request.path == "/missing") return ReplyWith("no such picture", 404);
      if (request.path == "/broken") return ReplyWith("", 500);
      return ReplyWith("bytes of " + request.path);
    });
    tagKELO_SessionInfo session = ScriptedSession();
    EXPECT_EQ(Send(kKELOCommand_SetSessionInfo, Record(&session)), 0u);
  }

  // Downloads `urlPaths` in order into new files "0", "1", ...
  uint32_t Download(const std::vector<std::string>& urls) {
    records_.assign(urls.size(), {});
    for (size_t i = 0; i < urls.size(); ++i) {
      records_[i].result = 99;
      records_[i].receivedSize = 99;
      SetField(records_[i].url, urls[i].starts_with("/") ? Url() + urls[i] : urls[i]);
      records_[i].destPath = Text(paths_.emplace_back(folder().Path(std::to_string(i))));
    }
    tagKELO_DownloadInfo none{};
    tagCommandControlInfo record = Record(records_.empty() ? &none : records_.data());
    record.entryCount = static_cast<uint32_t>(records_.size());
    return Send(kKELOCommand_Download, record);
  }
  std::vector<uint32_t> Results() const {
    std::vector<uint32_t> results;
    for (const auto& record : records_) results.push_back(record.result);
    return results;
  }

  std::vector<tagKELO_DownloadInfo> records_;
  std::deque<std::string> paths_;
};

TEST_F(DownloadTest, TheBatchGoesOnAfterFailuresOfOneFile) {
  using Results = std::vector<uint32_t>;
  EXPECT_EQ(Download({}), 0u);
  EXPECT_EQ(service().RequestCount(), 0u);

  folder().Write("1", "was here before");
  EXPECT_EQ(Download({"/missing", "/taken", "no url at all", "/good"}), 0u);
  EXPECT_EQ(this->Results(), (Results{4098, 4099, 4098, 0}));
  EXPECT_EQ(records_[3].receivedSize, 14u);
  EXPECT_EQ(folder().Read("3"), "bytes of /good");
  EXPECT_EQ(folder().Read("1"), "was here before");
  EXPECT_FALSE(std::filesystem::exists(folder().Path("0")));
  EXPECT_EQ(Requests("").size(), 2u);
  std::filesystem::remove(folder().Path("1"));

  EXPECT_EQ(Download({"/good", "/missing"}), 4098u);  // the last file's own result
  std::filesystem::remove(folder().Path("0"));
}

TEST_F(DownloadTest, AnyOtherFailureEndsTheBatch) {
  service().ClearLog();
  EXPECT_EQ(Download({"/good", "/broken", "/never"}), 4114u);
  EXPECT_EQ(Results(), (std::vector<uint32_t>{0, 4114, 4114}));
  EXPECT_EQ(records_[2].receivedSize, 0u);
  EXPECT_EQ(service().RequestCount(), 2u);
  EXPECT_FALSE(std::filesystem::exists(folder().Path("1")));
  EXPECT_FALSE(std::filesystem::exists(folder().Path("2")));
}

TEST_F(DownloadTest, EventsTellTheFileAndTheBatch) {
  const std::vector<Words>& events = KeepEvents();
  ASSERT_EQ(Download({"/missing", "/good"}), 0u);
  ASSERT_GE(events.size(), 2u);
  EXPECT_EQ(events[events.size() - 2], (Words{51, 48, 14, 14, 2, 1}));
  EXPECT_EQ(events.back(), (Words{51, 48, 14, 14, 2, 2}));
}

TEST_F(DownloadTest, AUrlMayFillItsField) {
  std::string url = Url() + "/";
  url.append(255 - url.size(), 'u');
  EXPECT_EQ(Download({url}), 0u);
  EXPECT_EQ(Url() + OnlyRequest().target, url);
  std::filesystem::remove(folder().Path("0"));
  url.push_back('v');  // no terminating zero: read to the field's width
  EXPECT_EQ(Download({url}), 0u);
  EXPECT_EQ(Url() + service().Log().back().target, url);
}

TEST_F(DownloadTest, StorageCapacity) {
  struct Case {
    const char* answer;
    uint32_t result, recordResult;
    uint64_t used, available;
  };
  const Case cases[] = {
      {"<r stat=\"ok\" dataCapacity=\"0\" storageCapacity=\"5368709120\" />", 0, 0, 0, 5368709120},
      {"<r stat=\"ok\" dataCapacity=\"12ab\" storageCapacity=\"\" />", 0, 0, 12, 0},
      {"<r stat=\"ok\" dataCapacity=\"1\" />", 4144, 4144, 0, 0},
      {"<r stat=\"fail\" errcode=\"108\" dataCapacity=\"1\" storageCapacity=\"2\" />", 0, 4116, 0,
       0},
      {"<r stat=\"fail\" />", 4144, 4144, 0, 0},
  };
  ScriptAnswers();
  for (const Case& c : cases) {
    Unqueue("GetStorageCapacity");
    Queue("GetStorageCapacity", c.answer);
    tagKELO_StorageCapacityInfo record;
    std::memset(&record, 0x55, sizeof record);
    EXPECT_EQ(Send(kKELOCommand_GetStorageCapacity, Record(&record)), c.result) << c.answer;
    EXPECT_EQ(record.result, c.recordResult) << c.answer;
    EXPECT_EQ(uint64_t{record.dataCapacity}, c.used) << c.answer;
    EXPECT_EQ(uint64_t{record.storageCapacity}, c.available) << c.answer;
  }
}

}  // namespace
}  // namespace kelo::testing
