// Fills the hierarchy cache from the service's answers, in a single pass and without a copy of
// them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "catalogue/HierarchyRecords.h"
#include "protocol/KELOAccessFileInfoConverter.h"

namespace kelo {

class KELOAccessCacheManager;

// One loader serves one load or query; the cache must outlive it. Answers are read in linear time
// whatever they hold. Values are stored as the service wrote them. Folders, albums and items
// without an id are skipped, with all that is in them; a missing element leaves its part of the
// cache empty.
//
// A broken answer is kKELOResult_GeneralFailure: one that ends inside a tag, or in which a
// container (rootAlbum, folders, folder, albums, album, items) has no end.
class HierarchyLoader {
 public:
  explicit HierarchyLoader(KELOAccessCacheManager& cache) : cache_(cache) {}

  // Rebuilds the cache from the answer to GetHierarchy. The former content stays, whole, where the
  // answer is broken or memory is short.
  uint32_t RefreshHierarchyInfoByXMLData(std::string_view response);
  // Adds the friend albums of the answer to GetForeignAlbumItems. Where that is broken or memory is
  // short, the cache is left without friend albums.
  uint32_t RefreshFriendAlbumInfoByXMLData(std::string_view response);

  // The parts of an answer. Each adds to the cache up to where its text turns out to be broken.
  uint32_t AddRootAlbumItems(std::string_view response);
  // The folders of `text`, each with its own albums, and the albums outside of them.
  uint32_t AddDirectoryItems(std::string_view parentID, std::string_view text);
  uint32_t AddFileItems(std::string_view albumID, std::string_view text);
  uint32_t AddFriendAlbums(std::string_view text);
  uint32_t AddFileItemsToFriendAlbum(std::string_view friendAlbumID, std::string_view text);

  // Reads one item: its tag, or the text from behind "<item" on, where what follows the tag's end
  // is ignored. Answers 1, or 0 for an item without an id, which leaves `id` and `data` untouched.
  uint32_t ExtractFileItemInfo(std::string_view itemText, std::string& id,
                               tagFileItemData& data) const;

  // Adds the attributes of a tag (the text behind the element's name) to the map, as views of
  // `tagText`; of equal names the first wins. Answers 0 for an empty text, else 1.
  static uint32_t ExtractFileItemAttribute(
      std::string_view tagText, std::map<std::string_view, std::string_view>& attributes);

 private:
  KELOAccessCacheManager& cache_;
  KELOAccessFileInfoConverter converter_;
};

}  // namespace kelo
