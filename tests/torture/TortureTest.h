// A fixture that tries a command again and again, each time with another fault, and the commands
// that are tried.
#pragma once

#include "support/AccountTest.h"
#include "support/FaultPoint.h"

namespace kelo::testing {

class TortureTest;

// What a command that succeeds does to the catalogue. Starts: there is none yet.
enum class Effect { None, Adds, Loads, Forgets, Starts };

struct Trial {
  const char* name;
  Effect effect;
  std::function<uint32_t(TortureTest&)> send;
  friend void PrintTo(const Trial& trial, std::ostream* out) { *out << trial.name; }
};

class TortureTest : public AccountTest {
 public:
  // All commands, some of them in several ways, each with a record that makes it do its work.
  static std::vector<Trial> AllTrials();

 protected:
  // A command with an ordinary record.
  uint32_t SendRecord(uint32_t code, const std::string& target, uint32_t options, uint32_t kinds) {
    HostRecords records(recordsFolder_, "\xE6\xB5\xB7");
    records.text = "nobody;a@example.org;b@example.org";
    for (auto* text : {&records.recipients.recipients, &records.mail.recipients,
                       &records.mail.subject, &records.mail.body})
      *text = Text(records.text);
    SetField(records.link.itemIdList, picture_);
    uint32_t result = SendOne(code, records.Of(code), target, options, kinds);
    const uint32_t* word = records.ResultWord(code);
    if (result == 0 && word != nullptr) result = *word;
    return result == kKELOResult_RecipientsRejected ? 0 : result;
  }
  uint32_t SendDownload() {
    const std::string path = DownloadPath();
    const uint32_t result = Download(Url() + picturePath_);
    EXPECT_EQ(std::filesystem::exists(path), result == 0);
    if (result == 0) EXPECT_EQ(folder().Read("downloaded"), kPicture);
    std::filesystem::remove(path);
    return result;
  }
  uint32_t SendUpload(uint32_t options) {
    std::string id;
    return Upload(album_, id, options);
  }
  uint32_t SendAdd(uint32_t kind) {
    tagKELO_ItemInfo made = NewContainer(kind, "Made");
    return Add(made, "");
  }
  // The session goes on at the service.
  uint32_t SendClose() {
    service().SetScript([](const ClientRequest& request) {
      return request.method == "CloseSession" ? std::optional(ReplyWith(kOk)) : std::nullopt;
    });
    return Send(kKELOCommand_CloseSession, Record());
  }
  uint32_t SendSession(uint32_t code = kKELOCommand_SetSessionInfo) {
    tagKELO_SessionInfo session = session_;
    return Send(code, Record(&session));
  }
  uint32_t SendList() {
    tagKELO_ItemInfo rootAlbum{};
    return SendOne(kKELOCommand_GetItemsList, &rootAlbum, "", 0, kKELOKind_RootAlbum);
  }

  void SetUp() override {
    signal(SIGALRM, [](int) {  // a command that never returns
      PrintCallers();
      const ssize_t written = write(STDERR_FILENO, point_.data(), point_.size());
      _exit(written > 0 ? 124 : 125);
    });
    ASSERT_NO_FATAL_FAILURE(OpenAccount());
    ASSERT_EQ(Send(kKELOCommand_GetSessionInfo, Record(&session_)), 0u);
  }
  void Prepare(Effect effect);
  void TryPoints(const Trial& trial, CallKind kind);
  void TryPoint(const Trial& trial, const FaultPoint& fault);
  void ExpectAllWell(Effect effect, const Catalogue& before);

 private:
  static inline std::string point_;  // that is being tried
  tagKELO_SessionInfo session_{};
  const TemporaryFolder recordsFolder_;
};

inline std::vector<Trial> TortureTest::AllTrials() {
  using T = TortureTest;
  const auto ofPicture = [](uint32_t code, uint32_t options = 0) {
    return [=](T& t) { return t.SendRecord(code, t.picture_, options, 0); };
  };
  const auto ofAlbum = [](uint32_t code, uint32_t options = 0, uint32_t kinds = 0) {
    return [=](T& t) { return t.SendRecord(code, t.album_, options, kinds); };
  };
  constexpr uint32_t kVerifies = kKELOOption_ReturnTexts | kKELOOption_VerifyRecipients;
  return {
      {"OpenSession", Effect::Forgets, [](T& t) { return t.Open(); }},
      {"OpenSessionAtFirst", Effect::Starts, [](T& t) { return t.Open(); }},
      {"SetSessionInfo", Effect::Forgets, [](T& t) { return t.SendSession(); }},
      {"SetSessionInfoAtFirst", Effect::Starts, [](T& t) { return t.SendSession(); }},
      {"CloseSession", Effect::None, [](T& t) { return t.SendClose(); }},
      {"GetSessionInfo", Effect::None, ofAlbum(kKELOCommand_GetSessionInfo)},
      {"ExtendTokenLimit", Effect::None,
       [](T& t) { return t.SendSession(kKELOCommand_ExtendTokenLimit); }},
      {"Abort", Effect::None, ofAlbum(kKELOCommand_Abort)},
      {"LoadHierarchy", Effect::Loads, [](T& t) { return t.Load(); }},
      {"LoadHierarchyAgain", Effect::None, [](T& t) { return t.Load(); }},
      {"GetItemsCount", Effect::None, ofAlbum(kKELOCommand_GetItemsCount, 0, kKELOKind_FileItem)},
      {"GetItemsList", Effect::None, [](T& t) { return t.SendList(); }},
      {"GetItemInfo", Effect::None, ofPicture(kKELOCommand_GetItemInfo)},
      {"GetItemInfoFresh", Effect::None,
       ofPicture(kKELOCommand_GetItemInfo, kKELOOption_AskService)},
      {"AddFolder", Effect::Adds, [](T& t) { return t.SendAdd(kKELOKind_Folder); }},
      {"AddAlbum", Effect::Adds, [](T& t) { return t.SendAdd(kKELOKind_Album); }},
      {"AddNewLink", Effect::None, ofAlbum(kKELOCommand_AddNewLink)},
      {"Upload", Effect::Adds, [](T& t) { return t.SendUpload(0); }},
      {"UploadChecked", Effect::Adds,
       [](T& t) { return t.SendUpload(kKELOOption_CheckDuplicates); }},
      {"VerifyRecipient", Effect::None,
       ofAlbum(kKELOCommand_VerifyRecipient, kKELOOption_ReturnTexts)},
      {"GetAddressList", Effect::None, ofAlbum(kKELOCommand_GetAddressList)},
      {"SendPictureMail", Effect::None, ofAlbum(kKELOCommand_SendPictureMail, kVerifies)},
      {"GetStorageCapacity", Effect::None, ofAlbum(kKELOCommand_GetStorageCapacity)},
      {"ModifyProps", Effect::None, ofPicture(kKELOCommand_ModifyProps)},
      {"RegisterEventCallBack", Effect::None, ofAlbum(kKELOCommand_RegisterEventCallBack)},
      {"UnregisterEventCallBack", Effect::None, ofAlbum(kKELOCommand_UnregisterEventCallBack)},
      {"AddTags", Effect::None, ofAlbum(kKELOCommand_AddTags, 0, kKELOKind_Album)},
      {"Download", Effect::None, [](T& t) { return t.SendDownload(); }},
  };
}

}  // namespace kelo::testing
