// Looks files up by their digests, and items by their ids.
#include "host/upload/Recognition.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "host/library/Digest.h"
#include "host/names/CatalogueNames.h"
#include "host/names/Names.h"

namespace kelo::host {
namespace {

// That of an item whose bytes nobody knows: no file is taken for it.
constexpr const char* kNoFilesDigest = "unknown";

// A memo that is known goes all the same where its picture is new.
bool WasThere(const File& file) {
  return file.isKnown && file.outcome != UploadOutcome::kStored &&
         file.outcome != UploadOutcome::kChanged;
}

}  // namespace

bool HasOtherBytes(const std::set<UnansweredFile>& files, const File& file) {
  std::vector<std::string> names = NamesBehind(file.Name());
  names.push_back(file.Name());
  return std::ranges::any_of(names, [&](const std::string& name) {
    const std::string key = CheckKey(file, name);
    auto at = files.lower_bound({key, ""});
    while (at != files.end() && at->key == key && at->digest == file.digest) ++at;
    return at != files.end() && at->key == key;
  });
}

Recognition::Recognition(Memory& memory, std::function<Library&(bool anew)> loaded,
                         std::function<std::string(const std::string& id)> digestOf)
    : memory_(memory), loaded_(std::move(loaded)), digestOf_(std::move(digestOf)) {
  for (UnansweredFile& file : memory_.Unanswered()) earlier_.insert(std::move(file));
  unanswered_ = earlier_;
}

AccountItems* Recognition::Account() {
  if (!account_ && !failure_) {
    try {
      account_.emplace(loading_.valid() ? *loading_.get() : loaded_(false));
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
    return file->outcome == UploadOutcome::kUndecided && !file->isKnown;
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
  if (isKnown) loading_ = std::async(std::launch::async, [this] { return &loaded_(false); });
}

void Recognition::Recall(File& file) {
  const auto known = memory_.FileAt(file.path);
  if (file.digest.empty() && known && known->stamp == file.stamp) file.digest = known->digest;
  if (!known || file.digest.empty() || !HasBytesOf(known->itemId, file)) return;
  file.itemId = known->itemId;
  file.isKnown = true;
  file.isKept = *known == RowOf(file, known->itemId);
}

void Recognition::Confirm(File& file) {
  const std::string own = std::exchange(file.itemId, {});
  file.isKnown = false;
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
  file.itemId = id;
  file.isKnown = true;
  return true;
}

bool Recognition::IsInAlbum(const File& file, const std::string& albumId) {
  return Account() != nullptr && Account()->IsIn(file.itemId, albumId);
}

bool Recognition::IsMeant(File& file) {
  const auto item = memory_.ItemOf(file.itemId);
  file.isCertain = item && item->certain && item->digest == file.digest;
  if (file.digest.empty() || (item && item->digest == file.digest)) return true;
  if (!item && !HasOtherBytes(unanswered_, file) &&
      believed_.try_emplace(file.itemId, file.digest).first->second == file.digest)
    return true;
  if (!item && Learn(file.itemId) == file.digest) return file.isCertain = true;
  if ((!item || MayHaveCome(file)) && FindByBytes(file)) return true;
  const auto known = memory_.FileAt(file.path);
  const auto former = known ? memory_.ItemOf(known->itemId) : std::nullopt;
  file.wasOther = former ? former->digest != file.digest : HasOtherBytes(earlier_, file);
  return false;
}

bool Recognition::MayHaveCome(const File& file) const {
  return earlier_.contains({CheckKey(file, file.Name()), file.digest});
}

std::string Recognition::Learn(const std::string& id) {
  if (const auto item = memory_.ItemOf(id); item && item->certain) return item->digest;
  const std::string digest = digestOf_(id);
  if (digest.empty()) return digest;
  learnt_.insert(id);
  memory_.Keep(id, {.digest = digest});
  return digest;
}

bool Recognition::FindByBytes(File& file) {
  if (Account() == nullptr) throw Error(*failure_);
  for (const std::string& id : Account()->Called(CatalogueNamesOf(file.Name()))) {
    if (Learn(id) != file.digest) continue;
    file.itemId = id;
    return file.isCertain = true;
  }
  return false;
}

bool Recognition::IsThereToo(File& memo, const std::string& picture) {
  if (memo.isKnown) return true;
  const auto isItem = [&](const std::string& id) {
    memo.itemId = id;
    const bool is = IsMeant(memo);
    if (!is) memo.itemId.clear();
    return is;
  };
  const auto known = memory_.FileAt(memo.path);
  if (known && !known->itemId.empty() && !isItem(known->itemId)) return false;
  memo.itemId.clear();
  memo.isCertain = false;
  if (isOfThisRun_.contains(picture)) return false;
  if (Account() == nullptr) throw Error(*failure_);
  return std::ranges::any_of(Account()->Beside(picture, CatalogueNamesOf(memo.Name())), isItem);
}

void Recognition::SetOut(const Files& files) {
  memory_.KeepTogether([&] {
    for (const File* file : files) {
      if (file->digest.empty()) continue;
      const auto [added, isNew] = unanswered_.insert({CheckKey(*file, file->Name()), file->digest});
      if (isNew) memory_.KeepUnanswered(*added);
    }
  });
}

void Recognition::FindStored(const Files& files, const std::string& albumId) {
  account_.emplace(loaded_(true));
  for (File* file : files)
    for (const std::string& id : account_->In(albumId, CatalogueNamesOf(file->Name()))) {
      const auto item = memory_.ItemOf(id);
      const bool wasThere = item && item->certain && !learnt_.contains(id);
      if (wasThere || isOfThisRun_.contains(id) || Learn(id) != file->digest) continue;
      file->itemId = id;
      file->outcome = UploadOutcome::kStored;
      file->code = 0;
      file->isCertain = isOfThisRun_.insert(id).second;
      break;
    }
  for (File* file : files) file->maybeSent = false;
}

void Recognition::Keep(const Files& files) {
  Files known;
  for (File* file : files)
    if (file->Held() && !file->digest.empty() && !file->itemId.empty() && IsAsItWas(*file))
      known.push_back(file);
  memory_.KeepTogether([&] {
    for (const File* file : known) Keep(*file);
  });
}

// Reads the file again where it must, which may take long, and nobody else could keep anything in a
// transaction. Of one that is gone, and of one that was not sent and is no more what it was, there
// is nothing to keep.
bool Recognition::IsAsItWas(File& file) {
  if (WasThere(file)) return true;
  const auto now = NowAt(file.path);
  if (!now || now->stamp == file.stamp) return now.has_value();
  if (file.outcome != UploadOutcome::kStored) return false;
  file.stampHolds = false;
  if (Sha256OfFile(file.path) != file.digest) file.outcome = UploadOutcome::kChanged;
  return true;
}

// What an earlier run has sent may be there beside what this one has stored.
void Recognition::DropUnanswered(const File& file) {
  const UnansweredFile answered{CheckKey(file, file.Name()), file.digest};
  if (file.outcome == UploadOutcome::kStored && earlier_.contains(answered)) return;
  if (unanswered_.erase(answered) > 0) memory_.DropUnanswered(answered);
}

void Recognition::Keep(const File& file) {
  const bool isStored = file.outcome == UploadOutcome::kStored;
  if (isStored) isOfThisRun_.insert(file.itemId);
  if (!unanswered_.empty()) DropUnanswered(file);
  if (file.outcome == UploadOutcome::kChanged)
    return memory_.Keep(file.itemId, {.digest = kNoFilesDigest});
  // One that the check has found since it may have been sent may be another machine's.
  if (!WasThere(file))
    memory_.Keep(file.itemId, {.digest = file.digest, .certain = isStored && file.code == 0});
  if (!WasThere(file) || !file.isKept) memory_.Keep(file.path, RowOf(file, file.itemId));
}

}  // namespace kelo::host
