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
    return SendOne(code, records_->Of(code), code == kKELOCommand_AddTags ? "I1" : prefix + "A1",
                   kKELOOption_AskService | options_, kKELOKind_FileItem | kinds_);
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

// What `code` gives where its record tells `result`.
uint32_t CommandResult(uint32_t code, uint32_t result) {
  const bool refused = result == kKELOResult_NoSession;
  switch (code) {
    case kKELOCommand_GetAddressList:  // tells no transport failure apart, deliberately
      return refused ? result : uint32_t{kKELOResult_GeneralFailure};
    case kKELOCommand_VerifyRecipient:
      return refused ? uint32_t{kKELOResult_GeneralFailure} : result;
    case kKELOCommand_GetStorageCapacity:  // the records alone tell what the service refuses
    case kKELOCommand_AddItems:
    case kKELOCommand_AddNewLink:
      return refused ? 0 : result;
    default:
      return result;
  }
}

TEST_F(AnswerFaultsTest, EveryCommandTellsThem) {
  struct Fault {
    const char* name;
    Reply reply;
    uint32_t result;
  };
  Reply closed;
  closed.closeAtOnce = true;
  const Fault faults[] = {
      {"empty", ReplyWith(""), 4144},
      {"404", ReplyWith("<r stat=\"ok\" />", 404), 4114},
      {"413", ReplyWith("", 413), 4103},
      {"504", ReplyWith("", 504), 4128},
      {"closed", closed, 4129},
      {"refused", ReplyWith("<r stat=\"fail\" errcode=\"107\" errmsg=\"gone\" />"), 4116},
  };
  OpenScriptedSession();
  LoadSmallHierarchy();
  for (const CommandOnTheWire& command : kCommands) {
    for (const Fault& fault : faults) {
      SCOPED_TRACE(std::string(command.method) + " " + fault.name);
      Requeue(command.method, fault.reply);
      EXPECT_EQ(SendPlausible(command.code), CommandResult(command.code, fault.result));
      if (const uint32_t* word = records_->ResultWord(command.code)) EXPECT_EQ(*word, fault.result);
      EXPECT_EQ(records_->upload.result, 0u) << "no file was refused";
      EXPECT_EQ(FieldText(records_->upload.itemId), "");
    }
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
