// Pairs pictures with their voice memos, marks duplicates, and makes requests of the files.
#include "host/upload/Plan.h"

#include <map>
#include <unordered_map>

namespace kelo::host {
namespace {

// Puts each memo behind its picture in `groups`, whose files must not be divided.
void AddMemos(const Files& memos, bool check, std::vector<Files>& groups, Files& unfit) {
  std::unordered_map<std::string, size_t> pictures;
  if (!memos.empty())
    for (size_t at = 0; at < groups.size(); ++at)
      pictures.emplace(groups[at].front()->PairKey(), at);
  for (File* memo : memos) {
    const auto found = pictures.find(memo->PairKey());
    if (found != pictures.end()) {
      memo->album = groups[found->second].front()->album;
      groups[found->second].push_back(memo);
    } else if (!check) {
      groups.push_back({memo});
    } else {
      memo->outcome = UploadOutcome::kUnfit;
      memo->reason =
          "a voice memo is sent with the picture of its name, which is not among the files; "
          "--force sends it alone";
      unfit.push_back(memo);
    }
  }
}

bool HaveSameBytes(const File& left, const File& right) {
  return left.digest.empty() || right.digest.empty() ? SameContent(left.path, right.path)
                                                     : left.digest == right.digest;
}

void MarkDuplicates(const std::vector<Files>& groups) {
  std::unordered_map<std::string, const File*> firsts;
  firsts.reserve(groups.size());
  for (const Files& group : groups) {
    const File& file = *group.front();
    const auto [first, isFirst] = firsts.emplace(CheckKey(file, file.Name()), &file);
    if (isFirst) continue;
    const bool isCopy = HaveSameBytes(*first->second, file);
    for (File* each : group) each->duplicate = isCopy ? Duplicate::kCopy : Duplicate::kLookalike;
  }
}

// Adds the requests of the groups that are `kind`, each for files of one album. What is known needs
// no question, so it is together.
void Cut(const std::vector<Files>& groups, Duplicate kind, bool check,
         std::vector<UploadRequest>& requests) {
  struct Open {
    size_t request;
    std::uint64_t bytes;
  };
  std::map<std::pair<AlbumName, bool>, Open> albums;
  for (const Files& group : groups) {
    if (group.front()->duplicate != kind) continue;
    if (check && group.size() > 1) {
      requests.push_back({.files = group, .check = check});
      continue;
    }
    const std::uint64_t size = SizeOf(group);
    const File& first = *group.front();
    const auto [at, isFirst] = albums.try_emplace({first.album, first.knownItem.empty()});
    Open& open = at->second;
    if (isFirst || requests[open.request].files.size() + group.size() > kRequestFiles ||
        open.bytes + size > kRequestBytes) {
      open = {.request = requests.size(), .bytes = 0};
      requests.push_back({.files = {}, .check = check});
    }
    Files& together = requests[open.request].files;
    together.insert(together.end(), group.begin(), group.end());
    open.bytes += size;
  }
}

}  // namespace

size_t UploadPlan::FileCount() const {
  size_t count = 0;
  for (const UploadRequest& request : requests) count += request.files.size();
  return count;
}

std::uint64_t UploadPlan::Bytes() const {
  std::uint64_t bytes = 0;
  for (const UploadRequest& request : requests) bytes += SizeOf(request.files);
  return bytes;
}

UploadPlan PlanUpload(std::vector<File>& files, bool check) {
  UploadPlan plan;
  std::vector<Files> groups;
  Files memos;
  for (File& file : files)
    if (file.outcome == UploadOutcome::kUnfit)
      plan.unfit.push_back(&file);
    else if (file.IsVoiceMemo())
      memos.push_back(&file);
    else
      groups.push_back({&file});
  AddMemos(memos, check, groups, plan.unfit);
  if (check) MarkDuplicates(groups);
  // The duplicates go when the first of each has gone.
  for (const Duplicate kind : {Duplicate::kNone, Duplicate::kCopy, Duplicate::kLookalike})
    Cut(groups, kind, check, plan.requests);
  return plan;
}

}  // namespace kelo::host
