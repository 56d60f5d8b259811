// Lines, objects and sums.
#include "host/upload/PutSummary.h"

#include <fmt/format.h>

#include "host/account/EntryJson.h"
#include "host/names/CatalogueNames.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"

namespace kelo::host {
namespace {

// The results of the JSON objects.
const char* ResultName(UploadOutcome outcome, bool dryRun) {
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
    case UploadOutcome::kNotConfirmed:
    case UploadOutcome::kChanged:
    case UploadOutcome::kRefused:
    case UploadOutcome::kFailed:
      break;
  }
  return "failed";
}

Json ObjectOf(const UploadedFile& file, const std::string& words, bool dryRun) {
  Json object = {{"path", file.file.path.string()},
                 {"bytes", file.file.size},
                 {"outcome", ResultName(file.outcome, dryRun)}};
  if (!file.itemId.empty()) object["id"] = file.itemId;
  if (!file.album.folder.empty()) object["folder"] = file.album.folder;
  if (!file.album.Empty()) object["album"] = file.album.album;
  const bool notPlaced = file.outcome == UploadOutcome::kNotPlaced;
  if (file.code != 0 && (notPlaced || !file.Held()))
    object["error"] =
        ErrorJson(file.code, notPlaced ? kKELOCommand_AddNewLink : kKELOCommand_Upload);
  else if (!file.Held())
    object["error"] = {{"message", words}};
  return object;
}

}  // namespace

void PutSummary::Take(const UploadedFile& file) {
  ++counts_[file.outcome];
  if (file.outcome == UploadOutcome::kPlaced) placedIn_.insert(file.album);
  const std::string words = WordsOf(file);
  const std::string line = Shown(file.file.path.string()) + ": " + words;
  const bool good = file.Held() && file.outcome != UploadOutcome::kNotPlaced;
  if (out_.IsJson())
    out_.Result({}, ObjectOf(file, words, dryRun_));
  else if (good)
    out_.Line(line);
  if (file.outcome == UploadOutcome::kNotSent && file.code != 0)
    endedBy_ = file.code;  // told once, for all
  else if (!good)
    out_.Problem(line);
  const std::string name = file.file.path.filename().string();
  if (file.outcome == UploadOutcome::kStored && !FitsCatalogue(name)) {
    out_.Note(fmt::format("{}: the name is longer than the catalogue shows; it ends after '{}'",
                          Shown(file.file.path.string()), Shown(Decoded(CatalogueName(name)))));
  }
}

void PutSummary::Take(const RefusedFile& file) {
  ++refused_;
  const std::string path = file.path.string();
  if (out_.IsJson())
    out_.Result({}, {{"path", path}, {"outcome", "failed"}, {"error", {{"message", file.reason}}}});
  out_.Problem(fmt::format("{}: {}", Shown(path), Shown(file.reason)));
}

int PutSummary::Finish(const LeftOutCounts& leftOut) {
  if (const std::string text = LeftOutText(leftOut); !text.empty())
    out_.Note(fmt::format("left out: {}", text));
  const std::size_t notSent = Count(UploadOutcome::kNotSent);
  if (endedBy_ != 0) {
    out_.Problem(fmt::format("{} not sent: {}", CountText(notSent, "file"),
                             ResultText(endedBy_, kKELOCommand_Upload)));
  }
  const std::size_t placed = Count(UploadOutcome::kPlaced);
  const std::size_t there =
      Count(UploadOutcome::kAlreadyThere) + Count(UploadOutcome::kAlreadyInAlbum);
  const std::size_t notPlaced = Count(UploadOutcome::kNotPlaced);
  std::size_t failed = refused_;
  for (const auto& [outcome, count] : counts_)
    if (outcome > UploadOutcome::kNotPlaced) failed += count;
  std::string sums =
      fmt::format("{} {}", Count(UploadOutcome::kStored), dryRun_ ? "would be stored" : "stored");
  if (there > 0 || placed == 0) sums += fmt::format(", {} already there", there);
  if (placed > 0)
    sums += fmt::format(", {} were there and {} {}", placed,
                        dryRun_ ? "would be placed in" : "are now in", Where());
  if (notPlaced > 0) sums += fmt::format(", {} were there but could not be placed", notPlaced);
  sums += fmt::format(", {} not stored", failed);
  if (out_.IsJson())
    out_.Note(sums);
  else
    out_.Line(sums);
  return failed + notPlaced == 0 ? 0 : 1;
}

std::string PutSummary::DoneOf(std::size_t all) const {
  return fmt::format("{} of {} stored", Count(UploadOutcome::kStored), all);
}

std::size_t PutSummary::Count(UploadOutcome outcome) const {
  const auto found = counts_.find(outcome);
  return found == counts_.end() ? 0 : found->second;
}

std::string PutSummary::WordsOf(const UploadedFile& file) const {
  if (dryRun_ && file.outcome == UploadOutcome::kStored)
    return fmt::format("would be stored, {}", ByteText(file.file.size));
  if (dryRun_ && file.outcome == UploadOutcome::kPlaced)
    return "is there, and would be placed in " + file.album.Words();
  return file.Words();
}

std::string PutSummary::Where() const {
  return placedIn_.size() == 1 ? placedIn_.begin()->Words() : "their albums";
}

}  // namespace kelo::host
