// Fills the hierarchy cache from the service's answers.
#include "catalogue/HierarchyLoader.h"

#include "catalogue/HierarchyReader.h"
#include "catalogue/KELOAccessCacheManager.h"
#include "text/XMLElements.h"

namespace kelo {
namespace {

using Reads = HierarchyReader::Reads;

// About as long as an item in an answer.
constexpr size_t kItemLength = 320;

}  // namespace

uint32_t HierarchyLoader::RefreshHierarchyInfoByXMLData(std::string_view response) {
  KELOAccessCacheManager fresh;
  fresh.SetupFriendAlbum();
  fresh.SetupRootFolder();
  fresh.ReserveItems(response.size() / kItemLength);
  const uint32_t result = HierarchyReader(fresh, converter_).Read(response, Reads::Hierarchy);
  if (result == kKELOResult_Success) cache_.TakeHierarchyOf(fresh);
  return result;
}

uint32_t HierarchyLoader::RefreshFriendAlbumInfoByXMLData(std::string_view response) {
  uint32_t result = kKELOResult_GeneralFailure;
  try {
    result = HierarchyReader(cache_, converter_).Read(response, Reads::Friends);
  } catch (...) {
    cache_.RemoveFriendAlbums();
    throw;
  }
  if (result != kKELOResult_Success) cache_.RemoveFriendAlbums();
  return result;
}

uint32_t HierarchyLoader::AddRootAlbumItems(std::string_view response) {
  return HierarchyReader(cache_, converter_).Read(response, Reads::RootAlbum);
}

uint32_t HierarchyLoader::AddDirectoryItems(std::string_view parentID, std::string_view text) {
  return HierarchyReader(cache_, converter_).Read(text, Reads::Directories, parentID);
}

uint32_t HierarchyLoader::AddFileItems(std::string_view albumID, std::string_view text) {
  return HierarchyReader(cache_, converter_).Read(text, Reads::AlbumItems, albumID);
}

uint32_t HierarchyLoader::AddFriendAlbums(std::string_view text) {
  return HierarchyReader(cache_, converter_).Read(text, Reads::FriendAlbums);
}

uint32_t HierarchyLoader::AddFileItemsToFriendAlbum(std::string_view friendAlbumID,
                                                    std::string_view text) {
  return HierarchyReader(cache_, converter_).Read(text, Reads::FriendItems, friendAlbumID);
}

uint32_t HierarchyLoader::ExtractFileItemInfo(std::string_view itemText, std::string& id,
                                              tagFileItemData& data) const {
  std::string_view attributes = itemText;
  if (itemText.starts_with('<')) {
    XMLTag tag;
    if (!XMLTagReader(itemText).Next(tag)) return 0;
    attributes = tag.attributes;
  }
  std::string_view found;
  if (!ReadFileItem(attributes, converter_, found, data)) return 0;
  id = found;
  return 1;
}

uint32_t HierarchyLoader::ExtractFileItemAttribute(
    std::string_view tagText, std::map<std::string_view, std::string_view>& attributes) {
  if (tagText.empty()) return 0;
  XMLAttribute attribute;
  while (NextAttribute(tagText, attribute)) attributes.emplace(attribute.name, attribute.value);
  return 1;
}

}  // namespace kelo
