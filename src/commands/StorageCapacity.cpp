// The storage capacity command: asks the service how many bytes are stored and may be stored.

#include "controller/HostRecord.h"
#include "controller/KELOAccessCommandController.h"

namespace kelo {

uint32_t KELOAccessCommandController::ProcessGetStorageCapacity(tagCommandControlInfo* info) {
  tagKELO_StorageCapacityInfo record{};
  const ServiceAnswer answer = CallService("GetStorageCapacity", "");
  record.result = answer.Result();
  if (answer.Ok()) {
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
