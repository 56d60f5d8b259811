// Fills the hierarchy cache from the service's answers.
#include "catalogue/HierarchyLoader.h"

#include <array>
#include <optional>
#include <utility>

#include "catalogue/KELOAccessCacheManager.h"
#include "text/XMLSearch.h"

namespace kelo {
namespace {

constexpr auto npos = std::string_view::npos;

using Attributes = std::map<std::string_view, std::string_view>;

// The empty text for an absent attribute.
std::string_view ValueOf(const Attributes& attributes, std::string_view name) {
  const auto found = attributes.find(name);
  return found == attributes.end() ? std::string_view() : found->second;
}

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// Calls visit(name, value) for each name="value" of a tag, up to its '/' or '>'.
template <typename Visit>
void WalkAttributes(std::string_view tagText, Visit visit) {
  size_t at = 0;
  for (;;) {
    while (at < tagText.size() && IsBlank(tagText[at])) ++at;
    if (at == tagText.size() || tagText[at] == '/' || tagText[at] == '>') return;
    const size_t nameEnd = tagText.find("=\"", at);
    if (nameEnd == npos) return;
    const size_t value = nameEnd + 2;
    const size_t valueEnd = tagText.find('"', value);
    if (valueEnd == npos) return;
    visit(tagText.substr(at, nameEnd - at), tagText.substr(value, valueEnd - value));
    at = valueEnd + 1;
  }
}

struct ElementKeys {
  std::string_view open;
  std::string_view close;
};
constexpr ElementKeys kFolder{"<folder ", "</folder>"};
constexpr ElementKeys kAlbum{"<album ", "</album>"};

struct Element {
  std::string_view tag;      // what follows the name in the opening tag
  std::string_view content;  // empty for an element that ends in its opening tag
  size_t next;               // position behind the element
};

// The end of an opening tag: '>' outside of quotes.
size_t FindTagEnd(std::string_view text, size_t from) {
  for (;;) {
    const size_t at = text.find_first_of("\">", from);
    if (at == npos || text[at] == '>') return at;
    from = text.find('"', at + 1);
    if (from == npos) return npos;
    ++from;
  }
}

// The element whose open key is at `at`; nothing if it has no end.
std::optional<Element> ReadElement(std::string_view text, size_t at, const ElementKeys& keys) {
  const size_t begin = at + keys.open.size();
  const size_t tagEnd = FindTagEnd(text, begin);
  if (tagEnd == npos) return std::nullopt;
  const std::string_view tag = text.substr(begin, tagEnd + 1 - begin);
  const size_t content = tagEnd + 1;
  if (text[tagEnd - 1] == '/') return Element{tag, {}, content};
  const size_t close = FindKey(text, keys.close, content);
  if (close == npos) return std::nullopt;
  return Element{tag, text.substr(content, close - content), close + keys.close.size()};
}

// About as long as an item in an answer.
constexpr size_t kItemLength = 320;

// "<item " leaves out an "<items>" around the items.
template <typename Visit>
void ForEachItem(std::string_view text, Visit visit) {
  ForEachInside(text, "<item ", "/>", visit);
}

// What the albums directly under the root are read from: the answer without its folders. Parts of
// it are joined only where an odd answer has albums on both sides of the folders.
std::string_view CutFolders(std::string_view response, std::string_view folders,
                            std::string& joined) {
  constexpr std::string_view kOpen = "<folders>";
  const size_t begin = static_cast<size_t>(folders.data() - response.data());
  const std::string_view head = response.substr(0, begin - kOpen.size());
  const std::string_view tail = response.substr(begin + folders.size());
  if (FindKey(head, "<albums>") == npos) return tail;
  if (FindKey(tail, "</albums>") == npos) return head;
  joined.reserve(head.size() + tail.size());
  return joined.append(head).append(tail);
}

}  // namespace

uint32_t HierarchyLoader::RefreshHierarchyInfoByXMLData(std::string_view response) {
  cache_.ClearAllFolder();
  cache_.SetupRootFolder();
  cache_.ReserveItems(response.size() / kItemLength);
  AddRootAlbumItems(response);
  std::string joined;
  std::string_view rest = response;
  if (const auto folders = FindOutermostTag(response, "folders")) {
    AddDirectoryItems({}, *folders);
    rest = CutFolders(response, *folders, joined);
  }
  const auto albums = FindOutermostTag(rest, "albums");
  return albums ? AddDirectoryItems({}, *albums) : uint32_t{kKELOResult_Success};
}

uint32_t HierarchyLoader::AddRootAlbumItems(std::string_view response) {
  if (const auto text = FindOutermost(response, "<rootAlbum", "</rootAlbum>")) {
    std::string id;
    ForEachItem(*text, [&](std::string_view item) {
      tagFileItemData data;
      if (ExtractFileItemInfo(item, id, data)) cache_.AddFileItemToRootAlbum(id, std::move(data));
    });
  }
  return kKELOResult_Success;
}

// Whichever element comes first is taken whole: so the albums of a folder are not met again.
uint32_t HierarchyLoader::AddDirectoryItems(std::string_view parentID, std::string_view text) {
  size_t folder = FindKey(text, kFolder.open);
  size_t album = FindKey(text, kAlbum.open);
  while (folder != album) {  // npos both at the end
    const bool isFolder = folder < album;
    const auto element = ReadElement(text, isFolder ? folder : album, isFolder ? kFolder : kAlbum);
    if (!element) break;
    if (isFolder) {
      AddFolderElement(parentID, element->tag, element->content);
    } else {
      AddAlbumElement(parentID, element->tag, element->content);
    }
    if (folder < element->next) folder = FindKey(text, kFolder.open, element->next);
    if (album < element->next) album = FindKey(text, kAlbum.open, element->next);
  }
  return kKELOResult_Success;
}

void HierarchyLoader::AddFolderElement(std::string_view parentID, std::string_view tag,
                                       std::string_view content) {
  Attributes attributes;
  ExtractFileItemAttribute(tag, attributes);
  const std::string_view id = ValueOf(attributes, "folderId");
  if (id.empty()) return;  // its albums must not come to stand under the root
  cache_.AddFolder(parentID, id,
                   {.name = std::string(ValueOf(attributes, "folderName")),
                    .modifyDate = std::string(ValueOf(attributes, "modifyDate"))});
  if (ValueOf(attributes, "albumCount") == "0") return;
  if (const auto albums = FindOutermostTag(content, "albums")) AddDirectoryItems(id, *albums);
}

void HierarchyLoader::AddAlbumElement(std::string_view parentID, std::string_view tag,
                                      std::string_view content) {
  Attributes attributes;
  ExtractFileItemAttribute(tag, attributes);
  const std::string_view id = ValueOf(attributes, "albumId");
  if (id.empty()) return;
  cache_.AddAlbum(parentID, id,
                  {.name = std::string(ValueOf(attributes, "albumName")),
                   .modifyDate = std::string(ValueOf(attributes, "modifyDate"))},
                  ValueOf(attributes, "shareFlag") == "true");
  if (ValueOf(attributes, "itemsCount") == "0") return;
  if (const auto items = FindOutermostTag(content, "items")) AddFileItems(id, *items);
}

uint32_t HierarchyLoader::AddFileItems(std::string_view albumID, std::string_view text) {
  std::string id;
  ForEachItem(text, [&](std::string_view item) {
    tagFileItemData data;
    if (ExtractFileItemInfo(item, id, data)) cache_.AddFileItem(albumID, id, std::move(data));
  });
  return kKELOResult_Success;
}

uint32_t HierarchyLoader::RefreshFriendAlbumInfoByXMLData(std::string_view response) {
  const auto albums = FindOutermostTag(response, "albums");
  return albums ? AddFriendAlbums(*albums) : uint32_t{kKELOResult_Success};
}

uint32_t HierarchyLoader::AddFriendAlbums(std::string_view text) {
  size_t at = FindKey(text, kAlbum.open);
  while (at != npos) {
    const auto element = ReadElement(text, at, kAlbum);
    if (!element) break;
    AddFriendAlbumElement(element->tag, element->content);
    at = FindKey(text, kAlbum.open, element->next);
  }
  return kKELOResult_Success;
}

void HierarchyLoader::AddFriendAlbumElement(std::string_view tag, std::string_view content) {
  Attributes attributes;
  ExtractFileItemAttribute(tag, attributes);
  const std::string_view id = ValueOf(attributes, "albumId");
  if (id.empty()) return;
  cache_.AddFriendAlbum(id, {.name = std::string(ValueOf(attributes, "albumName")),
                             .modifyDate = std::string(ValueOf(attributes, "modifyDate"))});
  if (ValueOf(attributes, "itemsCount") == "0") return;
  if (const auto items = FindOutermostTag(content, "items")) AddFileItemsToFriendAlbum(id, *items);
}

uint32_t HierarchyLoader::AddFileItemsToFriendAlbum(std::string_view friendAlbumID,
                                                    std::string_view text) {
  std::string id;
  ForEachItem(text, [&](std::string_view item) {
    tagFileItemData data;
    if (ExtractFileItemInfo(item, id, data)) {
      cache_.AddFileItemToFriendAlbum(friendAlbumID, id, std::move(data));
    }
  });
  return kKELOResult_Success;
}

uint32_t HierarchyLoader::ExtractFileItemInfo(std::string_view itemText, std::string& id,
                                              tagFileItemData& data) const {
  enum { ItemId, FileName, ModifyDate, ShotDate, ExifDate, UploadDate, ScreenUrl, OrigUrl, Format };
  constexpr std::array<std::string_view, 9> kNames{"itemId",    "fileName",   "modifyDate",
                                                   "shotDate",  "exif.36867", "uploadDate",
                                                   "screenUrl", "origUrl",    "fileFormat"};
  std::array<std::string_view, kNames.size()> values;  // null where absent

  constexpr std::string_view kOpen = "<item";
  if (itemText.size() > kOpen.size() && itemText.starts_with(kOpen) &&
      IsBlank(itemText[kOpen.size()])) {
    itemText.remove_prefix(kOpen.size());
  }
  WalkAttributes(itemText, [&](std::string_view name, std::string_view value) {
    for (size_t i = 0; i < kNames.size(); ++i) {
      if (name != kNames[i]) continue;
      if (!values[i].data()) values[i] = value;
      return;
    }
  });

  if (values[ItemId].empty()) return 0;
  id = values[ItemId];
  data.fileName = values[FileName];
  data.modifyDate = values[ModifyDate];
  data.shotDate = values[values[ShotDate].data() ? ShotDate : ExifDate];
  data.uploadDate = values[UploadDate];
  data.screenUrl = values[ScreenUrl];
  data.origUrl = values[OrigUrl];
  data.fileFormat = converter_.ConvertFileFormatFromKELO(values[Format]);
  data.index = 0;
  return 1;
}

uint32_t HierarchyLoader::ExtractFileItemAttribute(std::string_view tagText,
                                                   Attributes& attributes) {
  if (tagText.empty()) return 0;
  WalkAttributes(tagText, [&](std::string_view name, std::string_view value) {
    attributes.emplace(name, value);
  });
  return 1;
}

}  // namespace kelo
