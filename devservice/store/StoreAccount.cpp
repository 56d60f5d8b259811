// The account as a whole: what an onlooker asks, and emptying it.
#include "devservice/protocol/Digest.h"
#include "devservice/store/Store.h"

namespace kelo::devservice {
namespace {

// What a client does to its session changes nothing of the account.
constexpr std::string_view kSessions = "sessions";

}  // namespace

void Store::CountChange(void* revision, int, const char*, const char* table, sqlite3_int64) {
  if (table != kSessions) ++*static_cast<std::atomic<std::uint64_t>*>(revision);
}

std::string Store::ControlToken() {
  database_.Execute("INSERT OR IGNORE INTO settings VALUES('controlToken', ?)", RandomText());
  return database_.Text("SELECT value FROM settings WHERE name = 'controlToken'");
}

std::unordered_map<std::string, std::vector<std::string>> Store::AllTags() {
  Statement rows = database_.Query("SELECT item, tag FROM tags ORDER BY rowid");
  std::unordered_map<std::string, std::vector<std::string>> tags;
  while (rows.Step()) tags[rows.Text(0)].push_back(rows.Text(1));
  return tags;
}

std::string Store::OwnerOf(std::string_view album) {
  return database_.Text(
      "SELECT address FROM albums JOIN accounts ON accounts.id = account WHERE albums.id = ?",
      album);
}

std::vector<std::string> Store::ReadersOf(std::string_view album) {
  return database_.Texts(
      "SELECT address FROM mailRecipients JOIN mails ON mails.id = mail WHERE album = ?1"
      " UNION SELECT address FROM shares JOIN accounts ON accounts.id = reader WHERE album = ?1",
      album);
}

void Store::Empty() {
  std::vector<std::filesystem::path> files;
  for (Statement rows = database_.Query("SELECT file FROM items"); rows.Step();)
    files.push_back(PathOf(rows.Text(0)));
  Transaction transaction = Begin();
  for (const char* table : {"folders", "items", "albumItems", "tags", "uploads", "shares",
                            "contacts", "mails", "mailRecipients"})
    database_.Run("DELETE FROM " + std::string(table));
  database_.Run("DELETE FROM albums WHERE isRoot = 0");
  for (Statement rows = database_.Query("SELECT id FROM accounts"); rows.Step();)
    AddPresetContacts(rows.Number(0));
  transaction.Commit();
  ++revision_;  // SQLite tells nobody of tables that it empties at once
  // Imported pictures may lie where they always were.
  std::error_code ignored;
  for (const std::filesystem::path& file : files)
    if (file.parent_path() == files_) std::filesystem::remove(file, ignored);
}

}  // namespace kelo::devservice
