// Looks files up by their digests, and items by their ids.
#include "host/upload/Recognition.h"

#include <algorithm>
#include <map>
#include <set>
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
    isKnown = std::ranges::any_of(files, [this](const File& file) {
      const auto known = memory_.FileAt(file.path);
      return known && !known->itemId.empty();
    });
  });
  if (isKnown) loading_ = std::async(std::launch::async, [this] { return &loaded_(); });
}

void Recognition::Recall(File& file) {
  const auto known = memory_.FileAt(file.path);
  file.isInDoubt = known && known->isOpen;
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
  if (file.digest.empty() || (item && item->digest == file.digest)) return true;
  const auto known = memory_.FileAt(file.path);
  const bool hasSetOutSo = file.isInDoubt && known && known->digest == file.digest;
  if (!item && (hasSetOutSo || !file.isInDoubt || !known)) return true;
  if (hasSetOutSo && FindByBytes({&file})) return true;
  // It is what set out then.
  if (!item) memory_.Keep(file.itemId, {.digest = known->digest, .certain = false});
  const auto former = known ? memory_.ItemOf(known->itemId) : std::nullopt;
  file.wasOther = !item || (former && former->digest != file.digest);
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

void Recognition::SetOut(const Files& files) {
  memory_.KeepTogether([&] {
    for (const File* file : files)
      if (!file->digest.empty()) memory_.KeepOpen(file->path, RowOf(*file, "").stamp, file->digest);
  });
}

void Recognition::FindStored(const Files& files) {
  Library& library = loaded_();
  library.Load();
  account_.emplace(library);
  FindByBytes(files);
  for (File* file : files)
    if (!file->itemId.empty()) {
      file->outcome = UploadOutcome::kStored;
      file->code = 0;
    }
}

bool Recognition::FindByBytes(const Files& files) {
  if (Account() == nullptr) throw Error(*failure_);
  std::set<std::string> unknown;
  for (const File* file : files)
    for (const std::string& id : Account()->Called(CatalogueNamesOf(file->Name())))
      if (!memory_.ItemOf(id)) unknown.insert(id);
  std::multimap<std::string, std::string> ids;  // by digests
  for (const std::string& id : unknown) {
    const std::string digest = digestOf_(id);
    if (digest.empty()) continue;
    memory_.Keep(id, {.digest = digest});
    ids.emplace(digest, id);
  }
  for (File* file : files) {
    auto found = ids.extract(file->digest);
    file->itemId = found ? std::move(found.mapped()) : "";
    file->isCertain = true;
  }
  return std::ranges::none_of(files, [](const File* file) { return file->itemId.empty(); });
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
