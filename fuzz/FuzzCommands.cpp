// The exported entry with arbitrary records for every code, against a service that answers
// arbitrary bytes. One input is a short sequence of commands and answers. Every host buffer has
// exactly the size that its command may touch, so that the address sanitizer sees one byte too
// many.
#include <fuzzer/FuzzedDataProvider.h>

#include "KELOAccess.h"
#include "support/CommandTest.h"

// The service's threads come and go while the sanitizer would look for leaks, and what they hold
// would count as lost. The tests look for leaks when a process ends.
extern "C" const char* __asan_default_options() {
  return "detect_leaks=0";
}

namespace {

using namespace kelo::testing;
using kelo::TemporaryFolder;

// One local service for the whole run. Its answers are the rest of the running input.
struct Scripted {
  Scripted() {
    service.SetScript([this](const ClientRequest&) -> std::optional<Reply> {
      const std::lock_guard lock(mutex_);
      Reply reply;
      if (answers_.empty()) return reply;
      reply.body = answers_.back();
      answers_.pop_back();
      // Most arbitrary answers would end at their missing status.
      if (!reply.body.empty() && reply.body[0] != '!') reply.body = "<r stat=\"ok\"" + reply.body;
      if (reply.body.starts_with("!!")) reply.status = 404;
      return reply;
    });
    setenv("KELO_URLS_FILE",
           folder.Write("urls", "kKELO_URLofKELOServer=\"" + service.Url() + "\"").c_str(), 1);
  }
  void SetAnswers(std::vector<std::string> answers) {
    const std::lock_guard lock(mutex_);
    answers_ = std::move(answers);
    service.ClearArrived();
  }

  const TemporaryFolder folder;
  const std::string picture = folder.Write("picture.jpg", "a picture");

 private:
  std::mutex mutex_;
  std::vector<std::string> answers_;

 public:
  kelo::devservice::Service service;  // ends before what its script uses
};

Scripted& World() {
  static Scripted world;
  return world;
}

// What a command's argument looks like: the size of a record, and the texts and URLs inside it.
struct ArgumentShape {
  uint32_t code;
  size_t size;
  bool isArray = false;
  std::vector<size_t> texts = {};    // offsets of tagKELO_StringInfo that the library reads
  std::vector<size_t> outputs = {};  // and of those that it writes
};

const std::vector<ArgumentShape>& Shapes() {
  static const std::vector<ArgumentShape> shapes = {
      {kKELOCommand_OpenSession, sizeof(tagKELO_OpenSessionInfo)},
      {kKELOCommand_CloseSession, 0},
      {kKELOCommand_GetSessionInfo, sizeof(tagKELO_SessionInfo)},
      {kKELOCommand_SetSessionInfo, sizeof(tagKELO_SessionInfo)},
      {kKELOCommand_Abort, 0},
      {kKELOCommand_LoadHierarchy, 0},
      {kKELOCommand_GetItemsCount, sizeof(uint32_t)},
      {kKELOCommand_GetItemsList, sizeof(tagKELO_ItemInfo), true},
      {kKELOCommand_GetItemInfo, sizeof(tagKELO_ItemInfo)},
      {kKELOCommand_AddItems, sizeof(tagKELO_ItemInfo), true},
      {kKELOCommand_AddNewLink, sizeof(tagKELO_AddLinkInfo), true},
      {kKELOCommand_Upload,
       sizeof(tagKELO_LoadInfo),
       true,
       {offsetof(tagKELO_LoadInfo, filePath), offsetof(tagKELO_LoadInfo, fileName)}},
      {kKELOCommand_VerifyRecipient,
       sizeof(tagKELO_RecipientInfo),
       false,
       {offsetof(tagKELO_RecipientInfo, recipients)},
       {offsetof(tagKELO_RecipientInfo, accepted), offsetof(tagKELO_RecipientInfo, rejected)}},
      {kKELOCommand_GetAddressList, sizeof(tagKELO_StringInfo), false, {}, {0}},
      {kKELOCommand_SendPictureMail,
       sizeof(tagKELO_PictureMailInfo),
       false,
       {offsetof(tagKELO_PictureMailInfo, recipients), offsetof(tagKELO_PictureMailInfo, subject),
        offsetof(tagKELO_PictureMailInfo, body)},
       {offsetof(tagKELO_PictureMailInfo, accepted), offsetof(tagKELO_PictureMailInfo, rejected)}},
      {kKELOCommand_GetStorageCapacity, sizeof(tagKELO_StorageCapacityInfo)},
      {kKELOCommand_ModifyProps, sizeof(tagKELO_PropertyInfo)},
      {kKELOCommand_UnregisterEventCallBack, 0},
      {kKELOCommand_ExtendTokenLimit, sizeof(tagKELO_SessionInfo)},
      {kKELOCommand_AddTags, sizeof(tagKELO_TagInfo)},
      {kKELOCommand_Download,
       sizeof(tagKELO_DownloadInfo),
       true,
       {offsetof(tagKELO_DownloadInfo, destPath)}},
      {60, 0},
  };
  return shapes;
}

class FuzzedCommand {
 public:
  FuzzedCommand(FuzzedDataProvider& input, const ArgumentShape& shape) : shape_(shape) {
    record_ = {};
    Fill(input, &record_, sizeof record_);
    count_ = shape.isArray ? input.ConsumeIntegralInRange<uint32_t>(0, 3) : 1;
    record_.entryCount = count_;
    size_ = shape.size * count_;
    data_ = std::make_unique<char[]>(size_);
    Fill(input, data_.get(), size_);
    for (uint32_t i = 0; i < count_; ++i) FixElement(input, data_.get() + i * shape.size);
    const bool withoutData = shape.size == 0 || input.ConsumeIntegralInRange(0, 15) == 0;
    record_.data = withoutData ? nullptr : data_.get();
  }

  void Send() {
    KELOAccessCommand(shape_.code, &record_);
    if (record_.data == nullptr) return;
    for (const size_t offset : shape_.outputs) {
      tagKELO_StringInfo text;
      std::memcpy(&text, data_.get() + offset, sizeof text);
      delete[] text.text;
    }
  }

 private:
  static void Fill(FuzzedDataProvider& input, void* destination, size_t size) {
    const std::string bytes = input.ConsumeRandomLengthString(size);
    std::memset(destination, 0, size);
    std::memcpy(destination, bytes.data(), std::min(size, bytes.size()));
  }

  // Pointers have to be real, files may only be the run's own, and requests stay on this machine.
  void FixElement(FuzzedDataProvider& input, char* element) {
    for (const size_t offset : shape_.texts) {
      texts_.push_back(std::make_unique<std::string>(input.ConsumeRandomLengthString(300)));
      if (shape_.code == kKELOCommand_Upload && offset == shape_.texts.front())
        *texts_.back() = input.ConsumeBool() ? World().picture : World().folder.Path("none");
      if (shape_.code == kKELOCommand_Download) {
        *texts_.back() = World().folder.Path("out" + std::to_string(downloads_++));
        std::filesystem::remove(*texts_.back());
      }
      const tagKELO_StringInfo text = Text(*texts_.back());
      std::memcpy(element + offset, &text, sizeof text);
    }
    for (const size_t offset : shape_.outputs) {
      const tagKELO_StringInfo none{};
      std::memcpy(element + offset, &none, sizeof none);
    }
    if (shape_.code == kKELOCommand_Download) FixUrl(element + 4);
    if (shape_.code == kKELOCommand_SetSessionInfo || shape_.code == kKELOCommand_ExtendTokenLimit)
      for (const size_t offset : {32, 288, 544}) FixUrl(element + offset);
  }
  void FixUrl(char* field) {
    const std::string url = World().service.Url() + "/";
    if (field[0] != '\0') std::memcpy(field, url.data(), url.size());
  }

  const ArgumentShape& shape_;
  tagCommandControlInfo record_;
  uint32_t count_ = 0;
  size_t size_ = 0;
  int downloads_ = 0;
  std::unique_ptr<char[]> data_;
  std::vector<std::unique_ptr<std::string>> texts_;
};

// A session and a loaded catalogue, so that arbitrary commands get past their first checks.
void Prepare() {
  KELOAccessInitialize(3 * sizeof(tagKELO_ItemInfo));
  tagKELO_SessionInfo session = SessionAt(World().service.Url());
  tagCommandControlInfo record{};
  record.data = &session;
  KELOAccessCommand(kKELOCommand_SetSessionInfo, &record);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider input(data, size);
  std::vector<std::string> answers;
  for (int i = input.ConsumeIntegralInRange(0, 6); i > 0; --i)
    answers.push_back(input.ConsumeRandomLengthString(2000));
  World().SetAnswers(std::move(answers));
  Prepare();
  for (int i = input.ConsumeIntegralInRange(1, 4); i > 0; --i) {
    const size_t shape = input.ConsumeIntegralInRange<size_t>(0, Shapes().size() - 1);
    FuzzedCommand(input, Shapes()[shape]).Send();
  }
  KELOAccessClose();
  return 0;
}
