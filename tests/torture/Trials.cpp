// The commands that are tried, each with a record that makes it do its work.

#include "torture/TortureTest.h"

namespace kelo::testing {

uint32_t TortureTest::SendDownload() {
  const std::string path = DownloadPath();
  const uint32_t result = Download(PictureUrl());
  EXPECT_EQ(std::filesystem::exists(path), result == 0);
  if (result == 0) EXPECT_EQ(folder().Read("downloaded"), kPicture);
  std::filesystem::remove(path);
  return result;
}

namespace {

template <uint32_t Code, uint32_t Options = 0>
uint32_t OfPicture(TortureTest& t) {
  return t.SendRecord(Code, t.Picture(), Options, 0);
}
template <uint32_t Code, uint32_t Options = 0, uint32_t Kinds = 0>
uint32_t OfAlbum(TortureTest& t) {
  return t.SendRecord(Code, t.Album(), Options, Kinds);
}

}  // namespace

std::vector<Trial> AllTrials() {
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
         tagCommandControlInfo record = t.Record(&count, KELO_ALL_ITEMS_ID);
         record.selectionFlags = 0x157;
         return t.Send(kKELOCommand_GetItemsCount, record);
       }},
      {"GetItemsList", Effect::None,
       [](TortureTest& t) {
         tagKELO_ItemInfo rootAlbum{};
         tagCommandControlInfo record = t.Record(&rootAlbum, "");
         record.selectionFlags = kKELOKind_RootAlbum;
         record.entryCount = 1;
         return t.Send(kKELOCommand_GetItemsList, record);
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
