// Fills the record that hosts see of one entry: a folder, an album or a file item.
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
  void Text(char (Record::*field)[N], std::string_view text) {
    text.copy(At(field), N - 1);
  }
  void Word(uint32_t Record::*field, uint32_t value) {
    std::memcpy(At(field), &value, sizeof value);
  }

  void Ids(std::string_view id, std::string_view ownParentId, const std::string_view* parentId) {
    if (parentId)
      Text(&Record::parentId, *parentId);
    else if (ownParentId != kTerminateId)
      Text(&Record::parentId, ownParentId);
    if (id != kRootId) Text(&Record::itemId, id);
  }
  void Data(const tagFileItemData& data) {
    Text(&Record::name, data.fileName);
    Text(&Record::modifyDate, data.modifyDate);
    Text(&Record::shotDate, data.shotDate);
    Text(&Record::uploadDate, data.uploadDate);
    Text(&Record::screenUrl, data.screenUrl);
    Text(&Record::origUrl, data.origUrl);
    Word(&Record::fileFormat, data.fileFormat);
  }
  void File(const HierarchyTable& table, const HierarchyPlace& place,
            const std::string_view* parentId) {
    Ids(place.id, table.Holder(place).id, parentId);
    Word(&Record::kind, kKELOKind_FileItem);
    Data(table.Data(place));
  }

 private:
  template <typename Field>
  char* At(Field Record::*field) {
    static constexpr Record kLayout{};
    return record_ + (reinterpret_cast<const char*>(&(kLayout.*field)) -
                      reinterpret_cast<const char*>(&kLayout));
  }

  char* record_;
};

}  // namespace

void KELOAccessCacheManager::GetItemInfoFromFileItemData(const tagFileItemData& data,
                                                         tagKELO_ItemInfo& info) {
  Record fresh;
  RecordWriter(&fresh).Data(data);
  std::memcpy(&fresh, &info, offsetof(Record, fileFormat));  // result, ids and kind
  fresh.itemCount = info.itemCount;
  info = fresh;
}

// The most preferred place of the id. The user's own directories and root album come before the
// friend albums, these before items in directories, and those before items in friend albums. The
// empty id means the root entries, never an item that happens to have the root id.
const HierarchyPlace* KELOAccessCacheManager::Find(std::string_view id,
                                                   const HierarchyTable*& table) const {
  const HierarchyTable& own = *hierarchy_.directories;
  const HierarchyTable& friends = *hierarchy_.friendAlbums;
  const auto find = [&](const HierarchyTable& in) {
    return id.empty() ? in.FindDirectoryPlace(kRootId) : in.Find(id);
  };
  table = &own;
  const HierarchyPlace* place = find(own);
  if (place && (!HierarchyTable::IsFile(*place) || &own.Holder(*place) == &own.RootAlbum()))
    return place;
  const HierarchyPlace* other = find(friends);
  if (!other || (place && HierarchyTable::IsFile(*other))) return place;
  table = &friends;
  return other;
}

// Fills the record with the most preferred entry of that id; false if there is none.
bool KELOAccessCacheManager::WriteRecord(std::string_view id, const std::string_view* parentId,
                                         void* record) const {
  RecordWriter writer(record);
  const HierarchyTable* table = nullptr;
  if (id == kRootAlbumId) {
    writer.Ids(id, {}, parentId);
    writer.Word(&Record::kind, kKELOKind_RootAlbum);
    writer.Text(&Record::name, kRootAlbumName);
    writer.Word(&Record::itemCount, hierarchy_.directories->RootAlbum().items[kFiles].size);
    return true;
  }
  const HierarchyPlace* place = Find(id, table);
  if (!place) {
    writer.Word(&Record::result, kKELOResult_NotFound);
    return false;
  }
  if (HierarchyTable::IsFile(*place)) {
    writer.File(*table, *place, parentId);
    return true;
  }
  const tagDirectoryInfo& directory = table->Directory(place->record);
  uint32_t count = 0;
  for (const HierarchyList& list : directory.items) count += list.size;
  // The root folder's count holds the root album twice, deliberately.
  if (id.empty()) count += table == hierarchy_.directories.get() ? 2 : 1;
  writer.Ids(id, directory.parentID, parentId);
  writer.Word(&Record::kind, directory.flags);
  writer.Text(&Record::name, directory.name);
  writer.Text(&Record::modifyDate, directory.modifyDate);
  writer.Word(&Record::itemCount, count);
  return true;
}

void KELOAccessCacheManager::WriteEntry(const HierarchyTable& table, const HierarchyPlace& entry,
                                        const std::string_view* parentId, void* record) const {
  const bool isOwn = &table == hierarchy_.directories.get();
  const HierarchyTable& other = isOwn ? *hierarchy_.friendAlbums : *hierarchy_.directories;
  const bool isWhatIsFound = HierarchyTable::IsFile(entry) && entry.preferred &&
                             !other.Find(entry.id) && entry.id != kRootAlbumId;
  if (isWhatIsFound)
    RecordWriter(record).File(table, entry, parentId);
  else
    WriteRecord(entry.id, parentId, record);
}

void KELOAccessCacheManager::GetItemInfo(std::string_view id, tagKELO_ItemInfo& info) {
  // The finished records have one place for the empty id and the root id, but what the two show
  // differs. So only the record of the empty id is kept.
  const bool isKept = id != kRootId;
  if (const auto* finished = isKept ? GetKELO_ItemInfoCache(id) : nullptr)
    info = *finished;
  else if (WriteRecord(id, nullptr, &info) && isKept)
    UpdateKELO_ItemInfoCache(id, info);
}

}  // namespace kelo
