// A fixture that tries a command again and again, each time with another fault, and the commands
// that are tried.
#pragma once

#include <string>
#include <vector>

#include "support/AccountTest.h"
#include "torture/FaultPoint.h"

namespace kelo::testing {

class TortureTest;

// What a command that succeeds does to the catalogue. Starts: there is none yet.
enum class Effect { None, Adds, Loads, Forgets, Starts };

struct Trial {
  const char* name;
  Effect effect;
  uint32_t (*send)(TortureTest&);
  friend void PrintTo(const Trial& trial, std::ostream* out) { *out << trial.name; }
};

class TortureTest : public AccountTest {
 public:
  // For the table of commands, which stands outside of the class.
  using AccountTest::Load;
  using AccountTest::Open;
  using AccountTest::Record;
  using AccountTest::Send;
  using AccountTest::SendOne;
  using AccountTest::service;
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
  const std::string& Album() const { return album_; }
  const std::string& Picture() const { return picture_; }
  std::string PictureUrl() const { return Url() + picturePath_; }
  uint32_t SendDownload() {
    const std::string path = DownloadPath();
    const uint32_t result = Download(PictureUrl());
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
  uint32_t SendSession() {
    tagKELO_SessionInfo session = session_;
    return Send(kKELOCommand_SetSessionInfo, Record(&session));
  }

 protected:
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

template <uint32_t Code, uint32_t Options = 0>
uint32_t OfPicture(TortureTest& t) {
  return t.SendRecord(Code, t.Picture(), Options, 0);
}
template <uint32_t Code, uint32_t Options = 0, uint32_t Kinds = 0>
uint32_t OfAlbum(TortureTest& t) {
  return t.SendRecord(Code, t.Album(), Options, Kinds);
}

// All commands, some of them in several ways, each with a record that makes it do its work.
inline std::vector<Trial> AllTrials() {
  return {
      {"OpenSession", Effect::Forgets, [](TortureTest& t) { return t.Open(); }},
      {"CloseSession", Effect::None,
       [](TortureTest& t) {
         t.service().SetScript([](const LoggedRequest& request) -> std::optional<Reply> {
           if (request.apiMethod != "CloseSession") return {};
           Reply reply;
           reply.body = "<r stat=\"ok\" />";
           return reply;
         });
         return t.Send(kKELOCommand_CloseSession, t.Record());
       }},
      {"GetSessionInfo", Effect::None,
       [](TortureTest& t) {
         tagKELO_SessionInfo session{};
         return t.Send(kKELOCommand_GetSessionInfo, t.Record(&session));
       }},
      {"SetSessionInfo", Effect::Forgets, [](TortureTest& t) { return t.SendSession(); }},
      {"SetSessionInfoAtFirst", Effect::Starts, [](TortureTest& t) { return t.SendSession(); }},
      {"OpenSessionAtFirst", Effect::Starts, [](TortureTest& t) { return t.Open(); }},
      {"Abort", Effect::None,
       [](TortureTest& t) { return t.Send(kKELOCommand_Abort, t.Record()); }},
      {"LoadHierarchy", Effect::Loads, [](TortureTest& t) { return t.Load(); }},
      {"LoadHierarchyAgain", Effect::None, [](TortureTest& t) { return t.Load(); }},
      {"GetItemsCount", Effect::None,
       [](TortureTest& t) {
         uint32_t count = 0;
         return t.Send(kKELOCommand_GetItemsCount, t.Record(&count, KELO_ALL_ITEMS_ID, 0, 0x157));
       }},
      {"GetItemsList", Effect::None,
       [](TortureTest& t) {
         tagKELO_ItemInfo rootAlbum{};
         return t.SendOne(kKELOCommand_GetItemsList, &rootAlbum, "", 0, kKELOKind_RootAlbum);
       }},
      {"GetItemInfo", Effect::None, OfPicture<kKELOCommand_GetItemInfo>},
      {"GetItemInfoFresh", Effect::None,
       OfPicture<kKELOCommand_GetItemInfo, kKELOOption_AskService>},
      {"AddFolder", Effect::Adds, [](TortureTest& t) { return t.SendAdd(kKELOKind_Folder); }},
      {"AddAlbum", Effect::Adds, [](TortureTest& t) { return t.SendAdd(kKELOKind_Album); }},
      {"AddNewLink", Effect::None, OfAlbum<kKELOCommand_AddNewLink>},
      {"Upload", Effect::Adds, [](TortureTest& t) { return t.SendUpload(0); }},
      {"UploadChecked", Effect::Adds,
       [](TortureTest& t) { return t.SendUpload(kKELOOption_CheckDuplicates); }},
      {"VerifyRecipient", Effect::None,
       OfAlbum<kKELOCommand_VerifyRecipient, kKELOOption_ReturnTexts>},
      {"GetAddressList", Effect::None, OfAlbum<kKELOCommand_GetAddressList>},
      {"SendPictureMail", Effect::None,
       OfAlbum<kKELOCommand_SendPictureMail,
               kKELOOption_ReturnTexts | kKELOOption_VerifyRecipients>},
      {"GetStorageCapacity", Effect::None, OfAlbum<kKELOCommand_GetStorageCapacity>},
      {"ModifyProps", Effect::None, OfPicture<kKELOCommand_ModifyProps>},
      {"RegisterEventCallBack", Effect::None,
       [](TortureTest& t) {
         char function = 0;
         return t.Send(kKELOCommand_RegisterEventCallBack,
                       t.Record(&function));  // mask 0: no event
       }},
      {"UnregisterEventCallBack", Effect::None,
       [](TortureTest& t) { return t.Send(kKELOCommand_UnregisterEventCallBack, t.Record()); }},
      {"ExtendTokenLimit", Effect::None,
       [](TortureTest& t) {
         tagKELO_SessionInfo session{};
         EXPECT_EQ(t.Send(kKELOCommand_GetSessionInfo, t.Record(&session)), 0u);
         return t.Send(kKELOCommand_ExtendTokenLimit, t.Record(&session));
       }},
      {"AddTags", Effect::None, OfAlbum<kKELOCommand_AddTags, 0, kKELOKind_Album>},
      {"Download", Effect::None, [](TortureTest& t) { return t.SendDownload(); }},
  };
}

}  // namespace kelo::testing
