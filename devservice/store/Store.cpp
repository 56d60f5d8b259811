// The tables of the database, and the part of the store for accounts and sessions.
#include "devservice/store/Store.h"

#include "devservice/files/PrivateFiles.h"
#include "devservice/protocol/Digest.h"
#include "devservice/protocol/ServiceError.h"

namespace kelo::devservice {
namespace {

constexpr const char* kTables = R"(
  PRAGMA journal_mode = WAL;
  PRAGMA synchronous = OFF;
  CREATE TABLE IF NOT EXISTS settings(name TEXT PRIMARY KEY, value TEXT);
  CREATE TABLE IF NOT EXISTS accounts(
    id INTEGER PRIMARY KEY, address TEXT UNIQUE COLLATE NOCASE, authToken TEXT UNIQUE, secret TEXT);
  CREATE TABLE IF NOT EXISTS sessions(token TEXT PRIMARY KEY, account INTEGER, expires INTEGER);
  CREATE TABLE IF NOT EXISTS calls(
    scope TEXT, callId INTEGER, PRIMARY KEY(scope, callId)) WITHOUT ROWID;
  CREATE TABLE IF NOT EXISTS folders(
    position INTEGER PRIMARY KEY, id TEXT UNIQUE, account INTEGER, name TEXT, modifyDate TEXT);
  CREATE TABLE IF NOT EXISTS albums(
    position INTEGER PRIMARY KEY, id TEXT UNIQUE, account INTEGER, folder TEXT, name TEXT,
    modifyDate TEXT, shared INTEGER DEFAULT 0, isRoot INTEGER DEFAULT 0);
  CREATE INDEX IF NOT EXISTS albumsOfFolder ON albums(account, folder);
  CREATE TABLE IF NOT EXISTS items(
    position INTEGER PRIMARY KEY, id TEXT UNIQUE, account INTEGER, name TEXT, format TEXT,
    shotDate TEXT, uploadDate TEXT, modifyDate TEXT, createDate TEXT, size INTEGER, file TEXT,
    md5 TEXT, caption TEXT DEFAULT '', captionFlag INTEGER DEFAULT 0, rating INTEGER DEFAULT 0);
  CREATE INDEX IF NOT EXISTS itemsByName ON items(account, name, size);
  CREATE INDEX IF NOT EXISTS itemsBySize ON items(account, size);
  CREATE TABLE IF NOT EXISTS albumItems(
    position INTEGER PRIMARY KEY, album TEXT, item TEXT, UNIQUE(album, item));
  CREATE INDEX IF NOT EXISTS albumsOfItem ON albumItems(item);
  CREATE TABLE IF NOT EXISTS tags(item TEXT, tag TEXT, PRIMARY KEY(item, tag));
  CREATE TABLE IF NOT EXISTS uploads(id TEXT PRIMARY KEY, account INTEGER);
  CREATE TABLE IF NOT EXISTS shares(album TEXT, reader INTEGER, PRIMARY KEY(album, reader));
  CREATE TABLE IF NOT EXISTS contacts(
    position INTEGER PRIMARY KEY, account INTEGER, address TEXT COLLATE NOCASE,
    UNIQUE(account, address));
  CREATE TABLE IF NOT EXISTS mails(
    id INTEGER PRIMARY KEY, album TEXT, subject TEXT, body TEXT, gpsRemoved INTEGER);
  CREATE TABLE IF NOT EXISTS mailRecipients(
    position INTEGER PRIMARY KEY, mail INTEGER, address TEXT);
)";

const std::string kSelectAccount = "SELECT id, address, authToken, secret FROM accounts";
constexpr size_t kIdSize = 27;
constexpr char kItemKind = 'I';

// Every account starts with a few addresses.
constexpr std::string_view kPresetContacts[] = {"grandma@family.example", "kenji@friends.example",
                                                "studio@work.example"};

std::int64_t Milliseconds() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

std::string DatabasePath(const std::filesystem::path& directory) {
  if (directory.empty()) return ":memory:";
  const std::filesystem::path file = directory / "service.sqlite";
  MakePrivateFile(file);  // what SQLite puts beside it gets the same mode
  return file.string();
}

Descriptor LockOf(const std::filesystem::path& directory) {
  if (directory.empty()) return Descriptor();
  MakePrivateFolder(directory);
  return LockFolder(directory);
}

Credentials CredentialsOf(const Statement& row) {
  return {row.Number(0), row.Text(1), row.Text(2), row.Text(3)};
}

}  // namespace

Store::Store(const std::filesystem::path& directory, std::filesystem::path files)
    : files_(std::move(files)), lock_(LockOf(directory)), database_(DatabasePath(directory)) {
  MakePrivateFolder(files_);
  try {
    Prepare();
  } catch (const DatabaseError& error) {
    throw std::runtime_error("cannot use " + DatabasePath(directory) + ": " + error.what());
  }
}

void Store::Prepare() {
  database_.Run(kTables);
  database_.OnChange(&CountChange, &revision_);
  database_.Execute("INSERT OR IGNORE INTO settings VALUES('apiKey', ?)", RandomText());
  // Once they were kept with the folder's path.
  database_.Execute("UPDATE items SET file = id WHERE file LIKE '%/files/' || id");
  RemoveStrays();
}

// A service that was killed leaves the files of unfinished uploads and imports.
void Store::RemoveStrays() {
  for (const auto& entry : std::filesystem::directory_iterator(files_)) {
    const std::string name = entry.path().filename();
    const bool ours = name.size() == kIdSize && name.starts_with(kItemKind);
    if (ours && !database_.Exists("SELECT 1 FROM items WHERE id = ?", name))
      std::filesystem::remove(entry.path());
  }
}

int Store::LastPort() {
  return static_cast<int>(database_.Count("SELECT value FROM settings WHERE name = 'port'"));
}

void Store::KeepPort(int port) {
  database_.Execute("INSERT OR REPLACE INTO settings VALUES('port', ?)", port);
}

std::string Store::NewId(char kind) {
  return kind + RandomText(kIdSize - 1);
}

std::string Store::DateOf(std::time_t time) {
  std::tm utc{};
  gmtime_r(&time, &utc);
  char text[32];
  return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &utc)};
}

std::string Store::ApiKey() {
  return database_.Text("SELECT value FROM settings WHERE name = 'apiKey'");
}

Credentials Store::AddAccount(std::string_view address) {
  const std::string find = kSelectAccount + " WHERE address = ?";
  if (Statement known = database_.Query(find, address); known.Step()) return CredentialsOf(known);
  Transaction transaction(database_);
  database_.Execute("INSERT INTO accounts(address, authToken, secret) VALUES(?, ?, ?)", address,
                    RandomText(), RandomText());
  Statement row = database_.Query(find, address);
  row.Step();
  const Credentials account = CredentialsOf(row);
  database_.Execute(
      "INSERT INTO albums(id, account, name, modifyDate, isRoot) VALUES(?, ?, '', ?, 1)",
      NewId('R'), account.account, Now());
  AddPresetContacts(account.account);
  transaction.Commit();
  return account;
}

void Store::AddPresetContacts(AccountId account) {
  for (const std::string_view contact : kPresetContacts) AddContact(account, contact);
}

std::optional<Credentials> Store::FindByAuthToken(std::string_view authToken) {
  Statement row = database_.Query(kSelectAccount + " WHERE authToken = ?", authToken);
  if (!row.Step()) return std::nullopt;
  return CredentialsOf(row);
}

Credentials Store::Find(AccountId account) {
  Statement row = database_.Query(kSelectAccount + " WHERE id = ?", account);
  row.Step();
  return CredentialsOf(row);
}

std::vector<Credentials> Store::Accounts() {
  return database_.All(&CredentialsOf, kSelectAccount + " ORDER BY id");
}

std::string Store::OpenSession(AccountId account, std::chrono::seconds lifetime) {
  const std::string token = NewId('T');
  database_.Execute("INSERT INTO sessions VALUES(?, ?, ?)", token, account,
                    Milliseconds() + std::chrono::milliseconds(lifetime).count());
  return token;
}

void Store::CloseSession(std::string_view token) {
  database_.Execute("DELETE FROM sessions WHERE token = ?", token);
  database_.Execute("DELETE FROM calls WHERE scope = ?", token);
}

bool Store::KnowsSession(std::string_view token) {
  return database_.Exists("SELECT 1 FROM sessions WHERE token = ?", token);
}

AccountId Store::AccountOfSession(std::string_view token) {
  Statement row = database_.Query("SELECT account FROM sessions WHERE token = ?", token);
  if (!row.Step()) throw ServiceError(ErrorNumber::kUnknownSession, "Unknown session token");
  return row.Number(0);
}

void Store::UseSession(std::string_view token, std::chrono::seconds lifetime) {
  Statement row = database_.Query("SELECT expires FROM sessions WHERE token = ?", token);
  if (!row.Step() || row.Number(0) <= Milliseconds())
    throw ServiceError(ErrorNumber::kExpiredSession, "Session token expired");
  database_.Execute("UPDATE sessions SET expires = ? WHERE token = ?",
                    Milliseconds() + std::chrono::milliseconds(lifetime).count(), token);
}

void Store::ExpireSessions() {
  database_.Execute("UPDATE sessions SET expires = 0");
}

void Store::UseCallId(std::string_view scope, std::uint64_t callId) {
  try {
    database_.Execute("INSERT INTO calls VALUES(?, ?)", scope, callId);
  } catch (const DatabaseError& error) {
    if (!error.IsConstraint()) throw;
    throw ServiceError(ErrorNumber::kRepeatedCallId, "Call id used before");
  }
}

}  // namespace kelo::devservice
