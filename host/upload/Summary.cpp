// Tells the outcomes of an upload as lines or as JSON objects, and their sums at the end.
#include "host/upload/Summary.h"

#include <fmt/format.h>

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
    default:
      return "failed";
  }
}

// Held, but nobody has compared the bytes.
bool IsTaken(const File& file) {
  return file.Held() && file.outcome != UploadOutcome::kStored && !file.isCertain;
}

Json ObjectOf(const File& file, const std::string& words, bool dryRun) {
  Json object = {{"path", file.path.string()}};
  const bool isUnfit = file.outcome == UploadOutcome::kUnfit;
  if (!isUnfit) object["bytes"] = file.size;
  object["outcome"] = OutcomeName(file.outcome, dryRun);
  if (file.wasOther) object["changed"] = true;
  if (IsTaken(file)) object["takenBy"] = "nameSizeAndDate";
  if (!file.itemId.empty()) object["id"] = file.itemId;
  if (!isUnfit && !file.album.folder.empty()) object["folder"] = file.album.folder;
  if (!isUnfit && !file.album.Empty()) object["album"] = file.album.album;
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

  void Add(const File& file) {
    ++files[file.outcome];
    taken += IsTaken(file) ? 1 : 0;
    if (file.outcome == UploadOutcome::kPlaced) placedIn.insert(file.album);
    if (file.outcome == UploadOutcome::kNotSent && file.code != 0) endedBy = file.code;
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
  const std::string path = Shown(file.path.string());
  const std::string line = path + ": " + words;
  const bool good = file.Held() && file.outcome != UploadOutcome::kNotPlaced;
  if (out.IsJson())
    out.Result({}, ObjectOf(file, words, dryRun));
  else if (good)
    out.Line(line);
  const bool isToldOnce = file.outcome == UploadOutcome::kNotSent && file.code != 0;  // for all
  if (!good && !isToldOnce) out.Problem(line);
  if (file.outcome != UploadOutcome::kStored || FitsCatalogue(file.Name())) return;
  out.Note(fmt::format("{}: the name is longer than the catalogue shows; it ends after '{}'", path,
                       Shown(Decoded(CatalogueName(file.Name())))));
}

int TellSums(Output& out, const UploadPlan& plan, const LeftOutCounts& leftOut, bool dryRun) {
  Sums sums;
  for (const File* file : plan.files) sums.Add(*file);
  if (const std::string text = LeftOutText(leftOut); !text.empty())
    out.Note(fmt::format("left out: {}", text));
  if (sums.taken > 0)
    out.Note(fmt::format(
        "{} taken for the same by name, size and date: the bytes were not sent from here",
        CountText(sums.taken, "file")));
  if (sums.endedBy != 0)
    out.Problem(fmt::format("{} not sent: {}",
                            CountText(sums.files[UploadOutcome::kNotSent], "file"),
                            ResultText(sums.endedBy, kKELOCommand_Upload)));
  const size_t placed = sums.files[UploadOutcome::kPlaced];
  const size_t there =
      sums.files[UploadOutcome::kAlreadyThere] + sums.files[UploadOutcome::kAlreadyInAlbum];
  const size_t notPlaced = sums.files[UploadOutcome::kNotPlaced];
  size_t failed = plan.unfit.size();
  for (const auto& [outcome, count] : sums.files)
    if (outcome > UploadOutcome::kNotPlaced) failed += count;
  std::string text = fmt::format("{} {}", sums.files[UploadOutcome::kStored],
                                 dryRun ? "would be stored" : "stored");
  if (there > 0 || placed == 0) text += fmt::format(", {} already there", there);
  if (placed > 0)
    text += fmt::format(
        ", {} were there and {} {}", placed, dryRun ? "would be placed in" : "are now in",
        sums.placedIn.size() == 1 ? sums.placedIn.begin()->Words() : "their albums");
  if (notPlaced > 0) text += fmt::format(", {} were there but could not be placed", notPlaced);
  text += fmt::format(", {} not stored", failed);
  if (out.IsJson())
    out.Note(text);
  else
    out.Line(text);
  return failed + notPlaced == 0 ? 0 : 1;
}

}  // namespace kelo::host
