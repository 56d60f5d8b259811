// Folders, albums and items by reference, as an item may stand in many albums.
#include "devservice/control/AccountJson.h"

#include <string>
#include <unordered_set>
#include <vector>

namespace kelo::devservice {
namespace {

using Json = nlohmann::ordered_json;

constexpr ListOrder kAlbumOrder{"Name", false};
constexpr ListOrder kItemOrder{"FileName", false};

class Writer {
 public:
  Writer(Store& store, AccountId account)
      : store_(store), account_(account), tags_(store.AllTags()) {}

  Json Folders() {
    Json folders = Json::array();
    for (const Folder& folder : store_.Folders(account_, kAlbumOrder)) {
      Json ids = Json::array();
      for (const Album& album : store_.Albums(account_, folder.id, kAlbumOrder)) {
        albums_.push_back(AlbumJson(album));
        albums_.back()["folder"] = folder.id;
        ids.push_back(album.id);
      }
      folders.push_back({{"id", folder.id},
                         {"name", folder.name},
                         {"modifyDate", folder.modifyDate},
                         {"albums", std::move(ids)}});
    }
    return folders;
  }

  // Those at the top, the root album first, and then those of the folders before.
  Json Albums() {
    Json albums = Json::array();
    albums.push_back(AlbumJson({store_.RootAlbum(account_), "", "", false}));
    albums.back()["root"] = true;
    for (const Album& album : store_.Albums(account_, "", kAlbumOrder))
      albums.push_back(AlbumJson(album));
    for (Json& album : albums_) albums.push_back(std::move(album));
    albums_.clear();
    return albums;
  }

  Json FriendAlbums() {
    Json albums = Json::array();
    for (const Album& album : store_.FriendAlbums(account_)) {
      albums.push_back(AlbumJson(album));
      albums.back()["owner"] = store_.OwnerOf(album.id);
    }
    return albums;
  }

  Json TakeItems() { return std::move(items_); }

 private:
  Json AlbumJson(const Album& album) {
    Json ids = Json::array();
    for (const Item& item : store_.Items(album.id, kItemOrder)) {
      ids.push_back(item.id);
      if (written_.insert(item.id).second) items_.push_back(ItemJson(item));
    }
    return {{"id", album.id},
            {"name", album.name},
            {"modifyDate", album.modifyDate},
            {"shared", album.shared},
            {"sharedWith", store_.ReadersOf(album.id)},
            {"items", std::move(ids)}};
  }

  Json ItemJson(const Item& item) const {
    const auto tags = tags_.find(item.id);
    return {{"id", item.id},
            {"name", item.name},
            {"format", item.format},
            {"size", item.size},
            {"shotDate", item.shotDate},
            {"uploadDate", item.uploadDate},
            {"modifyDate", item.modifyDate},
            {"createDate", item.createDate},
            {"caption", item.caption},
            {"captionFlag", item.captionFlag},
            {"rating", item.rating},
            {"tags", tags == tags_.end() ? std::vector<std::string>() : tags->second}};
  }

  Store& store_;
  AccountId account_;
  const std::unordered_map<std::string, std::vector<std::string>> tags_;
  std::unordered_set<std::string> written_;
  Json items_ = Json::array();
  Json albums_ = Json::array();  // of folders
};

// Those that share an album of the account.
Json Mails(Store& store, const std::string& address) {
  Json mails = Json::array();
  for (const Mail& mail : store.Outbox()) {
    if (store.OwnerOf(mail.albumId) != address) continue;
    mails.push_back({{"albumId", mail.albumId},
                     {"recipients", mail.recipients},
                     {"subject", mail.subject},
                     {"body", mail.body},
                     {"gpsRemoved", mail.gpsRemoved}});
  }
  return mails;
}

}  // namespace

Json AccountJson(Store& store, AccountId account, std::uint64_t quotaBytes) {
  Writer writer(store, account);
  Json json = {{"revision", store.Revision()},
               {"id", account},
               {"address", store.Find(account).address},
               {"storage",
                {{"used", store.StoredBytes(account)},
                 {"quota", quotaBytes},
                 {"items", store.ItemCount(account)}}}};
  json["accounts"] = Json::array();
  for (const Credentials& each : store.Accounts())
    json["accounts"].push_back({{"id", each.account}, {"address", each.address}});
  json["folders"] = writer.Folders();
  json["albums"] = writer.Albums();
  json["friendAlbums"] = writer.FriendAlbums();
  json["items"] = writer.TakeItems();
  json["mails"] = Mails(store, json["address"]);
  json["contacts"] = store.Contacts(account);
  return json;
}

}  // namespace kelo::devservice
