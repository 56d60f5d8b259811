// The cache's rules once more, as plainly as they can be written and without a thought for speed:
// so it keeps no finished records, which must make no difference.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "KELOAccess.h"

namespace kelo::testing {

class ModelCache {
 public:
  static constexpr uint32_t kFormat = 4099;  // of every file: that of which nothing is known

  void SetupRootFolder();
  void ClearAllFolder();
  void AddDirectory(const std::string& parent, const std::string& id, const std::string& name,
                    uint32_t flags);
  void AddFile(const std::string& parent, const std::string& id, const std::string& name);
  void AddRootAlbumFile(const std::string& id, const std::string& name);
  void AddFriendAlbum(const std::string& id, const std::string& name);
  void AddFriendFile(const std::string& album, const std::string& id, const std::string& name);
  void RemoveFriendAlbums();
  void UpdateFile(const std::string& id, const std::string& name);

  std::vector<std::string> IdsOnTarget(const std::string& target, uint32_t mask) const {
    return OnTarget(target, mask, Order::Id);
  }
  std::vector<std::string> IdsOnServer(uint32_t mask) const { return OnServer(mask, Order::Id); }
  std::vector<tagKELO_ItemInfo> RecordsOnTarget(const std::string& target, uint32_t mask) const;
  std::vector<tagKELO_ItemInfo> RecordsOnServer(uint32_t mask) const;
  tagKELO_ItemInfo Record(const std::string& id) const;

 private:
  enum class Order { Id, Service };  // of a list of ids, and of one of records
  struct Entry {
    std::string id;
    std::string name;
    size_t index;
  };
  using List = std::vector<Entry>;  // in order of addition
  struct Directory {
    std::string parent;
    std::string name;
    uint32_t flags;
    List folders, albums, files;
  };

  static void Put(List& list, const std::string& id, const std::string& name);
  static std::vector<std::string> Sorted(List list, Order order);
  std::vector<std::string> SharedUnder(const std::string& target) const;
  std::vector<std::string> OnTarget(const std::string& target, uint32_t mask, Order order) const;
  std::vector<std::string> OnServer(uint32_t mask, Order order) const;
  bool Build(const std::string& id, tagKELO_ItemInfo& info) const;

  std::map<std::string, Directory> directories_;
  std::map<std::string, Directory> friends_;
  List rootAlbum_;
};

}  // namespace kelo::testing
