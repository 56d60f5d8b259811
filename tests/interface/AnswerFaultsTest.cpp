// Every command that asks the service, against answers that are no use: the documented code, and
// records that tell it.

#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

class AnswerFaultsTest : public CommandTest {
 protected:
  // Sends `code` with a plausible record, in which every text that the host may choose begins with
  // `prefix`; answers the command's result.
  uint32_t SendPlausible(uint32_t code, const std::string& prefix = "") {
    std::string text = prefix + "a@example.org";
    recipients_ = {};
    recipients_.recipients = Text(text);
    mail_ = {};
    mail_.recipients = Text(text);
    item_ = {};
    item_.kind = kKELOKind_Album;
    SetField(item_.name, prefix + "New");
    link_ = {};
    SetField(link_.itemIdList, prefix + "I3");
    properties_ = {};
    properties_.propertyMask = 1;
    SetField(properties_.caption, prefix);
    SetField(tags_.text, prefix);
    load_ = {};
    path_ = folder().Write(prefix + "picture.jpg", "bytes");
    load_.filePath = Text(path_);
    load_.fileSize = 5;
    for (char* date : {load_.fileModifyDate, load_.fileCreateDate, load_.shotDate}) {
      std::snprintf(date, sizeof load_.shotDate, "%s2008-05-17", prefix.c_str());
    }
    SetField(load_.tagList, prefix);
    mail_.subject = mail_.body = mail_.recipients;
    void* data = nullptr;
    switch (code) {
      case kKELOCommand_GetItemInfo:
      case kKELOCommand_AddItems:
        data = &item_;
        break;
      case kKELOCommand_AddNewLink:
        data = &link_;
        break;
      case kKELOCommand_Upload:
        data = &load_;
        break;
      case kKELOCommand_VerifyRecipient:
        data = &recipients_;
        break;
      case kKELOCommand_GetAddressList:
        data = &list_;
        break;
      case kKELOCommand_SendPictureMail:
        data = &mail_;
        break;
      case kKELOCommand_GetStorageCapacity:
        data = &capacity_;
        break;
      case kKELOCommand_ModifyProps:
        data = &properties_;
        break;
      case kKELOCommand_AddTags:
        data = &tags_;
        break;
      default:
        break;
    }
    tagCommandControlInfo record =
        Record(data, code == kKELOCommand_AddTags ? "I1" : prefix + "A1");
    record.entryCount = 1;
    record.outputOptions = kKELOOption_AskService | options_;
    record.selectionFlags = kKELOKind_FileItem | kinds_;
    return Send(code, record);
  }

  // The result word of the command's record; null where it has none.
  const uint32_t* ResultWord(uint32_t code) const {
    switch (code) {
      case kKELOCommand_GetStorageCapacity:
        return &capacity_.result;
      case kKELOCommand_AddItems:
      case kKELOCommand_GetItemInfo:
        return &item_.result;
      case kKELOCommand_AddNewLink:
        return &link_.result;
      case kKELOCommand_ModifyProps:
        return &properties_.result;
      case kKELOCommand_AddTags:
        return &tags_.result;
      case kKELOCommand_SendPictureMail:
        return &mail_.status;
      default:
        return nullptr;
    }
  }

  tagKELO_RecipientInfo recipients_{};
  tagKELO_PictureMailInfo mail_{};
  tagKELO_ItemInfo item_{};
  tagKELO_LoadInfo load_{};
  tagKELO_AddLinkInfo link_{};
  tagKELO_StringInfo list_{};
  tagKELO_StorageCapacityInfo capacity_{};
  tagKELO_PropertyInfo properties_{};
  tagKELO_TagInfo tags_{};
  std::string path_;
  uint32_t options_ = 0;
  uint32_t kinds_ = 0;
};

struct CommandOnTheWire {
  uint32_t code;
  const char* method;
};

const CommandOnTheWire kCommands[] = {
    {kKELOCommand_CloseSession, "CloseSession"},
    {kKELOCommand_LoadHierarchy, "GetUserArchiveInfo"},
    {kKELOCommand_GetItemInfo, "GetItemsInfo"},
    {kKELOCommand_AddItems, "AddAlbum"},
    {kKELOCommand_AddNewLink, "AddItemsToAlbum"},
    {kKELOCommand_Upload, "UploadItems"},
    {kKELOCommand_VerifyRecipient, "VerifyRecipients"},
    {kKELOCommand_GetAddressList, "GetAddressList"},
    {kKELOCommand_SendPictureMail, "ShareAlbum"},
    {kKELOCommand_GetStorageCapacity, "GetStorageCapacity"},
    {kKELOCommand_ModifyProps, "ModifyProps"},
    {kKELOCommand_AddTags, "AddTags"},
};

TEST_F(AnswerFaultsTest, EveryCommandReportsUnusableAnswersAndStatuses) {
  struct Fault {
    const char* name;
    Reply reply;
    uint32_t result;
  };
  Reply lost = ReplyWith(std::string(1000, 'x'));
  lost.cutAfter = 10;
  Reply closed;
  closed.closeAtOnce = true;
  const Fault faults[] = {
      {"empty", ReplyWith(""), 4144},
      {"not XML", ReplyWith("<<<<\"\"\"\" stat"), 4144},
      {"no quotes", ReplyWith("<r stat=ok></r>"), 4144},
      {"truncated", ReplyWith("<r stat=\"o"), 4144},
      {"zero byte first", ReplyWith(std::string("\0stat=\"ok\"", 10)), 4144},
      {"huge", ReplyWith("<r " + std::string(8 << 20, 'x')), 4144},
      {"404", ReplyWith("<r stat=\"ok\" />", 404), 4114},
      {"408", ReplyWith("", 408), 4128},
      {"413", ReplyWith("", 413), 4103},
      {"500", ReplyWith("", 500), 4114},
      {"504", ReplyWith("", 504), 4128},
      {"cut", lost, 4129},
      {"closed", closed, 4129},
  };
  OpenScriptedSession();
  LoadSmallHierarchy();
  for (const CommandOnTheWire& command : kCommands) {
    for (const Fault& fault : faults) {
      Unqueue(command.method);
      Queue(command.method, fault.reply);
      // The address list deliberately tells no transport failure apart.
      const bool general = command.code == kKELOCommand_GetAddressList;
      const uint32_t result = SendPlausible(command.code);
      EXPECT_EQ(result, general ? 4144u : fault.result) << command.method << " " << fault.name;
      if (const uint32_t* word = ResultWord(command.code)) {
        EXPECT_EQ(*word, result) << command.method << " " << fault.name;
      }
    }
  }
}

TEST_F(AnswerFaultsTest, ServiceErrorsReachTheHost) {
  OpenScriptedSession();
  LoadSmallHierarchy();
  for (const CommandOnTheWire& command : kCommands) {
    Unqueue(command.method);
    Queue(command.method, "<r stat=\"fail\" errcode=\"107\" errmsg=\"gone\" />");
    const uint32_t result = SendPlausible(command.code);
    uint32_t expected = kKELOResult_NoSession;
    switch (command.code) {
      case kKELOCommand_VerifyRecipient:
        expected = kKELOResult_GeneralFailure;
        break;
      case kKELOCommand_GetStorageCapacity:  // the records alone tell
      case kKELOCommand_AddItems:
      case kKELOCommand_AddNewLink:
        expected = kKELOResult_Success;
        break;
      case kKELOCommand_Upload:  // a failed request leaves the records unconfirmed
        EXPECT_EQ(load_.result, 0u);
        EXPECT_EQ(FieldText(load_.itemId), "");
        break;
      default:
        break;
    }
    const uint32_t* word = ResultWord(command.code);
    EXPECT_EQ(result, expected) << command.method;
    EXPECT_EQ(word != nullptr ? *word : 4116u, 4116u) << command.method;
  }
}

TEST_F(AnswerFaultsTest, NothingInAHostsTextAddsAnAttribute) {
  OpenScriptedSession();
  LoadSmallHierarchy();
  Queue("CheckUploadItems", "<r stat=\"ok\"><items><item idx=\"1\" status=\"0\"/></items></r>");
  options_ = kKELOOption_CheckDuplicates;
  size_t documents = 0;
  for (const CommandOnTheWire& command : kCommands) {
    if (command.code == kKELOCommand_CloseSession) continue;
    kinds_ = command.code == kKELOCommand_Upload ? 7 : 0;
    service().ClearLog();
    SendPlausible(command.code, "\" e=\"");
    for (const LoggedRequest& request : service().Log()) {
      SCOPED_TRACE(request.apiMethod + "\n" + request.body);
      ++documents;
      EXPECT_EQ(request.body.find(" e=\""), std::string::npos);
      const bool hasText = command.code != kKELOCommand_LoadHierarchy &&
                           command.code != kKELOCommand_GetAddressList &&
                           command.code != kKELOCommand_GetStorageCapacity;
      EXPECT_EQ(request.body.find("=\"&quot; e=&quot;") != std::string::npos ||
                    request.body.find("=\"mailto:&quot; e=&quot;") != std::string::npos,
                hasText);
    }
  }
  EXPECT_EQ(documents, std::size(kCommands) - 1 + 1 + 2);  // a load sends three, an upload two
}

TEST_F(AnswerFaultsTest, WithoutAManageUrlNothingIsSent) {
  ScriptAnswers();
  tagKELO_SessionInfo session{};
  SetField(session.token, "T");
  ASSERT_EQ(Send(kKELOCommand_SetSessionInfo, Record(&session)), 0u);
  for (const CommandOnTheWire& command : kCommands) {
    if (command.code == kKELOCommand_CloseSession || command.code == kKELOCommand_AddTags) continue;
    EXPECT_EQ(SendPlausible(command.code), 4144u) << command.method;
  }
  EXPECT_EQ(service().RequestCount(), 0u);
}

}  // namespace
}  // namespace kelo::testing
