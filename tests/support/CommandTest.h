// A fixture that drives the exported functions against a local service: the library's view of the
// world is real, answers are the service's own or scripted by the test.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <deque>
#include <mutex>
#include <thread>

#include "KELOAccess.h"
#include "devservice/DevService.h"
#include "devservice/protocol/Digest.h"
#include "support/HostRecords.h"

namespace kelo::testing {

using devservice::ClientRequest;
using devservice::Reply;
using devservice::Sha1Hex;

// Takes over a text that the library handed out.
inline std::string TakeText(tagKELO_StringInfo& info) {
  std::string text(info.text == nullptr ? "" : info.text);
  EXPECT_EQ(text.size(), info.length);
  delete[] info.text;
  info = {};
  return text;
}

// The value of `name` in a query.
inline std::string QueryValue(const std::string& query, const std::string& name) {
  const std::string all = "&" + query + "&";
  const size_t begin = all.find("&" + name + "=");
  if (begin == std::string::npos) return {};
  const size_t value = begin + name.size() + 2;
  return all.substr(value, all.find('&', value) - value);
}

// Waits for `condition`, for at most ten seconds; whether it came to hold.
template <typename Condition>
bool Await(const Condition& condition) {
  const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > until) return false;
    std::this_thread::yield();
  }
  return true;
}

// An answer that a test makes up: a body, or any reply.
struct Answer : Reply {
  Answer(const char* text) { body = text; }         // NOLINT: any of these is an answer
  Answer(const std::string& text) { body = text; }  // NOLINT
  Answer(const Reply& reply) : Reply(reply) {}      // NOLINT
};

class CommandTest : public ::testing::Test {
 protected:
  static constexpr const char* kOk = "<r stat=\"ok\" />";

  // `cacheBudget` is the argument of KELOAccessInitialize.
  explicit CommandTest(uint32_t cacheBudget = 0)
      : service_(std::make_unique<devservice::Service>()) {
    const std::string urls = folder_.Write("urls", "kKELO_URLofKELOServer=\"" + Url() + "\"\n");
    setenv("KELO_URLS_FILE", urls.c_str(), 1);
    KELOAccessInitialize(cacheBudget);
  }
  ~CommandTest() override {
    KELOAccessClose();
    service_.reset();
    unsetenv("KELO_URLS_FILE");
  }

  std::string Url() const { return service_->Url(); }
  devservice::Service& service() { return *service_; }
  const TemporaryFolder& folder() const { return folder_; }

  tagCommandControlInfo Record(void* data = nullptr, std::string_view target = {},
                               uint32_t options = 0, uint32_t kinds = 0) const {
    tagCommandControlInfo record{};
    SetField(record.targetId, target);
    record.data = data;
    record.outputOptions = options;
    record.selectionFlags = kinds;
    SetField(record.authToken, service_->AuthToken());
    SetField(record.apiKey, service_->ApiKey());
    SetField(record.signingSecret, service_->Secret());
    return record;
  }
  static uint32_t Send(uint32_t code, tagCommandControlInfo record) {
    return KELOAccessCommand(code, &record);
  }
  // Likewise with an array of one.
  uint32_t SendOne(uint32_t code, void* data, std::string_view target = {}, uint32_t options = 0,
                   uint32_t kinds = 0) {
    tagCommandControlInfo record = Record(data, target, options, kinds);
    record.entryCount = 1;
    return Send(code, record);
  }
  // Likewise with an array of any length.
  template <typename Info>
  uint32_t SendAll(uint32_t code, std::vector<Info>& records, std::string_view target = {},
                   uint32_t options = 0, uint32_t kinds = 0) {
    Info none{};
    tagCommandControlInfo record =
        Record(records.empty() ? &none : records.data(), target, options, kinds);
    record.entryCount = static_cast<uint32_t>(records.size());
    return Send(code, record);
  }
  uint32_t Open(uint32_t word = 0) {
    tagKELO_OpenSessionInfo block{};
    block.word = word;
    return Send(kKELOCommand_OpenSession, Record(&block));
  }
  // The record tells more than the command.
  uint32_t Capacity() {
    tagKELO_StorageCapacityInfo capacity{};
    const uint32_t result = Send(kKELOCommand_GetStorageCapacity, Record(&capacity));
    return result != 0 ? result : capacity.result;
  }
  uint32_t Download(const std::string& url) {
    std::string path = DownloadPath();
    tagKELO_DownloadInfo file = DownloadOf(url, path);
    return SendOne(kKELOCommand_Download, &file);
  }
  std::string DownloadPath() const { return folder().Path("downloaded"); }
  // What the catalogue knows.
  tagKELO_ItemInfo ItemInfo(const std::string& id) {
    tagKELO_ItemInfo info{};
    EXPECT_EQ(Send(kKELOCommand_GetItemInfo, Record(&info, id)), 0u) << id;
    return info;
  }
  uint32_t Count(const std::string& target, uint32_t kinds) {
    uint32_t count = 0;
    EXPECT_EQ(Send(kKELOCommand_GetItemsCount, Record(&count, target, 0, kinds)), 0u) << target;
    return count;
  }
  std::vector<tagKELO_ItemInfo> List(const std::string& target, uint32_t kinds) {
    std::vector<tagKELO_ItemInfo> items(Count(target, kinds));
    EXPECT_EQ(SendAll(kKELOCommand_GetItemsList, items, target, 0, kinds), 0u) << target;
    return items;
  }

  // Progress goes to `callback` from now on.
  void Register(KELOAccessEventCallback callback, uint32_t mask = kKELOEventMask_Progress,
                uint32_t code = kKELOCommand_RegisterEventCallBack) {
    void* pointer;
    std::memcpy(&pointer, &callback, sizeof pointer);
    ASSERT_EQ(Send(code, Record(pointer, {}, 0, mask)), 0u);
  }
  // Progress is kept from now on: event, kind and the four words of each.
  using Words = std::vector<uint32_t>;
  std::vector<Words>& KeepEvents() {
    static std::vector<Words> events;
    events.clear();
    Register([](uint32_t event, uint32_t kind, const tagKELO_ProgressInfo* p) -> uint32_t {
      events.push_back(
          {event, kind, p->transferTotal, p->transferDone, p->itemCount, p->fourthWord});
      return 0;
    });
    return events;
  }

  // A session with the service itself.
  void OpenSession() {
    ASSERT_EQ(Open(), 0u);
    service_->ClearArrived();
  }

  // From here on requests of `method` get these answers, one after the other; the last one stays.
  // Every other request gets an empty "ok", unless it has answers of its own.
  template <typename... Answers>
  void Script(const std::string& method = "", const Answers&... answers) {
    const std::lock_guard lock(mutex_);
    answers_[method] = {answers...};
    service_->SetScript([this](const ClientRequest& request) -> std::optional<Reply> {
      const std::lock_guard inScript(mutex_);
      std::deque<Answer>& next = answers_[request.method];
      if (next.empty()) return Answer(kOk);
      const Answer answer = next.front();
      if (next.size() > 1) next.pop_front();
      return answer;
    });
  }
  static Reply ReplyWith(const std::string& body, int status = 200) {
    Reply reply;
    reply.status = status;
    reply.body = body;
    return reply;
  }
  // What the service says to an address that it refuses.
  static std::string RejectionOf(const std::string& address) {
    return "<r stat=\"fail\" errcode=\"313\" errmsg=\"Invalid recipient: " + address + "\" />";
  }

  // A session made up by the test, with scripted answers.
  void OpenScriptedSession() {
    Script();
    UseSession(SessionAt(Url()));
  }
  void UseSession(tagKELO_SessionInfo session) {
    ASSERT_EQ(Send(kKELOCommand_SetSessionInfo, Record(&session)), 0u);
  }

  // Fills the catalogue: album A1 under the root with items I1 and I2, folder F1 with the shared
  // album A2 (item I3), root album item R1, friend album B1 with item J1.
  void LoadSmallHierarchy() {
    Script("GetUserArchiveInfo", "<r stat=\"ok\" totalCount=\"4\" />");
    Script("GetHierarchy",
           "<r stat=\"ok\"><rootAlbum><items><item itemId=\"R1\" fileName=\"r1.jpg\" "
           "fileFormat=\"image/jpeg\" /></items></rootAlbum><folders><folder folderId=\"F1\" "
           "folderName=\"Trips\" albumCount=\"1\"><albums><album albumId=\"A2\" albumName=\"Alps\" "
           "shareFlag=\"true\" itemsCount=\"1\"><items><item itemId=\"I3\" fileName=\"i3.jpg\" />"
           "</items></album></albums></folder></folders><albums><album albumId=\"A1\" "
           "albumName=\"Home\" itemsCount=\"2\"><items><item itemId=\"I2\" fileName=\"i2.jpg\" />"
           "<item itemId=\"I1\" fileName=\"i1.jpg\" /></items></album></albums></r>");
    Script("GetForeignAlbumItems",
           "<r stat=\"ok\"><albums><album albumId=\"B1\" albumName=\"Bea\" itemsCount=\"1\"><items>"
           "<item itemId=\"J1\" fileName=\"j1.jpg\" /></items></album></albums></r>");
    ASSERT_EQ(Send(kKELOCommand_LoadHierarchy, Record()), 0u);
    service_->ClearArrived();
  }

  std::vector<ClientRequest> Requests(const std::string& method) const {
    std::vector<ClientRequest> found;
    for (ClientRequest& request : service_->Arrived())
      if (request.method == method) found.push_back(std::move(request));
    return found;
  }
  ClientRequest OnlyRequest() const {
    const auto log = service_->Arrived();
    EXPECT_EQ(log.size(), 1u);
    return log.empty() ? ClientRequest() : log.front();
  }

  static std::string Document(const std::string& element) {
    return "<?xml version=\"1.1\" encoding=\"UTF-8\"?>\r\n"
           "<?protocol version=\"KELO-API/XML-R/1.0\"?>\r\n" +
           element;
  }
  // The document as it must travel, and that its query is the signed one.
  void ExpectDocument(const ClientRequest& request, const std::string& element) const {
    EXPECT_EQ(request.verb, "PUT");
    EXPECT_EQ(request.body, Document(element));
    ExpectSigned(request, request.body);
  }
  void ExpectSigned(const ClientRequest& request, const std::string& document) const {
    const std::string base = "keloSessToken=" + QueryValue(request.query, "keloSessToken") +
                             "&callId=" + QueryValue(request.query, "callId");
    EXPECT_EQ(request.query,
              base + "&keloApiSig=" + Sha1Hex(service_->Secret() + "?" + base + "\r\n" + document));
  }

 private:
  TemporaryFolder folder_;
  std::unique_ptr<devservice::Service> service_;
  std::mutex mutex_;
  std::map<std::string, std::deque<Answer>> answers_;
};

}  // namespace kelo::testing
