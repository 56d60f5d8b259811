// The part of the store for files: adds them, and finds those that are stored already.
#include "devservice/protocol/Digest.h"
#include "devservice/store/Store.h"

namespace kelo::devservice {

namespace {

std::string PlainDate(const std::string& date) {
  return "RTRIM(REPLACE(REPLACE(REPLACE(" + date + ", ':', ''), '-', ''), 'T', ' '), 'Z')";
}

// Dates that both sides know must agree, whether written with colons or hyphens, with a "Z" or
// without.
std::string SameDate(const std::string& column, const std::string& given) {
  return " AND (" + given + " = '' OR " + column + " = '' OR " + PlainDate(column) + " = " +
         PlainDate(given) + ")";
}

}  // namespace

std::uint64_t Store::StoredBytes(AccountId account) {
  return static_cast<std::uint64_t>(
      database_.Count("SELECT COALESCE(SUM(size), 0) FROM items WHERE account = ?", account));
}

std::uint64_t Store::ItemCount(AccountId account) {
  return static_cast<std::uint64_t>(
      database_.Count("SELECT COUNT(*) FROM items WHERE account = ?", account));
}

std::string Store::KeptPath(const std::filesystem::path& file) const {
  return file.parent_path() == files_ ? file.filename().string() : file.string();
}

void Store::AddItem(AccountId account, std::string_view album, const Item& item) {
  database_.Execute(
      "INSERT INTO items(id, account, name, format, shotDate, uploadDate, modifyDate, createDate,"
      " size, file) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?)",
      item.id, account, item.name, item.format, item.shotDate, item.uploadDate, item.modifyDate,
      item.createDate, item.size, KeptPath(item.file));
  AddToAlbum(album, item.id, item.uploadDate);
}

std::optional<Item> Store::FindDuplicate(AccountId account, const Item& file,
                                         std::string_view album) {
  static const std::string find =
      "SELECT id, EXISTS(SELECT 1 FROM albumItems WHERE album = ?1 AND item = id) AS inAlbum"
      " FROM items WHERE account = ?2 AND name = ?3 AND size = ?4" +
      SameDate("shotDate", "?5") + SameDate("createDate", "?6") + SameDate("modifyDate", "?7") +
      " ORDER BY inAlbum DESC, position";
  return FindItem(database_.Text(find, album, account, file.name, file.size, file.shotDate,
                                 file.createDate, file.modifyDate));
}

bool Store::HasNamesake(AccountId account, const Item& file) {
  return database_.Exists("SELECT 1 FROM items WHERE account = ? AND name = ? AND size = ?",
                          account, file.name, file.size);
}

std::optional<Item> Store::FindByDigest(AccountId account, std::string_view md5,
                                        std::uint64_t size) {
  // Digests are made when first asked for: making them on arrival would slow down every upload.
  Statement rows = database_.Query(
      "SELECT id, file FROM items WHERE account = ? AND size = ? AND md5 IS NULL", account, size);
  while (rows.Step()) {
    database_.Execute("UPDATE items SET md5 = ? WHERE id = ?", Md5HexOfFile(PathOf(rows.Text(1))),
                      rows.Text(0));
  }
  return FindItem(database_.Text(
      "SELECT id FROM items WHERE account = ? AND size = ? AND md5 = ? ORDER BY position", account,
      size, md5));
}

std::string Store::AddUpload(AccountId account) {
  const std::string id = NewId('U');
  database_.Execute("INSERT INTO uploads VALUES(?, ?)", id, account);
  return id;
}

bool Store::KnowsUpload(AccountId account, std::string_view uploadId) {
  return database_.Exists("SELECT 1 FROM uploads WHERE id = ? AND account = ?", uploadId, account);
}

}  // namespace kelo::devservice
