// The methods that change items, albums and folders; a wrong value changes nothing.
#include "devservice/methods/Answers.h"
#include "devservice/methods/Api.h"
#include "devservice/protocol/ServiceError.h"
#include "devservice/protocol/Values.h"

namespace kelo::devservice {
namespace {

constexpr std::uint64_t kHighestRating = 5;

std::vector<std::string_view> RequireIds(const Element& method) {
  auto ids = PiecesOf(method.Value("itemIdList"), ',');
  if (ids.empty()) throw ServiceError(ErrorNumber::kUnusableValue, "No item");
  return ids;
}

// The value as it is stored. 301, 311.
std::string CheckedProperty(std::string_view name, std::string_view value) {
  if (name == "caption") return std::string(value);
  if (name == "captionFlag") {
    if (value == "true") return "1";
    if (value == "false") return "0";
  } else if (name == "rating") {
    if (const auto rating = NumberOf(value)) {
      if (*rating > kHighestRating) throw ServiceError(ErrorNumber::kOutOfRange, "Rating above 5");
      return std::string(value);
    }
  }
  throw ServiceError(ErrorNumber::kUnusableValue, "Unusable property " + std::string(name));
}

std::string RequireName(const Element& method, std::string_view attribute) {
  const std::string_view name = method.Value(attribute);
  if (name.empty()) throw ServiceError(ErrorNumber::kUnusableValue, "Empty name");
  return std::string(name);
}

}  // namespace

std::string Api::ModifyProps(const Request& request) {
  for (const std::string_view id : RequireIds(request.method)) {
    store_.RequireItem(request.account, id, false);
    for (const Element& property : request.method.children) {
      const std::string_view name = property.Value("name");
      store_.SetProperty(id, name, CheckedProperty(name, property.Value("value")));
    }
  }
  return OkAnswer();
}

std::string Api::AddTags(const Request& request) {
  for (const std::string_view id : RequireIds(request.method)) {
    store_.RequireItem(request.account, id, false);
    store_.AddTags(id, request.method.Value("tagList"));
  }
  return OkAnswer();
}

std::string Api::AddAlbum(const Request& request) {
  std::string attributes;
  AppendAttribute(attributes, "albumId",
                  store_.AddAlbum(request.account, request.method.Value("folderId"),
                                  RequireName(request.method, "albumName")));
  return OkAnswer(attributes);
}

std::string Api::AddFolder(const Request& request) {
  std::string attributes;
  AppendAttribute(attributes, "folderId",
                  store_.AddFolder(request.account, RequireName(request.method, "folderName")));
  return OkAnswer(attributes);
}

std::string Api::AddItemsToAlbum(const Request& request) {
  const std::string album = store_.RequireAlbum(request.account, request.method.Value("albumId"));
  for (const std::string_view id : RequireIds(request.method)) {
    store_.RequireItem(request.account, id, false);
    store_.AddToAlbum(album, id);
  }
  return OkAnswer();
}

}  // namespace kelo::devservice
