// Tells the outcomes of an upload as lines or as JSON objects, and their sums at the end.
#include "host/upload/Summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>

#include "host/account/EntryJson.h"
#include "host/names/CatalogueNames.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"

namespace kelo::host {
namespace {

// The outcomes of the JSON objects.
const char* OutcomeName(UploadOutcome outcome, bool dryRun) {
  switch (outcome) {
    case UploadOutcome::kStored:
      return dryRun ? "wouldStore" : "stored";
    case UploadOutcome::kAlreadyThere:
      return "alreadyThere";
    case UploadOutcome::kAlreadyInAlbum:
      return "alreadyInAlbum";
    case UploadOutcome::kPlaced:
      return dryRun ? "wouldPlace" : "placed";
    case UploadOutcome::kNotPlaced:
      return "notPlaced";
    case UploadOutcome::kNotSent:
      return "notSent";
    case UploadOutcome::kUnfit:
      return "unfit";
    default:
      return "failed";
  }
}

const char* NameOf(LeftOut reason) {
  switch (reason) {
    case LeftOut::kSystemFile:
      return "systemFile";
    case LeftOut::kHidden:
      return "hidden";
    case LeftOut::kSidecar:
      return "sidecar";
    case LeftOut::kOtherKind:
      return "otherKind";
    case LeftOut::kByFilter:
      return "byFilter";
    case LeftOut::kFolderLink:
      return "folderLink";
  }
  return "";
}

// Held, but nobody has compared the bytes.
bool IsTaken(const File& file) {
  return file.Held() && file.outcome != UploadOutcome::kStored && !file.isCertain;
}

Json ObjectOf(const File& file, const std::string& words, bool dryRun) {
  Json object = {{"path", file.path}};
  if (!file.CannotGo()) object["bytes"] = file.size;
  object["outcome"] = OutcomeName(file.outcome, dryRun);
  if (file.wasOther) object["changed"] = true;
  if (IsTaken(file)) object["takenBy"] = "nameSizeAndDate";
  if (!file.itemId.empty()) object["id"] = file.itemId;
  if (!file.CannotGo() && !file.album.folder.empty()) object["folder"] = file.album.folder;
  if (!file.CannotGo() && !file.album.Empty()) object["album"] = file.album.album;
  const bool notPlaced = file.outcome == UploadOutcome::kNotPlaced;
  if (file.code != 0 && (notPlaced || !file.Held()))
    object["error"] =
        ErrorJson(file.code, notPlaced ? kKELOCommand_AddNewLink : kKELOCommand_Upload);
  else if (!file.Held())
    object["error"] = {{"message", words}};
  return object;
}

// What became of all files of a plan.
struct Sums {
  std::map<UploadOutcome, size_t> files;
  std::set<AlbumName> placedIn;
  std::uint32_t endedBy = 0;
  size_t taken = 0;
  size_t toldBefore = 0;

  void Add(const File& file) {
    ++files[file.outcome];
    taken += IsTaken(file) ? 1 : 0;
    toldBefore += file.wasTold ? 1 : 0;
    if (file.outcome == UploadOutcome::kPlaced) placedIn.insert(file.album);
    if (file.outcome == UploadOutcome::kNotSent && file.code != 0) endedBy = file.code;
  }

  size_t Of(UploadOutcome outcome) const {
    const auto found = files.find(outcome);
    return found == files.end() ? 0 : found->second;
  }

  size_t NotStored() const {
    size_t count = 0;
    for (const auto& [outcome, number] : files)
      if (outcome > UploadOutcome::kNotPlaced) count += number;
    return count;
  }

  std::string Words(bool dryRun) const {
    const size_t placed = Of(UploadOutcome::kPlaced);
    const size_t there = Of(UploadOutcome::kAlreadyThere) + Of(UploadOutcome::kAlreadyInAlbum);
    const size_t notPlaced = Of(UploadOutcome::kNotPlaced);
    std::string text =
        fmt::format("{} {}", Of(UploadOutcome::kStored), dryRun ? "would be stored" : "stored");
    if (there > 0 || placed == 0) text += fmt::format(", {} already there", there);
    if (placed > 0)
      text += fmt::format(", {} were there and {} {}", placed,
                          dryRun ? "would be placed in" : "are now in",
                          placedIn.size() == 1 ? placedIn.begin()->Words() : "their albums");
    if (notPlaced > 0) text += fmt::format(", {} were there but could not be placed", notPlaced);
    return text + fmt::format(", {} not stored", NotStored());
  }
};

}  // namespace

std::string OutcomeText(const File& file, bool dryRun) {
  const std::string id = file.itemId.empty() ? "" : fmt::format(" [{}]", Shown(file.itemId));
  switch (file.outcome) {
    case UploadOutcome::kStored:
      return fmt::format("{}, {}{}", dryRun ? "would be stored" : "stored", ByteText(file.size),
                         file.wasOther ? ", as a new item: it has changed since it was sent" : "");
    case UploadOutcome::kAlreadyThere:
      return "already there" + id;
    case UploadOutcome::kAlreadyInAlbum:
      return "already in the album" + id;
    case UploadOutcome::kPlaced:
      if (dryRun) return "is there, and would be placed in " + file.album.Words();
      return fmt::format("was there, and is now in {}{}", file.album.Words(), id);
    case UploadOutcome::kNotPlaced:
      return fmt::format("was there, but is not in {}: {}", file.album.Words(),
                         ResultText(file.code, kKELOCommand_AddNewLink));
    case UploadOutcome::kNotConfirmed:
      return "sent, but not confirmed by the service; run 'kelo put' again to see whether it is "
             "there";
    case UploadOutcome::kChanged:
      return "it changed while it was sent, so the stored copy may be damaged; send it again";
    case UploadOutcome::kNotSent:
      return file.code == 0 ? "not sent: a voice memo goes only with its picture"
                            : "not sent: " + ResultText(file.code, kKELOCommand_Upload);
    case UploadOutcome::kUnreadable:
    case UploadOutcome::kUnfit:
      return Shown(file.reason);
    case UploadOutcome::kFailed:
    case UploadOutcome::kUndecided:
      break;
  }
  return ResultText(file.code, kKELOCommand_Upload);
}

void TellOutcome(Output& out, const File& file, bool dryRun) {
  const std::string words = OutcomeText(file, dryRun);
  const std::string path = Shown(file.path);
  const std::string line = path + ": " + words;
  const bool good = file.Held() && file.outcome != UploadOutcome::kNotPlaced;
  if (out.IsJson())
    out.Result({}, ObjectOf(file, words, dryRun));
  else if (good)
    out.Line(line);
  const bool isToldOnce = file.outcome == UploadOutcome::kNotSent && file.code != 0;  // for all
  if (!good && !isToldOnce && !file.wasTold) out.Problem(line);
  if (file.outcome != UploadOutcome::kStored || FitsCatalogue(file.Name())) return;
  out.Note(fmt::format("{}: the name is longer than the catalogue shows; it ends after '{}'", path,
                       Shown(Decoded(CatalogueName(file.Name())))));
}

void TellUnfit(Output& out, Memory& memory, const Files& files, bool dryRun) {
  const auto unfit = [](const File& file) {
    return UnfitFile{.stamp = file.stamp, .reason = file.reason};
  };
  Files forGood;
  if (!dryRun)
    std::ranges::copy_if(
        files, std::back_inserter(forGood),
        [](const File* file) { return file->outcome == UploadOutcome::kUnfit; });
  memory.AskTogether([&] {
    for (File* file : forGood) file->wasTold = memory.UnfitAt(file->path) == unfit(*file);
  });
  for (const File* file : files) TellOutcome(out, *file, dryRun);
  std::erase_if(forGood, [](const File* file) { return file->wasTold; });
  if (forGood.empty()) return;
  memory.KeepTogether([&] {
    for (const File* file : forGood) memory.Keep(file->path, unfit(*file));
  });
}

Json EmptySummary(const LeftOutCounts& leftOut, bool dryRun) {
  Json summary;
  for (UploadOutcome outcome{}; outcome != UploadOutcome::kUndecided;
       outcome = static_cast<UploadOutcome>(static_cast<int>(outcome) + 1))
    summary[OutcomeName(outcome, dryRun)] = 0;
  size_t all = 0;
  Json reasons = Json::object();
  for (const auto& [reason, count] : leftOut) {
    all += count;
    reasons[NameOf(reason)] = count;
  }
  summary.update({{"bytes", 0}, {"leftOut", all}, {"leftOutBy", std::move(reasons)}});
  return summary;
}

int TellSums(Output& out, const UploadPlan& plan, const LeftOutCounts& leftOut, bool dryRun) {
  const std::string leftOutText = LeftOutText(leftOut);
  if (plan.files.empty() && plan.unfit.empty()) {
    out.Sum("nothing to send" +
            (leftOutText.empty() ? ": PATH holds no files" : "; left out: " + leftOutText));
    return kExitDone;
  }
  Sums sums;
  for (const File* file : plan.files) sums.Add(*file);
  for (const File* file : plan.unfit) sums.Add(*file);
  if (!leftOutText.empty()) out.Note("left out: " + leftOutText);
  if (sums.toldBefore > 0)
    out.Note(fmt::format("{} cannot be sent, as told before; --dry-run names {}",
                         CountText(sums.toldBefore, "file"), sums.toldBefore == 1 ? "it" : "them"));
  if (sums.taken > 0)
    out.Note(
        fmt::format("{} taken for the same by name, size and date: the bytes were not compared",
                    CountText(sums.taken, "file")));
  if (sums.endedBy != 0)
    out.Problem(fmt::format("{} not sent: {}", CountText(sums.Of(UploadOutcome::kNotSent), "file"),
                            ResultText(sums.endedBy, kKELOCommand_Upload)));
  out.Sum(sums.Words(dryRun));
  const size_t unfit = sums.Of(UploadOutcome::kUnfit);
  const size_t bad = sums.NotStored() + sums.Of(UploadOutcome::kNotPlaced);
  return bad > unfit ? kExitFailed : unfit > 0 ? kExitUnfit : kExitDone;
}

}  // namespace kelo::host
