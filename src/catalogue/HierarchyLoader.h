// Fills the hierarchy cache from the service's answers, in a single pass and without a copy of
// them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "catalogue/HierarchyRecords.h"
#include "catalogue/KELOAccessFileInfoConverter.h"

namespace kelo {

class AbortSignal;
class HierarchyTable;
class KELOAccessCacheManager;

// One loader serves one load or query; the cache must outlive it. Answers are read in linear time
// whatever they hold. Values are stored as the service wrote them. Folders, albums and items
// without an id are skipped, with all that is in them; a missing element leaves its part of the
// cache empty.
//
// A broken answer is kKELOResult_GeneralFailure: one that ends inside a tag, or in which a
// container (rootAlbum, folders, folder, albums, album, items) has no end. An abort is heard while
// an answer is read, which is then kKELOResult_Aborted and as broken.
class HierarchyLoader {
 public:
  explicit HierarchyLoader(KELOAccessCacheManager& cache, const AbortSignal* abort = nullptr)
      : cache_(cache), abort_(abort) {}

  // Rebuilds the cache from the answer to GetHierarchy. The former content stays, whole, where the
  // answer is broken or memory runs out.
  uint32_t RefreshHierarchyInfoByXMLData(std::string response);
  // Puts the friend albums of the answer to GetForeignAlbumItems in the place of the former ones.
  // Where that is broken or memory runs out, there are none.
  uint32_t RefreshFriendAlbumInfoByXMLData(std::string response);

  // Reads the attributes of an item's tag; `id` and `data` are views of them. False for an item
  // without an id, which leaves both untouched.
  bool ExtractFileItemInfo(std::string_view attributes, std::string_view& id,
                           tagFileItemData& data) const;

 private:
  uint32_t ResultOfBroken() const;

  KELOAccessCacheManager& cache_;
  const AbortSignal* abort_;
  KELOAccessFileInfoConverter converter_;
};

}  // namespace kelo
