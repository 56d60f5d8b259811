// The part of the store for folders, albums and the items in them.
#include <algorithm>
#include <span>
#include <string>

#include "devservice/protocol/ServiceError.h"
#include "devservice/protocol/Values.h"
#include "devservice/store/Store.h"

namespace kelo::devservice {
namespace {

const std::string kSelectItem =
    "SELECT items.id, items.name, format, shotDate, uploadDate, items.modifyDate, createDate, size,"
    " file, caption, captionFlag, rating, items.account FROM items";

constexpr std::string_view kRootId = "KELO_CACHEINFO_ROOT_ID";

// What a client sends for its root album where it has no id of the service: 27 bytes of 0xF8.
bool IsReservedId(std::string_view id) {
  return id.empty() || id == kRootId ||
         std::ranges::all_of(
             id, [](char c) { return c == static_cast<char>(0xF8); });
}

struct SortKey {
  std::string_view by;
  std::string_view column;
};
constexpr SortKey kItemKeys[] = {
    {"UploadDate", "uploadDate"},
    {"ModifyDate", "items.modifyDate"},
    {"ShotDate", "shotDate"},
    {"FileName", "items.name"},
};
constexpr SortKey kContainerKeys[] = {{"ModifyDate", "modifyDate"}, {"Name", "name"}};

// Ties stand in the order of their creation, so every listing is stable.
std::string OrderClause(const ListOrder& order, std::span<const SortKey> keys,
                        std::string_view position) {
  const auto found = std::ranges::find(keys, order.by, &SortKey::by);
  if (found == keys.end()) throw ServiceError(ErrorNumber::kUnusableValue, "Unknown sort key");
  return " ORDER BY " + std::string(found->column) + (order.descending ? " DESC, " : " ASC, ") +
         std::string(position);
}

Album AlbumOf(const Statement& row) {
  return {row.Text(0), row.Text(1), row.Text(2), row.Number(3) != 0};
}

Item ItemOf(const Statement& row, const std::filesystem::path& files) {
  Item item;
  item.id = row.Text(0);
  item.name = row.Text(1);
  item.format = row.Text(2);
  item.shotDate = row.Text(3);
  item.uploadDate = row.Text(4);
  item.modifyDate = row.Text(5);
  item.createDate = row.Text(6);
  item.size = static_cast<std::uint64_t>(row.Number(7));
  item.file = files / row.Text(8);  // absolute where it is not of ours
  item.caption = row.Text(9);
  item.captionFlag = row.Number(10) != 0;
  item.rating = row.Number(11);
  return item;
}

}  // namespace

std::vector<Folder> Store::Folders(AccountId account, const ListOrder& order) {
  const auto read = [](const Statement& row) {
    return Folder{row.Text(0), row.Text(1), row.Text(2)};
  };
  return database_.All(read,
                       "SELECT id, name, modifyDate FROM folders WHERE account = ?" +
                           OrderClause(order, kContainerKeys, "position"),
                       account);
}

std::vector<Album> Store::Albums(AccountId account, std::string_view folder,
                                 const ListOrder& order) {
  return database_.All(&AlbumOf,
                       "SELECT id, name, modifyDate, shared FROM albums"
                       " WHERE account = ? AND folder = ? AND isRoot = 0" +
                           OrderClause(order, kContainerKeys, "position"),
                       account, folder);
}

std::vector<Album> Store::FriendAlbums(AccountId account) {
  return database_.All(&AlbumOf,
                       "SELECT id, name, modifyDate, shared FROM shares JOIN albums ON id = album"
                       " WHERE reader = ? ORDER BY modifyDate DESC, position",
                       account);
}

std::vector<Item> Store::Items(std::string_view album, const ListOrder& order) {
  return database_.All([&](const Statement& row) { return ItemOf(row, files_); },
                       kSelectItem + " JOIN albumItems ON items.id = item WHERE album = ?" +
                           OrderClause(order, kItemKeys, "albumItems.position"),
                       album);
}

std::string Store::RootAlbum(AccountId account) {
  return database_.Text("SELECT id FROM albums WHERE account = ? AND isRoot = 1", account);
}

std::string Store::RequireAlbum(AccountId account, std::string_view id) {
  if (IsReservedId(id)) return RootAlbum(account);
  Statement row = database_.Query("SELECT account FROM albums WHERE id = ?", id);
  if (!row.Step()) throw ServiceError(ErrorNumber::kUnknownContainer, "Unknown album");
  if (row.Number(0) != account) throw ServiceError(ErrorNumber::kNotYours, "Not your album");
  return std::string(id);
}

Item Store::RequireItem(AccountId account, std::string_view id, bool forReading) {
  Statement row = database_.Query(kSelectItem + " WHERE id = ?", id);
  if (!row.Step()) throw ServiceError(ErrorNumber::kUnknownItem, "Unknown item");
  const bool mine = row.Number(12) == account;
  const bool readable =
      mine || (forReading && database_.Exists("SELECT 1 FROM albumItems JOIN shares USING(album)"
                                              " WHERE item = ? AND reader = ?",
                                              id, account));
  if (!readable) throw ServiceError(ErrorNumber::kNotYours, "Not your item");
  return ItemOf(row, files_);
}

std::optional<Item> Store::FindItem(std::string_view id) {
  Statement row = database_.Query(kSelectItem + " WHERE id = ?", id);
  if (!row.Step()) return std::nullopt;
  return ItemOf(row, files_);
}

std::string Store::AddFolder(AccountId account, std::string_view name, std::string_view date) {
  const std::string id = NewId('F');
  database_.Execute("INSERT INTO folders(id, account, name, modifyDate) VALUES(?, ?, ?, ?)", id,
                    account, name, date);
  return id;
}

std::string Store::AddAlbum(AccountId account, std::string_view folder, std::string_view name,
                            std::string_view date) {
  if (IsReservedId(folder)) folder = "";
  const bool known =
      folder.empty() ||
      database_.Exists("SELECT 1 FROM folders WHERE id = ? AND account = ?", folder, account);
  if (!known) throw ServiceError(ErrorNumber::kUnknownContainer, "Unknown folder");
  const std::string id = NewId('A');
  database_.Execute(
      "INSERT INTO albums(id, account, folder, name, modifyDate) VALUES(?, ?, ?, ?, ?)", id,
      account, folder, name, date);
  return id;
}

void Store::AddToAlbum(std::string_view album, std::string_view item, std::string_view date) {
  database_.Execute("INSERT OR IGNORE INTO albumItems(album, item) VALUES(?, ?)", album, item);
  database_.Execute("UPDATE albums SET modifyDate = ? WHERE id = ?", date, album);
}

bool Store::IsInAlbum(std::string_view album, std::string_view item) {
  return database_.Exists("SELECT 1 FROM albumItems WHERE album = ? AND item = ?", album, item);
}

void Store::SetProperty(std::string_view item, std::string_view name, std::string_view value) {
  // The caller has checked the name: it is a column.
  database_.Execute("UPDATE items SET " + std::string(name) + " = ? WHERE id = ?", value, item);
}

void Store::AddTags(std::string_view item, std::string_view tagList) {
  for (const std::string_view tag : PiecesOf(tagList, ','))
    database_.Execute("INSERT OR IGNORE INTO tags VALUES(?, ?)", item, tag);
}

std::vector<std::string> Store::Tags(std::string_view item) {
  return database_.Texts("SELECT tag FROM tags WHERE item = ? ORDER BY rowid", item);
}

}  // namespace kelo::devservice
