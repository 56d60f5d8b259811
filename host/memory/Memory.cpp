// Tables in SQLite: of the local files by their paths, of the account's items by their ids, of the
// files that cannot be sent, and of the metadata that items have got.
#include "host/memory/Memory.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "host/library/FileLock.h"
#include "host/names/Failure.h"
#include "host/names/Names.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kVersion = 4;

// Each version has added to those before it.
constexpr const char* kTables = R"(
CREATE TABLE IF NOT EXISTS files (
  path TEXT PRIMARY KEY, device INTEGER, inode INTEGER, size INTEGER, modified INTEGER,
  changed INTEGER, digest TEXT NOT NULL, item TEXT NOT NULL, seen INTEGER) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS items (
  id TEXT PRIMARY KEY, digest TEXT NOT NULL, certain INTEGER NOT NULL) WITHOUT ROWID;
CREATE INDEX IF NOT EXISTS items_by_digest ON items (digest);
CREATE TABLE IF NOT EXISTS unfit (
  path TEXT PRIMARY KEY, device INTEGER, inode INTEGER, size INTEGER, modified INTEGER,
  changed INTEGER, reason TEXT NOT NULL) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS brought (id TEXT PRIMARY KEY, digest TEXT NOT NULL) WITHOUT ROWID;
CREATE TABLE IF NOT EXISTS unanswered (
  key TEXT NOT NULL, digest TEXT NOT NULL, PRIMARY KEY (key, digest)) WITHOUT ROWID;
PRAGMA user_version = 4;
)";

// With a slash behind it.
std::string WorkingFolder() {
  std::error_code failed;  // somebody has removed it
  return fs::current_path(failed).native() + "/";
}

// That of a row whose first columns are those of a stamp.
Stamp StampOf(const Statement& row) {
  return {.device = static_cast<std::uint64_t>(row.Number(0)),
          .inode = static_cast<std::uint64_t>(row.Number(1)),
          .size = static_cast<std::uint64_t>(row.Number(2)),
          .modified = row.Number(3),
          .changed = row.Number(4)};
}

// While it lives, no other program makes a memory in the folder or sets one aside, if the file
// system has locks.
OwnedFile LockMemories(const OwnedFile& folder) {
  OwnedFile file = OpenLockFile(folder, "memory.lock");
  if (file) static_cast<void>(Lock(file, true));
  return file;
}

// SQLite gives what it puts beside the file the same rights.
struct stat MakePrivate(const OwnedFile& folder, const fs::path& path) {
  const OwnedFile file(folder ? ::openat(folder.Number(), path.filename().c_str(),
                                         O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600)
                              : -1);
  struct stat status {};
  if (!file || ::fstat(file.Number(), &status) != 0)
    throw DatabaseError(SQLITE_CANTOPEN, std::strerror(errno));
  return status;
}

}  // namespace

Stamp Stamp::Of(const struct stat& status) {
  const auto nanoseconds = [](const timespec& time) {
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
  };
  return {.device = status.st_dev,
          .inode = status.st_ino,
          .size = static_cast<std::uint64_t>(status.st_size),
          .modified = nanoseconds(status.st_mtim),  // Linux's: the names of these two
          .changed = nanoseconds(status.st_ctim)};
}

bool Stamp::ShowsChanges() const {
  using namespace std::chrono;
  // Some file systems count in twos of seconds.
  const bool isFine = changed % nanoseconds(1ms).count() != 0;
  const nanoseconds age = system_clock::now().time_since_epoch() - nanoseconds(changed);
  return age > (isFine ? kFineMoment : 2s);
}

Memory::Memory(Output& out, const fs::path& folder, const std::string& account)
    : out_(out), path_(folder / (account + ".db")), here_(WorkingFolder()) {
  Try([this] { Open(); });
  if (isSetAside_) Try([this] { Open(); });
}

void Memory::Open() {
  const OwnedFile folder = OpenPrivateFolder(path_.parent_path());
  const OwnedFile lock = folder ? LockMemories(folder) : OwnedFile();
  const struct stat status = MakePrivate(folder, path_);
  opened_ = {status.st_dev, status.st_ino};
  database_.emplace(path_.string());
  database_->Run(
      "PRAGMA busy_timeout = 10000; PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;");
  const std::int64_t version = database_->Count("PRAGMA user_version");
  if (version > kVersion)
    throw DatabaseError(SQLITE_MISMATCH, "a later version of kelo has made it");
  if (version < kVersion) database_->Run(kTables);
  database_->Count("SELECT count(*) FROM (SELECT id FROM items LIMIT 1)");  // damage shows now
}

// To take a path apart takes longer than to look up its row.
std::string Memory::KeyOf(const fs::path& path) const {
  std::string key = path.is_absolute() ? path.native() : here_ + path.native();
  const bool isNormal = key.find("//") == std::string::npos && key.find("/.") == std::string::npos;
  return isNormal ? key : fs::path(key).lexically_normal().native();
}

template <typename Call>
void Memory::Try(const Call& call) try {
  constexpr int kTries = 30;  // five minutes
  for (int at = 1; at <= kTries; ++at) try {
      return call();
    } catch (const DatabaseError& failure) {
      if (!failure.IsBusy()) throw;
      if (at == 1)
        out_.Note(
            fmt::format("waiting for another program, which holds {}", Shown(path_.string())));
    }
  throw Failure(fmt::format("another program holds the memory of what was sent, {}; try again",
                            Shown(path_.string())));
} catch (const DatabaseError& failure) {
  database_.reset();
  out_.Note(fmt::format("cannot use the memory of what was sent, {}: {}", Shown(path_.string()),
                        failure.what()));
  if (failure.IsDamage()) SetAside();
}

bool Memory::IsThere() const {
  struct stat status {};
  return ::stat(path_.c_str(), &status) == 0 && opened_ == std::pair(status.st_dev, status.st_ino);
}

void Memory::SetAside() {
  const OwnedFile folder = OpenPrivateFolder(path_.parent_path());
  if (!folder) return;
  const OwnedFile lock = LockMemories(folder);
  isSetAside_ = !IsThere();  // another program has been faster
  if (isSetAside_) return;
  const fs::path aside = path_.string() + ".broken";
  std::error_code failed;
  fs::rename(path_, aside, failed);
  isSetAside_ = !failed;
  if (failed) return;
  for (const char* beside : {"-wal", "-shm"}) fs::remove(path_.string() + beside, failed);
  out_.Note(fmt::format("it is kept as {}, and a new one is made", Shown(aside.string())));
}

std::optional<KnownFile> Memory::FileAt(const fs::path& path) {
  std::optional<KnownFile> file;
  if (database_)
    Try([&] {
      Statement row = database_->Query(
          "SELECT device, inode, size, modified, changed, digest, item FROM files WHERE path = ?",
          KeyOf(path));
      if (!row.Step()) return;
      file = {.stamp = StampOf(row), .digest = row.Text(5), .itemId = row.Text(6)};
    });
  return file;
}

std::optional<UnfitFile> Memory::UnfitAt(const fs::path& path) {
  std::optional<UnfitFile> file;
  if (database_)
    Try([&] {
      Statement row = database_->Query(
          "SELECT device, inode, size, modified, changed, reason FROM unfit WHERE path = ?",
          KeyOf(path));
      if (row.Step()) file = {.stamp = StampOf(row), .reason = row.Text(5)};
    });
  return file;
}

std::optional<KnownItem> Memory::ItemOf(const std::string& id) {
  std::optional<KnownItem> item;
  if (database_)
    Try([&] {
      Statement row = database_->Query("SELECT digest, certain FROM items WHERE id = ?", id);
      if (row.Step()) item = {.digest = row.Text(0), .certain = row.Number(1) != 0};
    });
  return item;
}

std::vector<std::string> Memory::ItemsWith(const std::string& digest) {
  std::vector<std::string> ids;
  if (database_)
    Try([&] {
      ids = database_->Texts("SELECT id FROM items WHERE digest = ? ORDER BY certain DESC, id",
                             digest);
    });
  return ids;
}

std::string Memory::BroughtTo(const std::string& id) {
  std::string digest;
  if (database_)
    Try([&] {
      Statement row = database_->Query("SELECT digest FROM brought WHERE id = ?", id);
      if (row.Step()) digest = row.Text(0);
    });
  return digest;
}

void Memory::KeepBrought(const std::string& id, const std::string& digest) {
  if (database_)
    Try([&] { database_->Execute("INSERT OR REPLACE INTO brought VALUES (?, ?)", id, digest); });
}

void Memory::Keep(const fs::path& path, const KnownFile& file) {
  const Stamp& stamp = file.stamp;
  if (database_)
    Try([&] {
      database_->Execute("INSERT OR REPLACE INTO files VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)",
                         KeyOf(path), stamp.device, stamp.inode, stamp.size, stamp.modified,
                         stamp.changed, file.digest, file.itemId, std::time(nullptr));
    });
}

std::vector<UnansweredFile> Memory::Unanswered() {
  std::vector<UnansweredFile> files;
  if (database_)
    Try([&] {
      Statement row = database_->Query("SELECT key, digest FROM unanswered");
      while (row.Step()) files.push_back({.key = row.Text(0), .digest = row.Text(1)});
    });
  return files;
}

void Memory::KeepUnanswered(const UnansweredFile& file) {
  if (database_)
    Try([&] {
      database_->Execute("INSERT OR IGNORE INTO unanswered VALUES (?, ?)", file.key, file.digest);
    });
}

void Memory::DropUnanswered(const UnansweredFile& file) {
  if (database_)
    Try([&] {
      database_->Execute("DELETE FROM unanswered WHERE key = ? AND digest = ?", file.key,
                         file.digest);
    });
}

void Memory::Keep(const fs::path& path, const UnfitFile& file) {
  const Stamp& stamp = file.stamp;
  if (database_)
    Try([&] {
      database_->Execute("INSERT OR REPLACE INTO unfit VALUES (?, ?, ?, ?, ?, ?, ?)", KeyOf(path),
                         stamp.device, stamp.inode, stamp.size, stamp.modified, stamp.changed,
                         file.reason);
    });
}

void Memory::Keep(const std::string& id, const KnownItem& item) {
  if (database_)
    Try([&] {
      database_->Execute(
          "INSERT INTO items VALUES (?1, ?2, ?3) ON CONFLICT (id) DO UPDATE SET digest = ?2, "
          "certain = ?3 WHERE ?3 >= certain",
          id, item.digest, item.certain ? 1 : 0);
    });
}

void Memory::Transact(const char* begin, const std::function<void()>& call) {
  if (database_) Try([&] { database_->Run(begin); });
  const auto end = [this] {
    if (database_) Try([this] { database_->Run("COMMIT"); });
  };
  try {
    call();
  } catch (...) {
    end();
    throw;
  }
  end();
}

}  // namespace kelo::host
