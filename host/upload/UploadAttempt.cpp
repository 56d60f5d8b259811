// Sending, placing and reporting.
#include "host/upload/UploadAttempt.h"

#include <utility>

#include "host/names/Names.h"
#include "host/names/ResultText.h"
#include "host/upload/UploadRequest.h"

namespace kelo::host {
namespace {

// Whether the file is not what was described any more. One that is gone has gone whole.
bool HasChanged(const LocalFile& file) {
  const auto now = NowAt(file.path);
  return now && (now->size != file.size || now->modifyDate != file.modifyDate);
}

}  // namespace

UploadAttempts::UploadAttempts(Library& library, const UploadPlan& plan,
                               const UploadOptions& options,
                               const std::function<void(const UploadedFile&)>& report)
    : library_(library), options_(options), report_(report) {
  if (options.dryRun) return;
  std::uint64_t bytes = 0;
  for (const UploadPlan::Batch& batch : plan.batches) bytes += SizeOf(batch.files);
  progress_.emplace(library.Out(),
                    Job{.doing = "sending", .files = plan.FileCount(), .bytes = bytes});
}

UploadAttempts::Result UploadAttempts::Try(Portion& portion, bool checkOnly, std::size_t other) {
  if (progress_ && !checkOnly) Announce(portion.files);
  const UploadAnswer answer = Perform(library_,
                                      {.album = portion.album,
                                       .tags = options_.tags,
                                       .check = portion.check,
                                       .checkOnly = checkOnly,
                                       .other = other},
                                      portion.files, progress_ ? &*progress_ : nullptr);
  std::vector<UploadedFile> decided;
  std::vector<LocalFile> left;
  for (std::size_t at = 0; at < portion.files.size(); ++at) {
    const FileAnswer& file = answer.files[at];
    if (!file.decided) {
      left.push_back(std::move(portion.files[at]));
      continue;
    }
    UploadOutcome outcome = file.outcome;
    // It was new, so it is there because it has been sent.
    if (portion.maybeSent &&
        (outcome == UploadOutcome::kAlreadyThere || outcome == UploadOutcome::kAlreadyInAlbum))
      outcome = UploadOutcome::kStored;
    if (outcome == UploadOutcome::kStored && HasChanged(portion.files[at]))
      outcome = UploadOutcome::kChanged;
    decided.push_back(
        {std::move(portion.files[at]), portion.name, outcome, file.code, file.itemId});
  }
  portion.files = std::move(left);
  portion.maybeSent |= portion.check && answer.checked && !checkOnly;
  Place(portion, decided);
  for (const UploadedFile& file : decided) Report(file);
  if (answer.result == kKELOResult_Aborted)
    throw CommandFailure("upload", answer.result, kKELOCommand_Upload);
  return {answer.result, answer.mayPass};
}

void UploadAttempts::Announce(const std::vector<LocalFile>& files) {
  std::vector<std::string> names;
  std::vector<std::uint64_t> sizes;
  for (const LocalFile& file : files) {
    names.push_back(Shown(file.path.filename().string()));
    sizes.push_back(file.size);
  }
  progress_->Begin(std::move(names), std::move(sizes));
}

void UploadAttempts::Place(const Portion& portion, std::vector<UploadedFile>& files) {
  std::vector<std::string> ids;
  std::vector<UploadedFile*> placed;
  for (UploadedFile& file : files) {
    const bool isElsewhere = file.outcome == UploadOutcome::kAlreadyThere && !file.itemId.empty();
    if (portion.name.Empty() || !isElsewhere) continue;
    ids.push_back(file.itemId);
    placed.push_back(&file);
  }
  std::vector<AddedLink> links(ids.size());
  try {
    if (!options_.dryRun) links = library_.AddLinks(portion.album, ids);
  } catch (const CommandFailure& failure) {
    links.assign(ids.size(), {failure});
  }
  for (std::size_t at = 0; at < placed.size(); ++at) {
    const bool isPlaced = !links[at].error;
    placed[at]->code = isPlaced ? 0 : links[at].error->Code();
    placed[at]->outcome = isPlaced ? UploadOutcome::kPlaced : UploadOutcome::kNotPlaced;
  }
}

void UploadAttempts::Report(const UploadedFile& file) {
  if (file.Held()) ++held_;
  if (file.outcome == UploadOutcome::kStored) {
    ++stored_;
    twins_.insert(TwinKey(file.file));
  }
  if (progress_) progress_->Over(1, file.file.size);
  report_(file);
}

void UploadAttempts::Report(const Portion& portion, UploadOutcome outcome, std::uint32_t code) {
  for (const LocalFile& file : portion.files) Report({file, portion.name, outcome, code, {}});
}

}  // namespace kelo::host
