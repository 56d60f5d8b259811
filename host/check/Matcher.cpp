// Looks for an item with the file's bytes, then for one that the file has changed from.
#include "host/check/Matcher.h"

#include <algorithm>

#include "host/names/ResultText.h"
#include "host/upload/Recognition.h"

namespace kelo::host {
namespace {

bool IsTaken(const File& file) {
  return file.outcome == UploadOutcome::kAlreadyThere ||
         file.outcome == UploadOutcome::kAlreadyInAlbum;
}

}  // namespace

Matcher::Matcher(Memory& memory, CheckedItems& items, bool downloads)
    : memory_(memory), items_(items), downloads_(downloads) {
  for (UnansweredFile& file : memory_.Unanswered()) unanswered_.insert(std::move(file));
}

void Matcher::Recall(File& file) {
  const auto known = memory_.FileAt(file.path);
  if (known && known->stamp == file.stamp) file.digest = known->digest;
}

std::optional<KnownItem> Matcher::BytesOf(const CheckedItem& item) {
  const auto fetched = fetched_.find(item.id);
  if (fetched != fetched_.end() && !fetched->second.digest.empty())
    return KnownItem{.digest = fetched->second.digest};
  return memory_.ItemOf(item.id);
}

bool Matcher::IsCertain(const CheckedItem& item) {
  const auto known = BytesOf(item);
  return known && known->certain;
}

// The item that the file went to, or came from.
CheckedItem* Matcher::OwnOf(const File& file) {
  const auto known = memory_.FileAt(file.path);
  return known ? items_.Find(known->itemId) : nullptr;
}

// By its path or its name; its own is the first.
std::vector<CheckedItem*> Matcher::MeantBy(const File& file) {
  std::vector<CheckedItem*> meant = items_.CalledLike(file.Name());
  if (CheckedItem* const own = OwnOf(file); own != nullptr) {
    std::erase(meant, own);
    meant.insert(meant.begin(), own);
  }
  return meant;
}

// An item that has the file's bytes; not `certain`: or was taken for it earlier.
CheckedItem* Matcher::HolderOf(const File& file, bool certain) {
  const auto holds = [&](const CheckedItem& item) {
    const auto known = BytesOf(item);
    return known && known->digest == file.digest && (known->certain || !certain);
  };
  for (CheckedItem* const item : MeantBy(file))
    if (holds(*item)) return item;
  for (const std::string& id : memory_.ItemsWith(file.digest))
    if (CheckedItem* const item = items_.Find(id); item != nullptr && holds(*item)) return item;
  return nullptr;
}

bool Matcher::IsForService(const File& file) {
  // The check looks at no voice memos.
  if (file.IsVoiceMemo() || file.digest.empty() || HolderOf(file, downloads_) != nullptr)
    return false;
  // It finds items by their names, which are known but for what could not be looked at.
  const auto isOpen = [this](const CheckedItem* item) { return !IsCertain(*item); };
  return (items_.AreAll() && items_.LeftOutCount() > 0) ||
         std::ranges::any_of(MeantBy(file), isOpen);
}

std::vector<CheckedItem*> Matcher::Doubtful(const File& file, bool called) {
  if (file.digest.empty() || HolderOf(file, true) != nullptr) return {};
  std::vector<CheckedItem*> items = {items_.Find(file.itemId), HolderOf(file, false)};
  if (called) std::ranges::copy(MeantBy(file), std::back_inserter(items));
  std::erase_if(items,
                [this](const CheckedItem* item) { return item == nullptr || IsCertain(*item); });
  return items;
}

// The item that the file has changed from, if there is one; best one that is no other file's.
CheckedItem* Matcher::FormerOf(const File& file) {
  std::vector<CheckedItem*> formers;
  if (CheckedItem* const taken = items_.Find(file.itemId)) formers.push_back(taken);
  const CheckedItem* const own = OwnOf(file);
  for (CheckedItem* const item : MeantBy(file))
    if (item == own || BytesOf(*item)) formers.push_back(item);
  if (formers.empty()) return nullptr;
  const auto free = std::ranges::find(formers, false, &CheckedItem::isMet);
  return free == formers.end() ? formers.front() : *free;
}

ComparedFile Matcher::Decide(const File& file) {
  if (!file.reason.empty()) return Unknown(file, 0, file.reason);
  if (file.digest.empty()) return Unknown(file, 0, "it cannot be read");
  if (CheckedItem* const item = HolderOf(file, true)) return Same(file, *item, false);
  if (file.outcome == UploadOutcome::kFailed)
    return Unknown(file, file.code, ResultText(file.code, kKELOCommand_Upload));
  if (downloads_) {
    if (const auto unknown = NotDownloaded(file)) return *unknown;
  } else if (CheckedItem* const item = HolderOf(file, false)) {
    return Same(file, *item, true);
  }
  CheckedItem* const taken = IsTaken(file) ? items_.Find(file.itemId) : nullptr;
  if (taken != nullptr && !BytesOf(*taken)) {
    if (HasOtherBytes(unanswered_, file))
      return Unknown(file, 0, "a file like it was sent, and had no answer; --download compares");
    return Same(file, *taken, true);
  }
  // An item that has come since the account was loaded.
  if (IsTaken(file) && taken == nullptr && items_.AreAll())
    return {.file = file, .agreement = Agreement::kSame, .itemId = file.itemId, .isTaken = true};
  if (file.IsVoiceMemo() && !Doubtful(file, true).empty())
    return Unknown(file, 0, "the service does not compare voice memos; --download does");
  Keep(file, "");
  CheckedItem* const former = FormerOf(file);
  if (former == nullptr) return {.file = file};
  former->isMet = true;
  return {.file = file, .agreement = Agreement::kChanged, .item = former, .itemId = former->id};
}

ComparedFile Matcher::Same(const File& file, CheckedItem& item, bool isTaken) {
  item.isMet = true;
  // A file of another name is not the item's: `kelo put` would send it.
  Keep(file, std::ranges::count(MeantBy(file), &item) > 0 ? item.id : "");
  if (isTaken && !BytesOf(item)) memory_.Keep(item.id, {.digest = file.digest, .certain = false});
  return {.file = file,
          .agreement = Agreement::kSame,
          .item = &item,
          .itemId = item.id,
          .isTaken = isTaken};
}

// Any item of its name may be the file, so none is only there.
ComparedFile Matcher::Unknown(const File& file, std::uint32_t code, const std::string& problem) {
  for (CheckedItem* const item : MeantBy(file)) item->isMet = true;
  return {.file = file, .agreement = Agreement::kUnknown, .code = code, .problem = problem};
}

std::optional<ComparedFile> Matcher::NotDownloaded(const File& file) {
  for (const CheckedItem* const item : Doubtful(file, true)) {
    const auto fetched = fetched_.find(item->id);
    if (fetched == fetched_.end()) continue;
    const bool isTried = fetched->second.outcome != FetchOutcome::kNotTried;
    return Unknown(file, fetched->second.code,
                   isTried ? "its item cannot be downloaded: " +
                                 ResultText(fetched->second.code, kKELOCommand_Download)
                           : "its item was not downloaded because of an earlier failure");
  }
  return std::nullopt;
}

void Matcher::Keep(const File& file, const std::string& itemId) {
  const auto known = memory_.FileAt(file.path);
  const KnownFile row = RowOf(file, itemId.empty() && known ? known->itemId : itemId);
  if (known == row) return;
  // What was written to meanwhile is not what was looked at.
  const auto now = NowAt(file.path);
  if (now && now->stamp == file.stamp) memory_.Keep(file.path, row);
}

}  // namespace kelo::host
