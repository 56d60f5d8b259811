// The accounts and everything in them, in SQLite: sessions, folders, albums, items, shares, mails.
// All texts are UTF-8, resolved; ids are 27-character texts. Operations throw ServiceError for what
// the client did wrong. Not thread-safe: the service serialises the calls.
//
// Contents of the class: accounts and sessions (Store.cpp), folders, albums and items
// (StoreCatalogue.cpp), files and duplicates (StoreItems.cpp), sharing (StoreSharing.cpp), all of
// an account (StoreAccount.cpp).
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "database/Database.h"
#include "devservice/files/Descriptor.h"
#include "devservice/store/Mail.h"

namespace kelo::devservice {

using AccountId = std::int64_t;

struct Credentials {
  AccountId account = 0;
  std::string address;
  std::string authToken;
  std::string secret;
};

struct Folder {
  std::string id;
  std::string name;
  std::string modifyDate;
};

struct Album {
  std::string id;
  std::string name;
  std::string modifyDate;
  bool shared = false;
};

struct Item {
  std::string id;
  std::string name;
  std::string format;
  std::string shotDate;
  std::string uploadDate;
  std::string modifyDate;
  std::string createDate;
  std::uint64_t size = 0;
  std::filesystem::path file;
  std::string caption;
  bool captionFlag = false;
  std::int64_t rating = 0;
};

// The order of a listing, as the attributes sortBy and sortOrder name it.
struct ListOrder {
  std::string_view by = "UploadDate";
  bool descending = true;
};

class Store {
 public:
  // The database lives in `directory`, which nobody else may use meanwhile, or in memory when that
  // is empty; uploaded files go to `files`.
  Store(const std::filesystem::path& directory, std::filesystem::path files);

  // --- Accounts and sessions ---
  int LastPort();  // 0 where none is kept
  void KeepPort(int port);
  std::string ApiKey();
  Credentials AddAccount(std::string_view address);  // the existing one when the address is known
  std::optional<Credentials> FindByAuthToken(std::string_view authToken);
  Credentials Find(AccountId account);
  std::vector<Credentials> Accounts();  // the first one first
  std::string OpenSession(AccountId account, std::chrono::seconds lifetime);
  void CloseSession(std::string_view token);
  bool KnowsSession(std::string_view token);
  AccountId AccountOfSession(std::string_view token);  // 107
  // 108, else the session lives on for `lifetime` from now.
  void UseSession(std::string_view token, std::chrono::seconds lifetime);
  void ExpireSessions();
  // 104 when the call id was used in this scope before.
  void UseCallId(std::string_view scope, std::uint64_t callId);

  // --- Folders, albums and items ---
  std::vector<Folder> Folders(AccountId account, const ListOrder& order);
  // Albums of a folder; those at the top for an empty folder id. The root album is not among them.
  std::vector<Album> Albums(AccountId account, std::string_view folder, const ListOrder& order);
  std::vector<Album> FriendAlbums(AccountId account);
  std::vector<Item> Items(std::string_view album, const ListOrder& order);
  std::string RootAlbum(AccountId account);
  // Own album from a request: empty or reserved ids mean the root album. 207, 312.
  std::string RequireAlbum(AccountId account, std::string_view id);
  // 302, 312. Items of albums shared with the account may be read.
  Item RequireItem(AccountId account, std::string_view id, bool forReading);
  std::optional<Item> FindItem(std::string_view id);
  // Everything done at once has one date, so its order does not depend on the clock.
  std::string AddFolder(AccountId account, std::string_view name, std::string_view date = Now());
  std::string AddAlbum(AccountId account, std::string_view folder, std::string_view name,
                       std::string_view date = Now());
  void AddToAlbum(std::string_view album, std::string_view item, std::string_view date = Now());
  bool IsInAlbum(std::string_view album, std::string_view item);
  void SetProperty(std::string_view item, std::string_view name, std::string_view value);
  void AddTags(std::string_view item, std::string_view tagList);
  std::vector<std::string> Tags(std::string_view item);

  // --- Files and duplicates ---
  std::filesystem::path FilesDirectory() const { return files_; }
  std::string NewId(char kind);
  std::uint64_t StoredBytes(AccountId account);
  std::uint64_t ItemCount(AccountId account);
  void AddItem(AccountId account, std::string_view album, const Item& item);
  // Same name and size, and the same dates where given; one in `album` comes first.
  std::optional<Item> FindDuplicate(AccountId account, const Item& file, std::string_view album);
  bool HasNamesake(AccountId account, const Item& file);  // same name and size
  std::optional<Item> FindByDigest(AccountId account, std::string_view md5, std::uint64_t size);
  std::string AddUpload(AccountId account);
  bool KnowsUpload(AccountId account, std::string_view uploadId);

  // --- Sharing ---
  void Share(AccountId account, const Mail& mail);
  void ShareWith(AccountId owner, std::string_view album, AccountId reader);
  void AddContact(AccountId account, std::string_view address);
  std::vector<std::string> Contacts(AccountId account);
  std::vector<Mail> Outbox();

  // --- All of an account ---
  // Rises with every change of what the accounts hold. Any thread may ask.
  std::uint64_t Revision() const { return revision_; }
  std::string ControlToken();  // made once, kept with the data
  std::unordered_map<std::string, std::vector<std::string>> AllTags();  // by item
  std::string OwnerOf(std::string_view album);                          // the address
  std::vector<std::string> ReadersOf(std::string_view album);           // the addresses
  // Empties all accounts. Accounts and sessions stay. Uploaded files go; imported ones elsewhere
  // stay.
  void Empty();

  // Everything until Commit, or nothing.
  Transaction Begin() { return Transaction(database_); }

  static std::string DateOf(std::time_t time);  // "2026-01-31 12:34:56", UTC
  static std::string Now() { return DateOf(std::time(nullptr)); }

 private:
  void AddPresetContacts(AccountId account);
  static void CountChange(void* revision, int, const char*, const char* table, sqlite3_int64);

  // A file's path as the database keeps it: those of our own by name, as the folder may be moved.
  std::string KeptPath(const std::filesystem::path& file) const;
  std::filesystem::path PathOf(const std::string& kept) const { return files_ / kept; }

  void Prepare();
  void RemoveStrays();

  std::atomic<std::uint64_t> revision_ = 0;
  std::filesystem::path files_;
  Descriptor lock_;
  Database database_;
};

}  // namespace kelo::devservice
