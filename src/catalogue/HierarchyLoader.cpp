// The walk over an answer's tags. Only the tags that mean something here open a scope; all others,
// wherever they stand, are as if they were not there.
#include "catalogue/HierarchyLoader.h"

#include <algorithm>
#include <array>
#include <memory>
#include <utility>
#include <vector>

#include "catalogue/HierarchyTable.h"
#include "catalogue/KELOAccessCacheManager.h"
#include "platform/AbortSignal.h"
#include "text/XMLElements.h"

namespace kelo {
namespace {

enum class AnswerKind { Hierarchy, Friends };

// Reads the answer that the table owns into the table.
class HierarchyReader {
 public:
  HierarchyReader(const HierarchyLoader& loader, AnswerKind kind, HierarchyTable& table)
      : loader_(loader), kind_(kind), table_(table) {}

  // False for a broken answer, and where `abort` is raised.
  bool Read(const AbortSignal* abort);

 private:
  enum Container : uint8_t { RootAlbum, Folders, Folder, Albums, Album, Items, ContainerCount };
  // What is read inside a container.
  enum class Reads { Nothing, Answer, Directories, FolderContent, AlbumContent, Items };
  struct Scope {
    Reads reads;
    uint32_t directory;         // where it goes
    std::string_view parentId;  // the directory's id; empty for a root
    Container container;
  };

  static Container ContainerOf(std::string_view name);
  Scope Inside(Container container, const XMLTag& tag);
  Scope AddFolder(const XMLTag& tag, const Scope& outer);
  Scope AddAlbum(const XMLTag& tag, const Scope& outer);
  void AddItem(const XMLTag& tag);

  const HierarchyLoader& loader_;
  const AnswerKind kind_;
  HierarchyTable& table_;
  std::vector<Scope> scopes_;  // the open containers, innermost last, on the scope of the answer
};

HierarchyReader::Container HierarchyReader::ContainerOf(std::string_view name) {
  static constexpr std::array<std::string_view, ContainerCount> kNames{
      "rootAlbum", "folders", "folder", "albums", "album", "items"};
  return static_cast<Container>(std::ranges::find(kNames, name) - kNames.begin());
}

bool HierarchyReader::Read(const AbortSignal* abort) {
  scopes_ = {{Reads::Answer, table_.FindDirectory(kRootId), {}, ContainerCount}};
  XMLTagReader reader(table_.Answer(), [abort] { return abort && abort->IsRaised(); });
  XMLTag tag;
  while (reader.Next(tag)) {
    if (tag.name == "item") {
      if (tag.kind != XMLTag::Kind::Close) AddItem(tag);
      continue;
    }
    const Container container = ContainerOf(tag.name);
    if (container == ContainerCount) continue;
    if (tag.kind == XMLTag::Kind::Close) {
      // Any other one belongs to a tag that could not be read, or shows in the end that something
      // within has no end.
      if (scopes_.back().container == container) scopes_.pop_back();
      continue;
    }
    const Scope scope = Inside(container, tag);
    if (tag.kind == XMLTag::Kind::Open) scopes_.push_back(scope);
  }
  return scopes_.size() == 1 && !reader.Broken();
}

// Adds the directory that the tag describes, if any, and answers what is read inside of it.
HierarchyReader::Scope HierarchyReader::Inside(Container container, const XMLTag& tag) {
  const Scope& outer = scopes_.back();
  const bool isOwn = kind_ == AnswerKind::Hierarchy;
  Scope inside{Reads::Nothing, outer.directory, outer.parentId, container};
  switch (outer.reads) {
    case Reads::Answer:
      inside.reads = Reads::Answer;  // whatever stands around them
      if (container == Albums || (container == Folders && isOwn)) inside.reads = Reads::Directories;
      if (container == RootAlbum && isOwn) {
        inside.reads = Reads::Items;
        inside.directory = HierarchyTable::kRootAlbum;
      }
      break;
    case Reads::Directories:
      inside.reads = Reads::Directories;  // whatever stands around albums
      if (container == Folder && isOwn) return AddFolder(tag, outer);
      if (container == Album) return AddAlbum(tag, outer);
      break;
    case Reads::FolderContent:
      if (container == Albums) inside.reads = Reads::Directories;
      break;
    case Reads::AlbumContent:
      if (container == Items) inside.reads = Reads::Items;
      break;
    case Reads::Items:  // whatever stands around items
      inside.reads = Reads::Items;
      break;
    case Reads::Nothing:
      break;
  }
  return inside;
}

// Without an id nothing inside is read: its albums must not come to stand under the root.
HierarchyReader::Scope HierarchyReader::AddFolder(const XMLTag& tag, const Scope& outer) {
  static constexpr std::string_view kNames[] = {"folderId", "folderName", "modifyDate",
                                                "albumCount"};
  const auto [id, name, date, count] = ReadAttributes(tag.attributes, kNames);
  if (id.empty()) return {Reads::Nothing, kNone, {}, Folder};
  const uint32_t folder =
      table_.AddDirectory(outer.directory, outer.parentId, id, {name, date}, kKELOKind_Folder);
  return {count == "0" ? Reads::Nothing : Reads::FolderContent, folder, id, Folder};
}

HierarchyReader::Scope HierarchyReader::AddAlbum(const XMLTag& tag, const Scope& outer) {
  static constexpr std::string_view kNames[] = {"albumId", "albumName", "modifyDate", "shareFlag",
                                                "itemsCount"};
  const auto [id, name, date, shared, count] = ReadAttributes(tag.attributes, kNames);
  if (id.empty()) return {Reads::Nothing, kNone, {}, Album};
  uint32_t flags = kKELOKind_FriendAlbum;
  if (kind_ == AnswerKind::Hierarchy)
    flags = shared == "true" ? kSharedAlbumFlags : uint32_t{kKELOKind_Album};
  const uint32_t album =
      table_.AddDirectory(outer.directory, outer.parentId, id, {name, date}, flags);
  return {count == "0" ? Reads::Nothing : Reads::AlbumContent, album, id, Album};
}

void HierarchyReader::AddItem(const XMLTag& tag) {
  const Scope& scope = scopes_.back();
  if (scope.reads != Reads::Items) return;
  std::string_view id;
  tagFileItemData data;
  if (loader_.ExtractFileItemInfo(tag.attributes, id, data))
    table_.AddFile(scope.directory, id, data);
}

// The answer, read into a table of its own; null where it is broken.
std::unique_ptr<HierarchyTable> ReadAside(const HierarchyLoader& loader, AnswerKind kind,
                                          const AbortSignal* abort, std::string response) {
  auto table = std::make_unique<HierarchyTable>(std::move(response));
  table->AddRoot();
  const bool isWhole = HierarchyReader(loader, kind, *table).Read(abort);
  return isWhole ? std::move(table) : nullptr;
}

}  // namespace

uint32_t HierarchyLoader::ResultOfBroken() const {
  return abort_ && abort_->IsRaised() ? kKELOResult_Aborted : kKELOResult_GeneralFailure;
}

uint32_t HierarchyLoader::RefreshHierarchyInfoByXMLData(std::string response) {
  auto table = ReadAside(*this, AnswerKind::Hierarchy, abort_, std::move(response));
  if (!table) return ResultOfBroken();
  cache_.TakeHierarchy(std::move(table));
  return kKELOResult_Success;
}

uint32_t HierarchyLoader::RefreshFriendAlbumInfoByXMLData(std::string response) {
  cache_.RemoveFriendAlbums();
  auto table = ReadAside(*this, AnswerKind::Friends, abort_, std::move(response));
  if (!table) return ResultOfBroken();
  cache_.TakeFriendAlbums(std::move(table));
  return kKELOResult_Success;
}

bool HierarchyLoader::ExtractFileItemInfo(std::string_view attributes, std::string_view& id,
                                          tagFileItemData& data) const {
  enum { ItemId, FileName, Format, ModifyDate, ShotDate, UploadDate, ScreenUrl, OrigUrl, ExifDate };
  static constexpr std::string_view kNames[] = {"itemId",     "fileName", "fileFormat",
                                                "modifyDate", "shotDate", "uploadDate",
                                                "screenUrl",  "origUrl",  "exif.36867"};
  const auto values = ReadAttributes(attributes, kNames);
  if (values[ItemId].empty()) return false;
  id = values[ItemId];
  data = {.fileName = values[FileName],
          .modifyDate = values[ModifyDate],
          .shotDate = values[values[ShotDate].data() ? ShotDate : ExifDate],
          .uploadDate = values[UploadDate],
          .screenUrl = values[ScreenUrl],
          .origUrl = values[OrigUrl],
          .fileFormat = converter_.ConvertFileFormatFromKELO(values[Format])};
  return true;
}

}  // namespace kelo
