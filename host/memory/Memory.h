// What this machine knows of an account: which bytes each item has that went up or came down here,
// and which bytes each local file had. The service knows files by name, size and dates only, so
// without this a file that was edited in place would be taken for the stored one.
//
// A database for each account, in the state folder and for its owner alone. Several programs may
// use it at once. Where it cannot be had, that is told once, and nothing is known. Where another
// program holds it for minutes, the calls throw Failure: what could be known is not to be guessed.
#pragma once

#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "database/Database.h"
#include "host/terminal/Output.h"

namespace kelo::host {

// By which a file shows, without being opened, that it is as it was.
struct Stamp {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t size = 0;
  std::int64_t modified = 0;  // nanoseconds
  std::int64_t changed = 0;   // its bytes, name or rights; no program can set it
  bool operator==(const Stamp&) const = default;

  static Stamp Of(const struct stat& status);

  // Whether a change from now on would show: not while the file system's clock may still give it
  // the same moment. Most file systems have finer moments than seconds.
  bool ShowsChanges() const;
  static constexpr std::chrono::milliseconds kFineMoment{20};
};

// Digests are as Sha256 gives them.
struct KnownFile {
  Stamp stamp{};
  std::string digest;
  std::string itemId;  // that it went to, or came from
  bool operator==(const KnownFile&) const = default;
};

struct KnownItem {
  std::string digest;
  // Its bytes went up or came down here. Otherwise the service has taken it for a file with this
  // digest, by name, size and date.
  bool certain = true;
};

// A file that set out, and nobody knows whether it came. `key` has all by which the service knows
// it (CheckKey).
struct UnansweredFile {
  std::string key;
  std::string digest;
  auto operator<=>(const UnansweredFile&) const = default;
};

// A file that no upload can take, while it is as it was.
struct UnfitFile {
  Stamp stamp{};
  std::string reason;
  bool operator==(const UnfitFile&) const = default;
};

class Memory {
 public:
  // Makes the folder and the database if need be. One that is broken is set aside. `account` is the
  // name of the file.
  Memory(Output& out, const std::filesystem::path& folder, const std::string& account);

  // What the last run here knew of the file; nothing: it has not seen it.
  std::optional<KnownFile> FileAt(const std::filesystem::path& path);
  std::optional<KnownItem> ItemOf(const std::string& id);
  // The items that have these bytes.
  std::vector<std::string> ItemsWith(const std::string& digest);

  // The file as it was when this machine called it unfit last.
  std::optional<UnfitFile> UnfitAt(const std::filesystem::path& path);

  // What has no answer, from whichever run.
  std::vector<UnansweredFile> Unanswered();
  void KeepUnanswered(const UnansweredFile& file);
  void DropUnanswered(const UnansweredFile& file);

  // A digest of the metadata that were brought to the item last; empty: none were, from here.
  std::string BroughtTo(const std::string& id);
  void KeepBrought(const std::string& id, const std::string& digest);

  void Keep(const std::filesystem::path& path, const KnownFile& file);
  void Keep(const std::filesystem::path& path, const UnfitFile& file);
  // What is certain is not replaced by what is not.
  void Keep(const std::string& id, const KnownItem& item);
  // What is asked, or kept, in between is one transaction, which is faster. A call that asks keeps
  // nothing.
  void AskTogether(const std::function<void()>& ask) { Transact("BEGIN", ask); }
  void KeepTogether(const std::function<void()>& keep) { Transact("BEGIN IMMEDIATE", keep); }

 private:
  // A failure of the call is told, and the memory is not used any more.
  template <typename Call>
  void Try(const Call& call);
  void Transact(const char* begin, const std::function<void()>& call);
  std::string KeyOf(const std::filesystem::path& path) const;
  void Open();
  // Whether the file that was opened still stands in its place.
  bool IsThere() const;
  void SetAside();

  Output& out_;
  const std::filesystem::path path_;
  const std::string here_;            // the working folder
  std::pair<dev_t, ino_t> opened_{};  // the file
  bool isSetAside_ = false;
  std::optional<Database> database_;  // none after a failure
};

}  // namespace kelo::host
