// Directories and file items in flat tables: the user's own, or those of the friends.
//
// The texts of a loaded answer stay where they are, in the answer, which the table owns. What is
// added later brings a block of its own that goes when it is replaced.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/ChunkedVector.h"
#include "catalogue/HierarchyRecords.h"
#include "catalogue/IdIndex.h"
#include "platform/KeyedHash.h"

namespace kelo {

class AbortSignal;

// One place where an id stands: a directory, or an entry of a directory's list.
struct HierarchyPlace {
  std::string_view id;
  uint32_t list;              // see HierarchyTable::ListOf; kNone for a directory
  uint32_t record;            // number of the directory (also of an entry that leads to it) or file
  uint32_t previous = kNone;  // in its list
  uint32_t next = kNone;
  uint32_t sameId = kNone;  // the next place of the id; the preferred one comes first
  bool preferred = false;   // this is what a query for the id finds
};

// An addition is made whole; when memory runs out, nothing has changed. Nothing is ever taken out,
// so numbers stay; a view or a reference lasts until the next change. Ids are taken as they are,
// and an empty one has no place. Looking up and adding cost the same at any size; the directories
// are sorted when their order is asked for.
class HierarchyTable {
 public:
  // The directory that holds the items of the root album. It has no place.
  static constexpr uint32_t kRootAlbum = 0;

  explicit HierarchyTable(std::string answer = {});
  HierarchyTable(const HierarchyTable&) = delete;
  HierarchyTable& operator=(const HierarchyTable&) = delete;

  std::string_view Answer() const { return answer_; }

  // The root folder, or the root of the friend albums.
  void AddRoot();
  // Adds the directory unless one of that id exists; its number. If the parent is not kNone and the
  // flags say folder or album, it also becomes the parent's last child.
  uint32_t AddDirectory(uint32_t parent, std::string_view parentId, std::string_view id,
                        tagDirectoryItemData data, uint32_t flags);
  // Adds the file as the directory's last one, or replaces and moves the one of that id.
  void AddFile(uint32_t directory, std::string_view id, tagFileItemData data);
  // Replaces the data in every place of the file; false if there is none.
  bool UpdateFile(std::string_view id, const tagFileItemData& data);

  // A directory's number or kNone.
  uint32_t FindDirectory(std::string_view id) const;
  // The preferred place of the id or null: a file in the root album, a directory, a file in the
  // first directory in id order.
  const HierarchyPlace* Find(std::string_view id) const;
  const HierarchyPlace* FindDirectoryPlace(std::string_view id) const;

  const tagDirectoryInfo& Directory(uint32_t number) const { return directories_[number]; }
  const tagDirectoryInfo& RootAlbum() const { return directories_[kRootAlbum]; }
  tagFileItemData Data(const HierarchyPlace& file) const;
  // The directory whose list holds the place.
  const tagDirectoryInfo& Holder(const HierarchyPlace& entry) const {
    return directories_[entry.list / kListKinds];
  }
  static bool IsFile(const HierarchyPlace& place) {
    return place.list != kNone && place.list % kListKinds == kFiles;
  }

  // All but the root album, in id order. Throws CommandAborted where `abort` is raised meanwhile.
  const std::vector<uint32_t>& DirectoriesById(const AbortSignal* abort) const;

  template <typename Visit>
  void ForEach(const HierarchyList& list, Visit visit) const {
    for (uint32_t at = list.first; at != kNone; at = places_[at].next) visit(places_[at]);
  }

 private:
  // Where a text begins and how long it is, within the file's own block or the answer.
  struct Text {
    uint32_t at = 0;
    uint32_t length = 0;
  };
  struct File {
    std::unique_ptr<char[]> own;
    std::array<Text, 6> texts;
    uint32_t format = 0;
  };

  static uint32_t ListOf(uint32_t directory, uint32_t kind) {
    return directory * kListKinds + kind;
  }
  HierarchyList& ListAt(uint32_t list) {
    return directories_[list / kListKinds].items[list % kListKinds];
  }
  bool InAnswer(std::string_view text) const;
  uint32_t HashOf(std::string_view id) const { return static_cast<uint32_t>(hash_(id)); }
  File MakeFile(std::string_view& id, tagFileItemData data) const;
  uint32_t FindPreferred(std::string_view id, uint32_t hash) const;
  uint32_t FindIn(uint32_t list, std::string_view id, uint32_t hash) const;
  bool Precedes(const HierarchyPlace& place, const HierarchyPlace& other) const;
  void Reserve();
  uint32_t AddPlace(uint32_t list, std::string_view id, uint32_t hash, uint32_t record) noexcept;
  void Append(uint32_t place) noexcept;
  void Unlink(uint32_t place) noexcept;

  const KeyedHash hash_;
  std::string answer_;
  ChunkedVector<HierarchyPlace> places_;
  ChunkedVector<File> files_;
  ChunkedVector<tagDirectoryInfo> directories_;
  // The preferred place of each id under the id's hash; the others under that of id and list.
  IdIndex index_;
  mutable std::vector<uint32_t> byId_;
  mutable bool byIdIsSorted_ = true;
};

}  // namespace kelo
