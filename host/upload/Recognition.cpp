// Looks files up by their digests, and items by their ids.
#include "host/upload/Recognition.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "host/library/Digest.h"
#include "host/names/CatalogueNames.h"

namespace kelo::host {
namespace {

// That of an item whose bytes nobody knows: no file is taken for it.
constexpr const char* kNoFilesDigest = "unknown";

}  // namespace

AccountItems* Recognition::Account() {
  if (!account_ && !failure_) {
    try {
      account_.emplace(loading_.valid() ? *loading_.get() : loaded_());
    } catch (const Error& failure) {
      if (failure.Code() == kKELOResult_Aborted) throw;
      failure_ = failure;
    }
  }
  return account_ ? &*account_ : nullptr;
}

void Recognition::Recognise(const Files& files) {
  Files open;
  std::ranges::copy_if(files, std::back_inserter(open), [](const File* file) {
    return file->outcome == UploadOutcome::kUndecided && file->knownItem.empty();
  });
  memory_.AskTogether([&] {
    for (File* file : open) Recall(*file);
    if (loading_.valid()) Account();
    for (File* file : open) Confirm(*file);
  });
}

void Recognition::Expect(const std::vector<File>& files) {
  bool isKnown = false;
  memory_.AskTogether([&] {
    isKnown = std::ranges::any_of(
        files, [this](const File& file) { return memory_.FileAt(file.path).has_value(); });
  });
  if (isKnown) loading_ = std::async(std::launch::async, [this] { return &loaded_(); });
}

void Recognition::Recall(File& file) {
  const auto known = memory_.FileAt(file.path);
  if (file.digest.empty() && known && known->stamp == file.stamp) file.digest = known->digest;
  if (!known || file.digest.empty() || !HasBytesOf(known->itemId, file)) return;
  file.knownItem = known->itemId;
  file.isKept = *known == RowOf(file, known->itemId);
}

void Recognition::Confirm(File& file) {
  const std::string own = std::exchange(file.knownItem, {});
  if (!own.empty() && Take(file, own, true)) return;
  file.isKept = false;
  if (file.digest.empty()) return;
  for (const std::string& id : memory_.ItemsWith(file.digest))
    if (HasBytesOf(id, file) && Take(file, id, false)) return;
}

// Only the item's own digest tells its bytes. That the file has come from it does not.
bool Recognition::HasBytesOf(const std::string& id, File& file) {
  if (isOfThisRun_.contains(id)) return false;
  const auto item = memory_.ItemOf(id);
  if (!item || item->digest != file.digest) return false;
  file.isCertain = item->certain;
  return true;
}

bool Recognition::Take(File& file, const std::string& id, bool isOwn) {
  if (Account() == nullptr) throw Error(*failure_);
  const std::optional<std::string> name = Account()->NameOf(id);
  if (!name || !(isOwn || std::ranges::count(CatalogueNamesOf(file.Name()), name) > 0))
    return false;
  file.knownItem = id;
  return true;
}

bool Recognition::IsInAlbum(const File& file, const std::string& albumId) {
  return Account() != nullptr && Account()->IsIn(file.itemId, albumId);
}

bool Recognition::IsMeant(File& file) {
  const auto item = memory_.ItemOf(file.itemId);
  file.isCertain = item && item->certain && item->digest == file.digest;
  if (!item || file.digest.empty() || item->digest == file.digest) return true;
  const auto known = memory_.FileAt(file.path);
  const auto former = known ? memory_.ItemOf(known->itemId) : std::nullopt;
  file.wasOther = former && former->digest != file.digest;
  return false;
}

bool Recognition::IsThereToo(File& memo, const std::string& picture) {
  const auto isItem = [&](const std::string& id) {
    memo.itemId = id;
    const bool is = IsMeant(memo);
    if (!is) memo.itemId.clear();
    return is;
  };
  const auto known = memory_.FileAt(memo.path);
  if (known && !isItem(known->itemId)) return false;
  memo.itemId.clear();
  memo.isCertain = false;
  // This run may have stored the picture, and the memo with it or with a copy of it.
  if (Account() == nullptr || !Account()->NameOf(picture))
    return known || memo.maybeSent ||
           std::ranges::any_of(memory_.ItemsWith(memo.digest),
                               [this](const std::string& id) { return isOfThisRun_.contains(id); });
  return std::ranges::any_of(Account()->Beside(picture, CatalogueNamesOf(memo.Name())), isItem);
}

void Recognition::Keep(const Files& files) {
  memory_.KeepTogether([&] {
    for (File* file : files)
      if (file->Held()) Keep(*file);
  });
}

void Recognition::Keep(File& file) {
  if (file.digest.empty() || file.itemId.empty()) return;
  const bool isStored = file.outcome == UploadOutcome::kStored;
  if (isStored) isOfThisRun_.insert(file.itemId);
  if (file.knownItem.empty()) {
    const auto now = NowAt(file.path);
    if (!now) return;
    if (now->stamp != file.stamp) {
      if (!isStored || Sha256OfFile(file.path) == file.digest) return;
      file.outcome = UploadOutcome::kChanged;
      return memory_.Keep(file.itemId, {.digest = kNoFilesDigest});
    }
    // One that the check has found since it may have been sent may be another machine's.
    memory_.Keep(file.itemId, {.digest = file.digest, .certain = isStored && file.code == 0});
  } else if (file.isKept) {
    return;
  }
  memory_.Keep(file.path, RowOf(file, file.itemId));
}

}  // namespace kelo::host
