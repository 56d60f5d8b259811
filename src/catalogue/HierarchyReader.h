// Walks the tags of an answer once and adds what they describe to a cache.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "catalogue/HierarchyRecords.h"

namespace kelo {

class KELOAccessCacheManager;
class KELOAccessFileInfoConverter;
struct XMLTag;

// Reads the attributes of an item's tag; `id` is a view of them. False for an item without an id,
// which leaves `id` and `data` untouched.
bool ReadFileItem(std::string_view attributes, const KELOAccessFileInfoConverter& converter,
                  std::string_view& id, tagFileItemData& data);

class HierarchyReader {
 public:
  // What is read inside a container.
  enum class Reads {
    Nothing,
    Hierarchy,       // a whole answer: root album, folders, albums
    RootAlbum,       // a whole answer: the root album alone
    Friends,         // a whole answer: friend albums
    RootAlbumItems,  // items
    Directories,     // folders and albums, into the directory `id`
    FolderContent,   // the albums of the folder `id`
    AlbumContent,    // the items of the album `id`
    AlbumItems,      // items, into the album `id`
    FriendAlbums,    // friend albums
    FriendContent,   // the items of the friend album `id`
    FriendItems      // items, into the friend album `id`
  };

  HierarchyReader(KELOAccessCacheManager& cache, const KELOAccessFileInfoConverter& converter)
      : cache_(cache), converter_(converter) {}

  // 0, or kKELOResult_GeneralFailure for a broken text: see HierarchyLoader. What was read until
  // then has been added.
  uint32_t Read(std::string_view text, Reads reads, std::string_view id = {});

 private:
  enum Container : uint8_t { RootAlbum, Folders, Folder, Albums, Album, Items, ContainerCount };
  struct Scope {
    Reads reads;
    std::string_view id;
    Container container;
  };

  static Container ContainerOf(std::string_view name);
  Scope Inside(Container container, const XMLTag& tag);
  Scope AddFolder(const XMLTag& tag, std::string_view parentID);
  Scope AddAlbum(const XMLTag& tag, std::string_view parentID, bool isFriends);
  void AddItem(const XMLTag& tag);

  KELOAccessCacheManager& cache_;
  const KELOAccessFileInfoConverter& converter_;
  std::vector<Scope> scopes_;  // the open containers, innermost last, on the scope of the text
};

}  // namespace kelo
