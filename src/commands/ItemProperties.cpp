// The modify props command: edits the caption, the caption flag and the rating of an item.

#include "controller/HostRecord.h"
#include "controller/KELOAccessCommandController.h"
#include "protocol/RequestDocument.h"

namespace kelo {
namespace {

void AppendProperty(std::string& document, std::string_view name, std::string_view value) {
  document.append("<property");
  AppendAttribute(document, "name", name);
  AppendAttribute(document, "value", value);
  document.append(" />\r\n");
}

std::string ModifyPropsDocument(std::string_view itemIdList, const tagKELO_PropertyInfo& edit) {
  std::string document(kDocumentDeclaration);
  document.append("<ModifyProps");
  AppendAttribute(document, "itemIdList", itemIdList);
  document.append(">\r\n");
  if (edit.propertyMask & kKELOProperty_Caption)
    AppendProperty(document, "caption", ReadTextField(edit.caption));
  if (edit.propertyMask & kKELOProperty_CaptionFlag)
    AppendProperty(document, "captionFlag", edit.captionFlag == 1 ? "true" : "false");
  if (edit.propertyMask & kKELOProperty_Rating)
    AppendProperty(document, "rating", std::to_string(edit.rating));
  // Deliberately without a line end.
  return document.append("</ModifyProps>");
}

}  // namespace

uint32_t KELOAccessCommandController::ProcessModifyProps(tagCommandControlInfo* info) {
  auto record = LoadRecord<tagKELO_PropertyInfo>(info->data);
  const std::string document = ModifyPropsDocument(ReadTextField(info->targetId), record);
  std::string answer;
  const uint32_t transfer =
      SendDocument(SessionSigner(session_.manageUrl), document, false, answer, kRequestTimeout);
  record.result = ServiceAnswer(transfer, std::move(answer)).Result();
  StoreRecord(info->data, record.result);
  return record.result;
}

}  // namespace kelo
