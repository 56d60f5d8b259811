// The cache's rules once more, as plainly as they can be written and without a thought for speed.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "KELOAccess.h"

namespace kelo::test {

class ModelCache {
 public:
  explicit ModelCache(size_t recordsKept) : recordsKept_(recordsKept) {}

  void SetupRootFolder();
  void AddDirectory(const std::string& parent, const std::string& id, const std::string& name,
                    uint32_t flags);
  void AddFile(const std::string& parent, const std::string& id, const std::string& name);
  void AddRootAlbumFile(const std::string& id, const std::string& name);
  void AddFriendAlbum(const std::string& id, const std::string& name);
  void AddFriendFile(const std::string& album, const std::string& id, const std::string& name);
  void UpdateFile(const std::string& id, const std::string& name);
  void RemoveRecord(const std::string& id);

  std::vector<std::string> IDsOnTarget(const std::string& target, uint32_t mask) const;
  std::vector<std::string> IDsOnServer(uint32_t mask) const;
  std::vector<tagKELO_ItemInfo> RecordsOnTarget(const std::string& target, uint32_t mask);
  std::vector<tagKELO_ItemInfo> RecordsOnServer(uint32_t mask);
  tagKELO_ItemInfo Record(const std::string& id);

 private:
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
  static std::vector<std::string> ByID(const List& list);
  static std::vector<std::string> ByIndex(const List& list);
  std::vector<std::string> SharedUnder(const std::string& target) const;
  size_t CountOnTarget(const std::string& target, uint32_t mask) const;
  bool Build(const std::string& id, tagKELO_ItemInfo& info) const;
  void Keep(const std::string& key, const tagKELO_ItemInfo& info);

  std::map<std::string, Directory> directories_;
  std::map<std::string, Directory> friends_;
  List rootAlbum_;
  size_t recordsKept_;
  std::map<std::string, tagKELO_ItemInfo> records_;
  std::deque<std::string> recordOrder_;
};

}  // namespace kelo::test
