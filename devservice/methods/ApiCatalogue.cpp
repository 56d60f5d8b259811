// The methods that tell what an account holds, and change nothing.
#include "devservice/methods/Answers.h"
#include "devservice/methods/Api.h"
#include "devservice/protocol/ServiceError.h"
#include "devservice/protocol/Values.h"

namespace kelo::devservice {
namespace {

ListOrder OrderOf(const Element& method, std::string_view by, std::string_view order) {
  const std::string_view direction = method.Value(order);
  if (direction != "asc" && direction != "desc")
    throw ServiceError(ErrorNumber::kUnusableValue, "Unusable " + std::string(order));
  return {method.Value(by), direction == "desc"};
}

ItemAttributes WantedBy(const Element& method) {
  const auto wants = [&](std::string_view name) { return method.Value(name) == "true"; };
  return {wants("needFileFormat"), wants("needFileName"), wants("needOrigUrl"),
          wants("needScreenUrl"),  wants("needShotDate"), wants("needUploadDate"),
          wants("needModifyDate")};
}

std::string ItemElements(const std::vector<Item>& items, const ItemAttributes& wanted,
                         const std::string& downloadUrl) {
  std::string out;
  for (const Item& item : items) {
    out += "<item";
    AppendItemAttributes(out, item, wanted, downloadUrl);
    out += " />\r\n";
  }
  return out;
}

void AppendProperty(std::string& out, std::string_view name, std::string_view value) {
  out += "<property";
  AppendAttribute(out, "name", name);
  AppendAttribute(out, "value", value);
  out += " />\r\n";
}

}  // namespace

std::string Api::GetUserArchiveInfo(const Request& request) {
  std::string attributes;
  AppendAttribute(attributes, "totalCount", store_.ItemCount(request.account));
  return OkAnswer(attributes);
}

std::string Api::AlbumElement(const Album& album, const std::vector<Item>& items,
                              const ItemAttributes& wanted) const {
  std::string out = "<album";
  AppendAttribute(out, "albumId", album.id);
  AppendAttribute(out, "albumName", album.name);
  AppendAttribute(out, "modifyDate", album.modifyDate);
  AppendAttribute(out, "shareFlag", std::string_view(album.shared ? "true" : "false"));
  AppendAttribute(out, "itemsCount", items.size());
  out += "><items>\r\n" + ItemElements(items, wanted, DownloadUrl());
  return out += "</items></album>\r\n";
}

std::string Api::AlbumElements(AccountId account, std::string_view folder, const Element& method) {
  const ListOrder itemOrder = OrderOf(method, "sortBy", "sortOrder");
  const ItemAttributes wanted = WantedBy(method);
  std::string out;
  for (const Album& album :
       store_.Albums(account, folder, OrderOf(method, "albumSortBy", "albumSortOrder")))
    out += AlbumElement(album, store_.Items(album.id, itemOrder), wanted);
  return out;
}

std::string Api::GetHierarchy(const Request& request) {
  const Element& method = request.method;
  const ListOrder itemOrder = OrderOf(method, "sortBy", "sortOrder");
  const ListOrder albumOrder = OrderOf(method, "albumSortBy", "albumSortOrder");
  std::string out = "<rootAlbum><items>\r\n";
  out += ItemElements(store_.Items(store_.RootAlbum(request.account), itemOrder), WantedBy(method),
                      DownloadUrl());
  out += "</items></rootAlbum>\r\n<folders>\r\n";
  for (const Folder& folder :
       store_.Folders(request.account, OrderOf(method, "folderSortBy", "folderSortOrder"))) {
    out += "<folder";
    AppendAttribute(out, "folderId", folder.id);
    AppendAttribute(out, "folderName", folder.name);
    AppendAttribute(out, "modifyDate", folder.modifyDate);
    AppendAttribute(out, "albumCount",
                    store_.Albums(request.account, folder.id, albumOrder).size());
    out += "><albums>\r\n" + AlbumElements(request.account, folder.id, method);
    out += "</albums></folder>\r\n";
  }
  out +=
      "</folders>\r\n<albums>\r\n" + AlbumElements(request.account, "", method) + "</albums>\r\n";
  return OkAnswer("", out);
}

std::string Api::GetForeignAlbumItems(const Request& request) {
  ItemAttributes wanted;
  wanted.shotDate = wanted.uploadDate = wanted.modifyDate =
      request.method.Value("needDate") == "true";
  std::string out = "<albums>\r\n";
  for (const Album& album : store_.FriendAlbums(request.account))
    out += AlbumElement(album, store_.Items(album.id, ListOrder{}), wanted);
  return OkAnswer("", out + "</albums>\r\n");
}

std::string Api::GetItemsInfo(const Request& request) {
  OrderOf(request.method, "sortBy", "sortOrder");
  const auto ids = PiecesOf(request.method.Value("itemIdList"), ',');
  std::string out = "<items>\r\n";
  for (const std::string_view id : ids) {
    Item item;
    try {
      item = store_.RequireItem(request.account, id, true);
    } catch (const ServiceError&) {
      if (ids.size() == 1) throw;
      continue;  // of several, those that exist are answered
    }
    out += "<item";
    AppendItemAttributes(out, item, ItemAttributes{}, DownloadUrl());
    out += ">\r\n";
    AppendProperty(out, "caption", item.caption);
    AppendProperty(out, "captionFlag", item.captionFlag ? "true" : "false");
    AppendProperty(out, "rating", std::to_string(item.rating));
    AppendProperty(out, "size", std::to_string(item.size));
    std::string tags;
    for (const std::string& tag : store_.Tags(id)) tags += (tags.empty() ? "" : ",") + tag;
    AppendProperty(out, "tagList", tags);
    out += "</item>\r\n";
  }
  return OkAnswer("", out + "</items>\r\n");
}

std::string Api::GetStorageCapacity(const Request& request) {
  std::string attributes;
  AppendAttribute(attributes, "dataCapacity", store_.StoredBytes(request.account));
  AppendAttribute(attributes, "storageCapacity", settings_.quotaBytes);
  return OkAnswer(attributes);
}

}  // namespace kelo::devservice
