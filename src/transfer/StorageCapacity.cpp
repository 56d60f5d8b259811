// The storage capacity command.

#include "interface/KELOAccessCommandController.h"
#include "platform/HostRecord.h"
#include "protocol/RequestDocument.h"
#include "text/StringInfo.h"

namespace kelo {

uint32_t KELOAccessCommandController::ProcessGetStorageCapacity(tagCommandControlInfo* info) {
  tagKELO_StorageCapacityInfo record{};
  ServiceAnswer answer;
  record.result = CallService("GetStorageCapacity", "", answer, kRequestTimeout);
  if (record.result == kKELOResult_Success) {
    const auto used = answer.Attribute("dataCapacity");
    const auto available = answer.Attribute("storageCapacity");
    if (used && available) {
      record.dataCapacity = StringToULL(*used);
      record.storageCapacity = StringToULL(*available);
    } else {
      record.result = kKELOResult_GeneralFailure;
    }
  }
  StoreRecord(info->data, record);
  // A service error is deliberately told by the record alone.
  return answer.IsServiceError() ? uint32_t{kKELOResult_Success} : record.result;
}

}  // namespace kelo
