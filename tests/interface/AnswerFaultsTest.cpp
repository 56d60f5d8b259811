// Every command that asks the service, against answers that are no use: the documented code, and
// records that tell it.

#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

class AnswerFaultsTest : public CommandTest {
 protected:
  // Sends `code` with a record of its own; answers the command's result.
  uint32_t SendPlausible(uint32_t code, const std::string& prefix = "") {
    records_.emplace(folder(), prefix);
    tagCommandControlInfo record =
        Record(records_->Of(code), code == kKELOCommand_AddTags ? "I1" : prefix + "A1");
    record.entryCount = 1;
    record.outputOptions = kKELOOption_AskService | options_;
    record.selectionFlags = kKELOKind_FileItem | kinds_;
    return Send(code, record);
  }

  std::optional<HostRecords> records_;
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
  Reply closed;
  closed.closeAtOnce = true;
  const Fault faults[] = {
      {"empty", ReplyWith(""), 4144},    {"404", ReplyWith("<r stat=\"ok\" />", 404), 4114},
      {"413", ReplyWith("", 413), 4103}, {"504", ReplyWith("", 504), 4128},
      {"closed", closed, 4129},
  };
  OpenScriptedSession();
  LoadSmallHierarchy();
  for (const CommandOnTheWire& command : kCommands) {
    for (const Fault& fault : faults) {
      Requeue(command.method, fault.reply);
      // The address list deliberately tells no transport failure apart.
      const bool general = command.code == kKELOCommand_GetAddressList;
      const uint32_t result = SendPlausible(command.code);
      EXPECT_EQ(result, general ? 4144u : fault.result) << command.method << " " << fault.name;
      if (const uint32_t* word = records_->ResultWord(command.code))
        EXPECT_EQ(*word, result) << command.method << " " << fault.name;
    }
  }
}

TEST_F(AnswerFaultsTest, ServiceErrorsReachTheHost) {
  OpenScriptedSession();
  LoadSmallHierarchy();
  for (const CommandOnTheWire& command : kCommands) {
    Requeue(command.method, "<r stat=\"fail\" errcode=\"107\" errmsg=\"gone\" />");
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
        EXPECT_EQ(records_->upload.result, 0u);
        EXPECT_EQ(FieldText(records_->upload.itemId), "");
        break;
      default:
        break;
    }
    const uint32_t* word = records_->ResultWord(command.code);
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

}  // namespace
}  // namespace kelo::testing
