// Decides whether a file here is an item of the account, by what is known of the bytes of both.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/check/CheckedItems.h"
#include "host/check/Comparison.h"
#include "host/download/Fetch.h"
#include "host/memory/Memory.h"

namespace kelo::host {

class Matcher {
 public:
  // `downloads`: only what is certain tells that a file is the same.
  Matcher(Memory& memory, CheckedItems& items, bool downloads);

  // Adds the digest of a file that is as it was.
  void Recall(File& file);
  // Whether the service might take the file for an item whose bytes are not known.
  bool IsForService(const File& file);
  // The items of which one may be the file, if their bytes were known: the one that it was taken
  // for, and with `called` all that have its name.
  std::vector<CheckedItem*> Doubtful(const File& file, bool called);
  // A download is over, or was not tried.
  bool HasLearnt(const CheckedItem& item) const { return fetched_.contains(item.id); }
  void Learn(const FetchedFile& fetched) {
    fetched_.insert_or_assign(fetched.file.itemId, fetched);
  }

  // Of a file that has been looked at, and that the service was asked about if it is for that.
  // Marks its item, and keeps what is known of both.
  ComparedFile Decide(const File& file);

 private:
  std::optional<KnownItem> BytesOf(const CheckedItem& item);
  bool IsCertain(const CheckedItem& item);
  CheckedItem* OwnOf(const File& file);
  std::vector<CheckedItem*> MeantBy(const File& file);
  CheckedItem* HolderOf(const File& file, bool certain);
  CheckedItem* FormerOf(const File& file);
  ComparedFile Same(const File& file, CheckedItem& item, bool isTaken);
  ComparedFile Unknown(const File& file, std::uint32_t code, const std::string& problem);
  std::optional<ComparedFile> NotDownloaded(const File& file);
  void Keep(const File& file, const std::string& itemId);

  Memory& memory_;
  CheckedItems& items_;
  const bool downloads_;
  std::set<UnansweredFile> unanswered_;
  std::unordered_map<std::string, FetchedFile> fetched_;  // by the ids of the items
};

}  // namespace kelo::host
