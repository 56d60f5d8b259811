// The walk over an answer's tags. Only the tags that mean something here open a scope; all others,
// wherever they stand, are as if they were not there.
#include "catalogue/HierarchyReader.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "catalogue/KELOAccessCacheManager.h"
#include "text/XMLElements.h"
#include "protocol/KELOAccessFileInfoConverter.h"

namespace kelo {
namespace {

using Reads = HierarchyReader::Reads;

constexpr std::string_view kItem = "item";

constexpr bool ReadsItems(Reads reads) {
  return reads == Reads::RootAlbumItems || reads == Reads::AlbumItems ||
         reads == Reads::FriendItems;
}

tagDirectoryItemData Link(std::string_view name, std::string_view modifyDate) {
  return {.name = std::string(name), .modifyDate = std::string(modifyDate)};
}

}  // namespace

bool ReadFileItem(std::string_view attributes, const KELOAccessFileInfoConverter& converter,
                  std::string_view& id, tagFileItemData& data) {
  enum { ItemId, FileName, ModifyDate, ShotDate, ExifDate, UploadDate, ScreenUrl, OrigUrl, Format };
  static constexpr std::string_view kNames[] = {"itemId",    "fileName",   "modifyDate",
                                                "shotDate",  "exif.36867", "uploadDate",
                                                "screenUrl", "origUrl",    "fileFormat"};
  const auto values = ReadAttributes(attributes, kNames);
  if (values[ItemId].empty()) return false;
  id = values[ItemId];
  data.fileName = values[FileName];
  data.modifyDate = values[ModifyDate];
  data.shotDate = values[values[ShotDate].data() ? ShotDate : ExifDate];
  data.uploadDate = values[UploadDate];
  data.screenUrl = values[ScreenUrl];
  data.origUrl = values[OrigUrl];
  data.fileFormat = converter.ConvertFileFormatFromKELO(values[Format]);
  data.index = 0;
  return true;
}

HierarchyReader::Container HierarchyReader::ContainerOf(std::string_view name) {
  static constexpr std::array<std::string_view, ContainerCount> kNames{
      "rootAlbum", "folders", "folder", "albums", "album", "items"};
  return static_cast<Container>(std::ranges::find(kNames, name) - kNames.begin());
}

uint32_t HierarchyReader::Read(std::string_view text, Reads reads, std::string_view id) {
  scopes_ = {{reads, id, ContainerCount}};
  XMLTagReader reader(text);
  XMLTag tag;
  while (reader.Next(tag)) {
    if (tag.name == kItem) {
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
  const bool isWhole = scopes_.size() == 1 && !reader.Broken();
  return isWhole ? kKELOResult_Success : kKELOResult_GeneralFailure;
}

// Adds the directory that the tag describes, if any, and answers what is read inside of it.
HierarchyReader::Scope HierarchyReader::Inside(Container container, const XMLTag& tag) {
  const auto [reads, id, outer] = scopes_.back();
  Scope inside{Reads::Nothing, id, container};
  if (ReadsItems(reads)) {
    inside.reads = reads;  // whatever stands around items
  } else if (reads == Reads::Directories) {
    if (container == Folder) return AddFolder(tag, id);
    if (container == Album) return AddAlbum(tag, id, false);
    if (container == Folders || container == Albums) inside.reads = reads;
  } else if (reads == Reads::FriendAlbums) {
    if (container == Album) return AddAlbum(tag, id, true);
    if (container == Albums) inside.reads = reads;
  } else if (container == RootAlbum) {
    if (reads == Reads::Hierarchy || reads == Reads::RootAlbum) {
      inside.reads = Reads::RootAlbumItems;
    }
  } else if (container == Folders) {
    if (reads == Reads::Hierarchy) inside.reads = Reads::Directories;
  } else if (container == Albums) {
    if (reads == Reads::Hierarchy || reads == Reads::FolderContent) {
      inside.reads = Reads::Directories;
    } else if (reads == Reads::Friends) {
      inside.reads = Reads::FriendAlbums;
    }
  } else if (container == Items) {
    if (reads == Reads::AlbumContent) inside.reads = Reads::AlbumItems;
    if (reads == Reads::FriendContent) inside.reads = Reads::FriendItems;
  }
  return inside;
}

// Without an id nothing inside is read: its albums must not come to stand under the root.
HierarchyReader::Scope HierarchyReader::AddFolder(const XMLTag& tag, std::string_view parentID) {
  enum { Id, Name, Date, Count };
  static constexpr std::string_view kNames[] = {"folderId", "folderName", "modifyDate",
                                                "albumCount"};
  const auto values = ReadAttributes(tag.attributes, kNames);
  const std::string_view id = values[Id];
  if (!id.empty()) cache_.AddFolder(parentID, id, Link(values[Name], values[Date]));
  const bool isRead = !id.empty() && values[Count] != "0";
  return {isRead ? Reads::FolderContent : Reads::Nothing, id, Folder};
}

HierarchyReader::Scope HierarchyReader::AddAlbum(const XMLTag& tag, std::string_view parentID,
                                                 bool isFriends) {
  enum { Id, Name, Date, Shared, Count };
  static constexpr std::string_view kNames[] = {"albumId", "albumName", "modifyDate", "shareFlag",
                                                "itemsCount"};
  const auto values = ReadAttributes(tag.attributes, kNames);
  const std::string_view id = values[Id];
  if (id.empty()) return {Reads::Nothing, id, Album};
  if (isFriends) {
    cache_.AddFriendAlbum(id, Link(values[Name], values[Date]));
  } else {
    cache_.AddAlbum(parentID, id, Link(values[Name], values[Date]), values[Shared] == "true");
  }
  if (values[Count] == "0") return {Reads::Nothing, id, Album};
  return {isFriends ? Reads::FriendContent : Reads::AlbumContent, id, Album};
}

void HierarchyReader::AddItem(const XMLTag& tag) {
  const Scope& scope = scopes_.back();
  if (!ReadsItems(scope.reads)) return;
  std::string_view id;
  tagFileItemData data;
  if (!ReadFileItem(tag.attributes, converter_, id, data)) return;
  if (scope.reads == Reads::AlbumItems) {
    cache_.AddFileItem(scope.id, id, std::move(data));
  } else if (scope.reads == Reads::FriendItems) {
    cache_.AddFileItemToFriendAlbum(scope.id, id, std::move(data));
  } else {
    cache_.AddFileItemToRootAlbum(id, std::move(data));
  }
}

}  // namespace kelo
