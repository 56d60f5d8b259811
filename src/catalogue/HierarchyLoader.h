// Fills the hierarchy cache from the service's answers, by string search and without a copy of
// them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "catalogue/HierarchyRecords.h"
#include "transfer/KELOAccessFileInfoConverter.h"

namespace kelo {

class KELOAccessCacheManager;

// One loader serves one load or query; the cache must outlive it. Answers are read in linear time
// whatever they hold. Values are stored as the service wrote them. Folders, albums and items
// without an id are skipped, with all that is in them; a missing element leaves its part of the
// cache empty. So every operation that answers a result code answers kKELOResult_Success.
class HierarchyLoader {
 public:
  explicit HierarchyLoader(KELOAccessCacheManager& cache) : cache_(cache) {}

  // Rebuilds the cache from the answer to GetHierarchy.
  uint32_t RefreshHierarchyInfoByXMLData(std::string_view response);
  uint32_t AddRootAlbumItems(std::string_view response);
  // The folders of `text`, each with its own albums, and the albums outside of them.
  uint32_t AddDirectoryItems(std::string_view parentID, std::string_view text);
  uint32_t AddFileItems(std::string_view albumID, std::string_view text);

  // Adds the friend albums of the answer to GetForeignAlbumItems.
  uint32_t RefreshFriendAlbumInfoByXMLData(std::string_view response);
  uint32_t AddFriendAlbums(std::string_view text);
  uint32_t AddFileItemsToFriendAlbum(std::string_view friendAlbumID, std::string_view text);

  // Reads one item: the text from "<item " on, or from behind "<item" on; what follows the tag's
  // end is ignored. Answers 1, or 0 for an item without an id, which leaves `id` and `data`
  // untouched.
  uint32_t ExtractFileItemInfo(std::string_view itemText, std::string& id,
                               tagFileItemData& data) const;

  // Adds the attributes of a tag (the text behind the element's name) to the map, as views of
  // `tagText`; of equal names the first wins. Answers 0 for an empty text, else 1.
  static uint32_t ExtractFileItemAttribute(
      std::string_view tagText, std::map<std::string_view, std::string_view>& attributes);

 private:
  void AddFolderElement(std::string_view parentID, std::string_view tag, std::string_view content);
  void AddAlbumElement(std::string_view parentID, std::string_view tag, std::string_view content);
  void AddFriendAlbumElement(std::string_view tag, std::string_view content);

  KELOAccessCacheManager& cache_;
  KELOAccessFileInfoConverter converter_;
};

}  // namespace kelo
