// Looks at the files and asks the service about them, some at a time, downloads what is doubtful,
// and tells of each file in its turn.
#include "host/check/Comparison.h"

#include <set>
#include <utility>

#include "host/check/Matcher.h"
#include "host/download/Fetch.h"
#include "host/library/StateFile.h"
#include "host/names/Names.h"
#include "host/terminal/Progress.h"
#include "host/upload/Pictures.h"
#include "host/upload/Plan.h"
#include "host/upload/UploadTask.h"

namespace kelo::host {
namespace {

// Files that are looked at together, and how many of all files are known when that is done.
struct Piece {
  Files files{};
  size_t end = 0;
};

class Comparison {
 public:
  Comparison(const ComparisonTerms& terms, std::vector<File>& files, CheckedItems& items,
             const std::function<void(const ComparedFile&)>& report)
      : terms_(terms),
        files_(files),
        report_(report),
        matcher_(terms.memory, items, terms.downloads) {}

  void Run() {
    std::vector<Piece> pieces;
    terms_.memory.AskTogether([&] { pieces = Pieces(); });
    Look(pieces);
    if (terms_.downloads)
      for (const bool called : {false, true}) Download(called);
    TellUntil(files_.size());
  }

 private:
  // What nobody knows without looking. The bounds are those of a request.
  std::vector<Piece> Pieces() {
    std::vector<Piece> pieces;
    for (size_t at = 0; at < files_.size(); ++at) {
      File& file = files_[at];
      if (file.outcome != UploadOutcome::kUndecided) continue;
      matcher_.Recall(file);
      if (!file.digest.empty() && !matcher_.IsForService(file)) continue;
      if (pieces.empty() || pieces.back().files.size() == kRequestFiles ||
          SizeOf(pieces.back().files) + file.size > kRequestBytes)
        pieces.emplace_back();
      pieces.back().files.push_back(&file);
      pieces.back().end = at + 1;
    }
    return pieces;
  }

  void Look(const std::vector<Piece>& pieces) {
    Job job{.doing = "comparing"};
    for (const Piece& piece : pieces) {
      job.files += piece.files.size();
      job.bytes += SizeOf(piece.files);
    }
    if (pieces.empty()) return;
    Progress progress(terms_.library.Out(), job);
    InOrder<size_t> known(pieces.size(), [this](size_t end) {
      if (!terms_.downloads) TellUntil(end);
    });
    size_t next = 0;
    terms_.workers.Run(pieces.size(), [&](Workers::Lane& lane) {
      Progress::Part part(progress);
      while (next < pieces.size()) {
        const size_t at = next++;
        LookAt(lane, part, pieces[at].files);
        Files asked = pieces[at].files;
        std::erase_if(asked, [this](const File* file) { return !matcher_.IsForService(*file); });
        Ask(lane, asked);
        known.Tell(at, pieces[at].end);
      }
    });
  }

  void LookAt(Workers::Lane& lane, Progress::Part& part, const Files& files) const {
    const auto number = [](std::uint64_t size) { return static_cast<std::uint32_t>(size); };
    const std::uint64_t all = SizeOf(files);
    Announce(files, part);
    lane.Aside([&] {
      std::uint64_t done = 0;
      for (size_t at = 0; at < files.size() && !terms_.library.IsStopped(); ++at) {
        done += files[at]->size;
        ReadPictureFacts({files[at]});
        part({.isUpload = true,
              .done = number(done),
              .total = number(all),
              .files = number(files.size()),
              .filesDone = number(at + 1)});
      }
    });
    part.Over(files.size(), all);
    EndIfStopped();
  }

  void EndIfStopped() const {
    if (terms_.library.IsStopped()) throw Error("compare", kKELOResult_Aborted, 0);
  }

  // By their names, and then by those that `get` may have made these of.
  void Ask(Workers::Lane& lane, const Files& files) {
    for (size_t other = 0, most = 0; other <= most; ++other) {
      Files asked;
      for (File* file : files) {
        const size_t names = NamesBehind(file->Name()).size();
        most = std::max(most, names);
        if (file->outcome == UploadOutcome::kUndecided && other <= names) asked.push_back(file);
      }
      AskBy(lane, {.files = asked}, other);
    }
  }

  // A request that fails is halved until the bad file stands alone.
  void AskBy(Workers::Lane& lane, UploadRequest request, size_t other) {
    if (request.files.empty()) return;
    const std::uint32_t result = ended_ != 0 ? ended_ : Try(lane, request, other);
    if (result == 0) {
      failedInARow_ = 0;
      return;
    }
    if (ended_ == 0 && IsHopeless(terms_.library, result)) ended_ = result;
    const size_t count = request.files.size();
    if (ended_ == 0 && count > 1) {
      const auto middle = request.files.begin() + static_cast<std::ptrdiff_t>(count / 2);
      AskBy(lane, {.files = {request.files.begin(), middle}}, other);
      return AskBy(lane, {.files = {middle, request.files.end()}}, other);
    }
    for (File* file : request.files) {
      file->outcome = UploadOutcome::kFailed;
      file->code = result;
    }
    if (++failedInARow_ == kMaxFailuresInARow) ended_ = result;
  }

  // Takes those out of the request that are decided.
  std::uint32_t Try(Workers::Lane& lane, UploadRequest& request, size_t other) {
    for (unsigned failed = 1;; ++failed) {
      const auto [code, mayPass] = PerformThere(lane, terms_.library, request, {}, true, other);
      EndIfStopped();
      if (code == 0) return code;
      std::erase_if(request.files,
                    [](const File* file) { return file->outcome != UploadOutcome::kUndecided; });
      if (request.files.empty()) return 0;
      const std::uint32_t result = code;
      if (!mayPass || !lane.Aside([&] { return terms_.library.PauseBeforeRetry(failed, result); }))
        return code;
    }
  }

  // The folder of the memory is the user's alone, and on a disk.
  void Download(bool called) {
    DownloadPlan plan{.to = StateFile::MemoryFolder(), .files = {}, .paths = {}};
    std::set<std::string> planned;
    for (const File& file : files_)
      for (const CheckedItem* const item : matcher_.Doubtful(file, called)) {
        if (matcher_.HasLearnt(*item) || !planned.insert(item->id).second) continue;
        const std::string name = Decoded(item->name);
        plan.files.push_back({.itemId = item->id,
                              .name = name,
                              .url = terms_.library.Info(item->id).originalUrl,
                              .wanted = plan.to / FileName(name, item->id),
                              .path = plan.to / FileName(name, item->id),
                              .modified = {},
                              .shown = {}});
      }
    FetchPlan(terms_.library, terms_.workers, std::move(plan),
              {.memory = &terms_.memory, .bytesOnly = true},
              [this](const FetchedFile& fetched) { matcher_.Learn(fetched); });
    EndIfStopped();
  }

  void TellUntil(size_t end) {
    std::vector<ComparedFile> compared;
    terms_.memory.KeepTogether([&] {
      for (; told_ < end; ++told_) compared.push_back(matcher_.Decide(files_[told_]));
    });
    for (const ComparedFile& each : compared) report_(each);
  }

  const ComparisonTerms& terms_;
  std::vector<File>& files_;
  const std::function<void(const ComparedFile&)>& report_;
  Matcher matcher_;
  size_t told_ = 0;  // files
  unsigned failedInARow_ = 0;
  std::uint32_t ended_ = 0;  // by which failure the service is asked no more; 0: it is
};

}  // namespace

void CompareFiles(const ComparisonTerms& terms, std::vector<File>& files, CheckedItems& items,
                  const std::function<void(const ComparedFile&)>& report) {
  Comparison(terms, files, items, report).Run();
}

}  // namespace kelo::host
