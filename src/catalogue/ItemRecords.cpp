// The record of one entry of the cached hierarchy.
#include <algorithm>
#include <cstddef>
#include <cstring>

#include "catalogue/KELOAccessCacheManager.h"

namespace kelo {
namespace {

using Record = tagKELO_ItemInfo;

// Fills a record at any address, straight in the host's buffer: cleared once as a whole, then each
// field written once.
class RecordWriter {
 public:
  explicit RecordWriter(void* record) : record_(static_cast<char*>(record)) {
    std::memset(record_, 0, sizeof(Record));
  }

  template <size_t N>
  void Text(size_t offset, const char (Record::*)[N], std::string_view text) {
    std::memcpy(record_ + offset, text.data(), std::min(text.size(), N - 1));
  }
  void Word(size_t offset, uint32_t value) { std::memcpy(record_ + offset, &value, sizeof value); }

  void ParentId(std::string_view id, const std::string_view* instead) {
    if (!instead && id == kTerminateID) return;
    Text(offsetof(Record, parentId), &Record::parentId, instead ? *instead : id);
  }
  void Kind(uint32_t kind) { Word(offsetof(Record, kind), kind); }
  void ItemId(std::string_view id) {
    if (id != kRootID) Text(offsetof(Record, itemId), &Record::itemId, id);
  }
  void Name(std::string_view name) { Text(offsetof(Record, name), &Record::name, name); }
  void ModifyDate(std::string_view date) {
    Text(offsetof(Record, modifyDate), &Record::modifyDate, date);
  }
  void ItemCount(uint32_t count) { Word(offsetof(Record, itemCount), count); }
  void Data(const tagFileItemData& data) {
    Name(data.fileName);
    ModifyDate(data.modifyDate);
    Text(offsetof(Record, shotDate), &Record::shotDate, data.shotDate);
    Text(offsetof(Record, uploadDate), &Record::uploadDate, data.uploadDate);
    Text(offsetof(Record, screenUrl), &Record::screenUrl, data.screenUrl);
    Text(offsetof(Record, origUrl), &Record::origUrl, data.origUrl);
    Word(offsetof(Record, fileFormat), data.fileFormat);
  }
  void File(const HierarchyTable& table, const HierarchyPlace& place,
            const std::string_view* parentID) {
    ParentId(table.Holder(place).id, parentID);
    Kind(kKELOKind_FileItem);
    Data(table.Data(place));
  }

 private:
  char* record_;
};

}  // namespace

void KELOAccessCacheManager::GetItemInfoFromFileItemData(const tagFileItemData& data,
                                                         tagKELO_ItemInfo& info) {
  const Record former = info;
  RecordWriter(&info).Data(data);
  info.result = former.result;
  std::memcpy(info.parentId, former.parentId, sizeof info.parentId);
  std::memcpy(info.itemId, former.itemId, sizeof info.itemId);
  info.kind = former.kind;
  info.itemCount = former.itemCount;
}

// The most preferred place of the id. The user's own directories and root album come before the
// friend albums, these before items in directories, and those before items in friend albums. The
// empty id means the root entries, never an item that happens to have the root id.
const HierarchyPlace* KELOAccessCacheManager::Find(std::string_view id,
                                                   const HierarchyTable*& table) const {
  const HierarchyTable& own = *hierarchy_.directories;
  const HierarchyTable& friends = *hierarchy_.friendAlbums;
  const auto find = [&](const HierarchyTable& in) {
    return id.empty() ? in.FindDirectoryPlace(kRootID) : in.Find(id);
  };
  table = &own;
  const HierarchyPlace* place = find(own);
  if (place && (!HierarchyTable::IsFile(*place) || &own.Holder(*place) == &own.Directory(0))) {
    return place;
  }
  const HierarchyPlace* other = find(friends);
  if (!other || (place && HierarchyTable::IsFile(*other))) return place;
  table = &friends;
  return other;
}

// Fills the record with the most preferred entry of that id; false if there is none.
bool KELOAccessCacheManager::WriteRecord(std::string_view id, const std::string_view* parentID,
                                         void* record) const {
  RecordWriter writer(record);
  const HierarchyTable* table = nullptr;
  if (id == kRootAlbumID) {
    writer.ParentId({}, parentID);
    writer.Kind(kKELOKind_RootAlbum);
    writer.Name(kRootAlbumName);
    writer.ItemCount(hierarchy_.directories->Directory(0).items[kFiles].size);
  } else if (const HierarchyPlace* place = Find(id, table); !place) {
    writer.Word(offsetof(Record, result), kKELOResult_NotFound);
    return false;
  } else if (HierarchyTable::IsFile(*place)) {
    writer.File(*table, *place, parentID);
  } else {
    const tagDirectoryInfo& directory = table->Directory(place->record);
    writer.ParentId(directory.parentID, parentID);
    writer.Kind(directory.flags);
    writer.Name(directory.name);
    writer.ModifyDate(directory.modifyDate);
    uint32_t count = directory.items[kFolders].size + directory.items[kAlbums].size +
                     directory.items[kFiles].size;
    // The root folder's count holds the root album twice, deliberately.
    if (id.empty()) count += table == hierarchy_.directories.get() ? 2 : 1;
    writer.ItemCount(count);
  }
  writer.ItemId(id);
  return true;
}

void KELOAccessCacheManager::WriteEntry(const HierarchyTable& table, const HierarchyPlace& entry,
                                        const std::string_view* parentID, void* record) const {
  const bool isOwn = &table == hierarchy_.directories.get();
  const HierarchyTable& other = isOwn ? *hierarchy_.friendAlbums : *hierarchy_.directories;
  if (!HierarchyTable::IsFile(entry) || !entry.preferred || other.Find(entry.id) ||
      entry.id == kRootAlbumID) {
    WriteRecord(entry.id, parentID, record);
    return;
  }
  RecordWriter writer(record);
  writer.File(table, entry, parentID);
  writer.ItemId(entry.id);
}

void KELOAccessCacheManager::GetItemInfo(std::string_view id, tagKELO_ItemInfo& info) {
  // Finished records know no difference between the empty id and the root id, but what the two show
  // differs: only the first one's is kept.
  const bool isKept = id != kRootID;
  if (const auto* finished = isKept ? GetKELO_ItemInfoCache(id) : nullptr) {
    info = *finished;
  } else if (WriteRecord(id, nullptr, &info) && isKept) {
    UpdateKELO_ItemInfoCache(id, info);
  }
}

}  // namespace kelo
