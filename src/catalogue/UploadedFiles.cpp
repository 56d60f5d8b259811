// What an upload changes in the catalogue: a file that the service has taken, or holds already in
// the album, counts and is listed there at once.

#include "interface/KELOAccessCommandController.h"
#include "platform/TextField.h"

namespace kelo {

void KELOAccessCommandController::AddToCachedAlbum(std::string_view albumId,
                                                   std::string_view itemId,
                                                   std::string_view displayName) {
  cacheManager_->AddFileItem(albumId, itemId, {.fileName = displayName});
}

void KELOAccessCommandController::AdoptStoredItem(tagKELO_LoadInfo& record, std::string_view itemId,
                                                  std::string_view displayName) {
  const bool inAlbum = record.result == kKELOResult_AlreadyInAlbum;
  if (!inAlbum && record.result != kKELOResult_AlreadyExists) return;
  CopyTextField(record.itemId, itemId);
  if (inAlbum)
    AddToCachedAlbum(ReadTextField(record.albumId), ReadTextField(record.itemId), displayName);
}

}  // namespace kelo
