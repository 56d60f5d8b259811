// The commands that are tried, each with a record that makes it do its work.

#include "torture/TortureTest.h"

namespace kelo::testing {

uint32_t TortureTest::SendDownload() {
  const std::string path = DownloadPath();
  const uint32_t result = Download(PictureUrl());
  EXPECT_EQ(std::filesystem::exists(path), result == 0);
  if (result == 0) {
    EXPECT_EQ(folder().Read("downloaded"), kPicture);
  }
  std::filesystem::remove(path);
  return result;
}

std::vector<Trial> AllTrials() {
  return {
      {"OpenSession", Effect::Forgets, [](TortureTest& t) { return t.SendOpen(); }},
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
      {"OpenSessionAtFirst", Effect::Starts, [](TortureTest& t) { return t.SendOpen(); }},
      {"Abort", Effect::None,
       [](TortureTest& t) { return t.Send(kKELOCommand_Abort, t.Record()); }},
      {"LoadHierarchy", Effect::Loads, [](TortureTest& t) { return t.SendLoad(); }},
      {"LoadHierarchyAgain", Effect::None, [](TortureTest& t) { return t.SendLoad(); }},
      {"GetItemsCount", Effect::None,
       [](TortureTest& t) {
         uint32_t count = 0;
         tagCommandControlInfo record = t.Record(&count, KELO_ALL_ITEMS_ID);
         record.selectionFlags = 0x157;
         return t.Send(kKELOCommand_GetItemsCount, record);
       }},
      {"GetItemsList", Effect::None,
       [](TortureTest& t) {
         uint32_t count = 0;
         tagKELO_ItemInfo none{};
         tagCommandControlInfo record = t.Record(&none, "");
         record.selectionFlags = kKELOKind_RootAlbum;
         record.entryCount = 1;
         return t.Send(kKELOCommand_GetItemsList, record) + count;
       }},
      {"GetItemInfo", Effect::None,
       [](TortureTest& t) {
         tagKELO_ItemInfo item{};
         return t.Send(kKELOCommand_GetItemInfo, t.Record(&item, t.Picture()));
       }},
      {"GetItemInfoFresh", Effect::None,
       [](TortureTest& t) {
         tagKELO_ItemInfo item{};
         tagCommandControlInfo record = t.Record(&item, t.Picture());
         record.outputOptions = kKELOOption_AskService;
         return t.Send(kKELOCommand_GetItemInfo, record);
       }},
      {"AddFolder", Effect::Adds, [](TortureTest& t) { return t.SendAdd(kKELOKind_Folder); }},
      {"AddAlbum", Effect::Adds, [](TortureTest& t) { return t.SendAdd(kKELOKind_Album); }},
      {"AddNewLink", Effect::None,
       [](TortureTest& t) {
         tagKELO_AddLinkInfo link{};
         SetField(link.itemIdList, t.Picture());
         const uint32_t result = t.Send(kKELOCommand_AddNewLink, t.One(&link, t.Album()));
         return result != 0 ? result : link.result;
       }},
      {"Upload", Effect::Adds, [](TortureTest& t) { return t.SendUpload(0); }},
      {"UploadChecked", Effect::Adds,
       [](TortureTest& t) { return t.SendUpload(kKELOOption_CheckDuplicates); }},
      {"VerifyRecipient", Effect::None,
       [](TortureTest& t) {
         std::string list = "nobody;a@example.org;b@example.org";
         tagKELO_RecipientInfo recipients{Text(list), {}, {}};
         tagCommandControlInfo record = t.Record(&recipients);
         record.outputOptions = kKELOOption_ReturnTexts;
         const uint32_t result = t.Send(kKELOCommand_VerifyRecipient, record);
         TakeText(recipients.accepted);
         TakeText(recipients.rejected);
         return result == 4117 ? 0 : result;
       }},
      {"GetAddressList", Effect::None,
       [](TortureTest& t) {
         tagKELO_StringInfo list{};
         const uint32_t result = t.Send(kKELOCommand_GetAddressList, t.Record(&list));
         TakeText(list);
         return result;
       }},
      {"SendPictureMail", Effect::None,
       [](TortureTest& t) {
         std::string list = "nobody;a@example.org";
         std::string text = "From the sea \xE6\xB5\xB7";
         tagKELO_PictureMailInfo mail{0, Text(list), {}, {}, Text(text), Text(text), 1};
         tagCommandControlInfo record = t.Record(&mail, t.Album());
         record.outputOptions = kKELOOption_ReturnTexts | kKELOOption_VerifyRecipients;
         const uint32_t result = t.Send(kKELOCommand_SendPictureMail, record);
         TakeText(mail.accepted);
         TakeText(mail.rejected);
         return result;
       }},
      {"GetStorageCapacity", Effect::None, [](TortureTest& t) { return t.SendCapacity(); }},
      {"ModifyProps", Effect::None,
       [](TortureTest& t) {
         tagKELO_PropertyInfo edit{};
         SetField(edit.caption, "A caption \xE6\xB5\xB7");
         edit.propertyMask = 7;
         return t.Send(kKELOCommand_ModifyProps, t.Record(&edit, t.Picture()));
       }},
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
      {"AddTags", Effect::None,
       [](TortureTest& t) {
         tagKELO_TagInfo tags{};
         SetField(tags.text, "sea,\xE6\xB5\xB7");
         tagCommandControlInfo record = t.Record(&tags, t.Album());
         record.selectionFlags = kKELOKind_Album;
         return t.Send(kKELOCommand_AddTags, record);
       }},
      {"Download", Effect::None, [](TortureTest& t) { return t.SendDownload(); }},
  };
}

}  // namespace kelo::testing
