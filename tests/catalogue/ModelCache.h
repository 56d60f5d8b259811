// The cache's rules once more, as plainly as they can be written and without a thought for speed:
// so it keeps no finished records, which must make no difference.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "KELOAccess.h"

namespace kelo::testing {

class ModelCache {
  static inline const std::string kRoot = "KELO_CACHEINFO_ROOT_ID";
  static inline const std::string kTop = "KELO_CACHEINFO_TERMINATE_ID";
  static inline const std::string kRootAlbum = std::string(27, '\xF8');

  static std::string Key(const std::string& id) { return id.empty() ? kRoot : id; }

  template <size_t N>
  static void Set(char (&field)[N], const std::string& text) {
    std::memset(field, 0, N);
    std::memcpy(field, text.data(), std::min(text.size(), N - 1));
  }

  template <typename Entries>
  static auto FindIn(Entries& list, const std::string& id) {
    return std::find_if(
        list.begin(), list.end(), [&](const auto& entry) { return entry.id == id; });
  }

  static void AppendAll(std::vector<std::string>& out, const std::vector<std::string>& ids) {
    out.insert(out.end(), ids.begin(), ids.end());
  }

  static bool SharedOnly(uint32_t mask) { return !(mask & 2) && (mask & 0x100); }

 public:
  static constexpr uint32_t kFormat = 4099;  // of every file: that of which nothing is known

  void SetupRootFolder() {
    if (directories_.contains(kRoot)) ClearAllFolder();
    directories_[kRoot] = {kTop, "Root", 1, {}, {}, {}};
  }

  void ClearAllFolder() {
    directories_.clear();
    friends_.clear();
    rootAlbum_.clear();
    friends_[kRoot] = {kTop, "Root", 1, {}, {}, {}};
  }

  void AddDirectory(const std::string& parent, const std::string& id, const std::string& name,
                    uint32_t flags) {
    if (id.empty()) return;
    if (const auto found = directories_.find(Key(parent)); found != directories_.end()) {
      if (flags & 1)
        Put(found->second.folders, id, name);
      else if (flags & 2)
        Put(found->second.albums, id, name);
    }
    directories_.insert({id, {parent.substr(0, 40), name, flags, {}, {}, {}}});
  }

  void AddFile(const std::string& parent, const std::string& id, const std::string& name) {
    const auto found = directories_.find(Key(parent));
    if (!id.empty() && found != directories_.end()) Put(found->second.files, id, name);
  }

  void AddRootAlbumFile(const std::string& id, const std::string& name) {
    if (!id.empty()) Put(rootAlbum_, id, name);
  }

  void AddFriendAlbum(const std::string& id, const std::string& name) {
    if (id.empty()) return;
    if (friends_.contains(kRoot)) Put(friends_[kRoot].albums, id, name);
    friends_.insert({id, {"", name, 0x10, {}, {}, {}}});
  }

  void AddFriendFile(const std::string& album, const std::string& id, const std::string& name) {
    const auto found = friends_.find(Key(album));
    if (!id.empty() && found != friends_.end()) Put(found->second.files, id, name);
  }

  // Their root stays where there is one.
  void RemoveFriendAlbums() {
    std::erase_if(friends_, [](const auto& entry) { return entry.first != kRoot; });
    for (auto& [key, root] : friends_) root.albums = root.files = {};
  }

  void UpdateFile(const std::string& id, const std::string& name) {
    const auto update = [&](List& list) {
      if (const auto found = FindIn(list, id); found != list.end()) found->name = name;
    };
    update(rootAlbum_);
    for (auto& [key, directory] : directories_) update(directory.files);
  }

  std::vector<std::string> IdsOnTarget(const std::string& target, uint32_t mask) const {
    return OnTarget(target, mask, Order::Id);
  }
  std::vector<std::string> IdsOnServer(uint32_t mask) const { return OnServer(mask, Order::Id); }

  std::vector<tagKELO_ItemInfo> RecordsOnTarget(const std::string& target, uint32_t mask) const {
    std::vector<tagKELO_ItemInfo> records;
    for (const std::string& id : OnTarget(target, mask, Order::Service)) {
      records.push_back(Record(id));
      Set(records.back().parentId, target);
    }
    return records;
  }

  std::vector<tagKELO_ItemInfo> RecordsOnServer(uint32_t mask) const {
    std::vector<tagKELO_ItemInfo> records;
    for (const std::string& id : OnServer(mask, Order::Service)) records.push_back(Record(id));
    return records;
  }

  tagKELO_ItemInfo Record(const std::string& id) const {
    tagKELO_ItemInfo info = {};
    if (!Build(id, info)) {
      info.result = 4098;
      return info;
    }
    if (id.empty()) ++info.itemCount;
    if (info.parentId == kTop) Set(info.parentId, "");
    if (info.itemId == kRoot) Set(info.itemId, "");
    return info;
  }

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

  static void Put(List& list, const std::string& id, const std::string& name) {
    if (const auto found = FindIn(list, id); found != list.end()) list.erase(found);
    list.push_back({id, name, list.size()});
  }

  static std::vector<std::string> Sorted(List list, Order order) {
    std::stable_sort(list.begin(), list.end(), [order](const Entry& a, const Entry& b) {
      return order == Order::Id ? a.id < b.id : a.index < b.index;
    });
    std::vector<std::string> ids;
    for (const Entry& entry : list) ids.push_back(entry.id);
    return ids;
  }

  std::vector<std::string> SharedUnder(const std::string& target) const {
    std::vector<std::string> ids;
    for (const auto& [id, directory] : directories_)
      if (directory.parent == target && (directory.flags & 0x100)) ids.push_back(id);
    return ids;
  }

  std::vector<std::string> OnTarget(const std::string& target, uint32_t mask, Order order) const {
    std::vector<std::string> ids;
    if ((mask & 0x40) && target.empty()) ids.push_back(kRootAlbum);
    if ((mask & 4) && target == kRootAlbum) AppendAll(ids, Sorted(rootAlbum_, order));
    const auto found = directories_.find(Key(target));
    if (found != directories_.end()) {
      if (mask & 1) AppendAll(ids, Sorted(found->second.folders, order));
      if (mask & 2) AppendAll(ids, Sorted(found->second.albums, order));
      if (mask & 4) AppendAll(ids, Sorted(found->second.files, order));
    }
    if (SharedOnly(mask)) AppendAll(ids, SharedUnder(target));
    const auto album = friends_.find(Key(target));
    if (found == directories_.end() && album != friends_.end() && (mask & 4) &&
        order == Order::Service)
      AppendAll(ids, Sorted(album->second.files, order));
    return ids;
  }

  std::vector<std::string> OnServer(uint32_t mask, Order order) const {
    std::vector<std::string> ids;
    if (directories_.empty()) return ids;
    if (mask & 0x40) ids.push_back(kRootAlbum);
    if (mask & 4) AppendAll(ids, Sorted(rootAlbum_, order));
    std::vector<std::string> shared;
    for (const auto& [key, directory] : directories_) {
      if (mask & 1) AppendAll(ids, Sorted(directory.folders, order));
      if (mask & 2) AppendAll(ids, Sorted(directory.albums, order));
      if (SharedOnly(mask) && (directory.flags & 0x100))
        (order == Order::Id ? shared : ids).push_back(key);
      if (mask & 4) AppendAll(ids, Sorted(directory.files, order));
    }
    for (const auto& [key, album] : friends_)
      if ((mask & 0x10) && key != kRoot) ids.push_back(key);
    AppendAll(ids, shared);
    return ids;
  }

  bool Build(const std::string& id, tagKELO_ItemInfo& info) const {
    const auto file = [&](const std::string& parent, const Entry& entry) {
      Set(info.parentId, parent);
      Set(info.itemId, id);
      Set(info.name, entry.name);
      info.kind = 4;
      info.fileFormat = kFormat;
      return true;
    };
    const auto directory = [&](const Directory& found, uint32_t mask) {
      Set(info.parentId, found.parent);
      Set(info.itemId, id);
      Set(info.name, found.name);
      info.kind = found.flags;
      info.itemCount = static_cast<uint32_t>(OnTarget(id, mask, Order::Service).size());
      return true;
    };
    if (id == kRootAlbum) {
      Set(info.itemId, id);
      Set(info.name, "RootAlbum");
      info.kind = 0x40;
      info.itemCount = static_cast<uint32_t>(rootAlbum_.size());
      return true;
    }
    if (const auto at = FindIn(rootAlbum_, id); at != rootAlbum_.end())
      return file(kRootAlbum, *at);
    if (const auto at = directories_.find(Key(id)); at != directories_.end())
      return directory(at->second, 0x147);
    if (const auto at = friends_.find(Key(id)); at != friends_.end())
      return directory(at->second, 7);
    for (const auto* map : {&directories_, &friends_}) {
      for (const auto& [key, holder] : *map)
        if (const auto at = FindIn(holder.files, id); at != holder.files.end())
          return file(key, *at);
    }
    return false;
  }

  std::map<std::string, Directory> directories_;
  std::map<std::string, Directory> friends_;
  List rootAlbum_;
};

}  // namespace kelo::testing
