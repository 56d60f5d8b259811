// The download command's batch: which failures end it, what each record tells; and the storage
// capacity.

#include <cerrno>

#include "support/CommandTest.h"
#include "support/FaultPoint.h"

namespace kelo::testing {
namespace {

class DownloadTest : public CommandTest {
 protected:
  DownloadTest() {
    service().SetScript([](const ClientRequest& request) -> std::optional<Reply> {
      Reply reply = ReplyWith("bytes of " + request.path);
      if (request.path == "/lost") reply.cutAfter = 3;
      if (request.path == "/missing") reply = ReplyWith("no such picture", 404);
      if (request.path.starts_with("/status")) reply.status = std::stoi(request.path.substr(7));
      return reply;
    });
    UseSession(SessionAt(Url()));
  }

  // Downloads `urls` in order into new files "0", "1", ...; into nowhere where the URL is that.
  uint32_t Download(const std::vector<std::string>& urls) {
    records_.assign(urls.size(), {});
    for (size_t i = 0; i < urls.size(); ++i) {
      records_[i].result = 99;
      records_[i].receivedSize = 99;
      SetField(records_[i].url, urls[i].starts_with("/") ? Url() + urls[i] : urls[i]);
      const std::string name = urls[i] == "/nowhere" ? "no folder/file" : std::to_string(i);
      records_[i].destPath = Text(paths_.emplace_back(folder().Path(name)));
    }
    return SendAll(kKELOCommand_Download, records_);
  }
  std::vector<uint32_t> Results() const {
    std::vector<uint32_t> results;
    for (const auto& record : records_) results.push_back(record.result);
    return results;
  }

  std::vector<tagKELO_DownloadInfo> records_;
  std::deque<std::string> paths_;
};

TEST_F(DownloadTest, FailuresOfOneFileLeaveTheBatchGoingAndOthersEndIt) {
  using Results = std::vector<uint32_t>;
  EXPECT_EQ(Download({}), 0u);
  EXPECT_EQ(service().RequestCount(), 0u);

  const struct {
    const char* url;  // of the second of three files
    uint32_t result;
    bool ends;
  } cases[] = {
      {"/missing", 4098, false},        {"no url at all", 4098, false}, {"/taken", 4099, false},
      {"/nowhere", 4113, false},        {"/status408", 4128, true},     {"/status504", 4128, true},
      {"/status413", 4103, true},       {"/status500", 4114, true},     {"/lost", 4129, true},
      {"ftp://127.0.0.1/", 4114, true},
  };
  for (const auto& c : cases) {
    service().ClearArrived();
    if (c.result == 4099) folder().Write("1", "was here before");
    EXPECT_EQ(Download({"/good", c.url, "/last"}), c.ends ? c.result : 0u) << c.url;
    EXPECT_EQ(this->Results(), (Results{0, c.result, c.ends ? c.result : 0u})) << c.url;
    EXPECT_EQ(folder().Read("0"), "bytes of /good") << c.url;
    EXPECT_EQ(folder().Read("1"), c.result == 4099 ? "was here before" : "") << c.url;
    EXPECT_EQ(folder().Read("2"), c.ends ? "" : "bytes of /last") << c.url;
    EXPECT_EQ(records_[1].receivedSize, 0u) << c.url;
    EXPECT_EQ(records_[2].receivedSize, c.ends ? 0u : 14u) << c.url;
    EXPECT_NE(service().Arrived().back().path, c.ends ? "/last" : c.url) << c.url;
    for (const char* name : {"0", "1", "2"}) std::filesystem::remove(folder().Path(name));
    EXPECT_EQ(folder().EntryCount(), 1u) << c.url;

    // The command's result is that of its last file.
    if (c.result != 4099) {
      EXPECT_EQ(Download({"/good", c.url}), c.result) << c.url;
      std::filesystem::remove(folder().Path("0"));
    }
  }
  const FailingCall full("write", ENOSPC);
  EXPECT_EQ(Download({"/good", "/last"}), 4102u);
  EXPECT_EQ(this->Results(), (Results{4102, 4102}));
  EXPECT_EQ(service().Arrived().back().path, "/good");
}

TEST_F(DownloadTest, EventsTellTheFileAndTheBatch) {
  const std::vector<Words>& events = KeepEvents();
  ASSERT_EQ(Download({"/missing", "/good"}), 0u);
  ASSERT_GE(events.size(), 2u);
  EXPECT_EQ(events[events.size() - 2], (Words{51, 48, 14, 14, 2, 1}));
  EXPECT_EQ(events.back(), (Words{51, 48, 14, 14, 2, 2}));
  KeepEvents();
  ASSERT_EQ(Download({"/good", "no url at all"}), 4098u);
  EXPECT_LT(events.back()[5], 2u) << "none follows where the last file failed";
}

TEST_F(DownloadTest, AUrlMayFillItsField) {
  std::string url = Url() + "/";
  url.append(255 - url.size(), 'u');
  EXPECT_EQ(Download({url}), 0u);
  EXPECT_EQ(Url() + OnlyRequest().target, url);
  std::filesystem::remove(folder().Path("0"));
  url.push_back('v');  // no terminating zero: read to the field's width
  EXPECT_EQ(Download({url}), 0u);
  EXPECT_EQ(Url() + service().Arrived().back().target, url);
}

TEST_F(DownloadTest, TheStorageIsReadAsTwoNumbers) {
  struct Case {
    const char* answer;
    uint32_t result, recordResult;
    uint64_t used, available;
  };
  const Case cases[] = {
      {"<r stat=\"ok\" dataCapacity=\"0\" storageCapacity=\"5368709120\" />", 0, 0, 0, 5368709120},
      {"<r stat=\"ok\" dataCapacity=\"12ab\" storageCapacity=\"\" />", 0, 0, 12, 0},
      {"<r stat=\"ok\" dataCapacity=\" 1\" storageCapacity=\"-1\" />", 0, 0, 0, 0},
      {"<r stat=\"ok\" dataCapacity=\"18446744073709551615\" "
       "storageCapacity=\"18446744073709551617\" />",
       0, 0, UINT64_MAX, 1},  // 2^64 - 1, 2^64 + 1
      {"<r stat=\"ok\" dataCapacity=\"1\" />", 4144, 4144, 0, 0},
      {"<r stat=\"fail\" errcode=\"108\" dataCapacity=\"1\" storageCapacity=\"2\" />", 0, 4116, 0,
       0},
  };
  for (const Case& c : cases) {
    Script("GetStorageCapacity", c.answer);
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
