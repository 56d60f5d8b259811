// Pairs pictures with their voice memos, marks copies, and makes requests of the files.
#include "host/upload/Plan.h"

#include <algorithm>
#include <limits>
#include <map>
#include <optional>
#include <span>
#include <unordered_map>

#include "host/library/Digest.h"

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
      memo->picture = groups[found->second].front();
      memo->album = memo->picture->album;
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

// Of what cannot be read: none.
const std::string& DigestOf(File& file) {
  if (file.digest.empty()) file.digest = Sha256OfFile(file.path);
  return file.digest;
}

// A copy and the memos that have their likes beside the original.
void MarkCopy(const Files& group, const Files& original) {
  group.front()->original = original.front();
  for (size_t at = 1; at < group.size(); ++at)
    for (size_t other = 1; other < original.size(); ++other)
      if (group[at]->Name() == original[other]->Name() && !DigestOf(*group[at]).empty() &&
          DigestOf(*group[at]) == DigestOf(*original[other]))
        group[at]->original = original[other];
}

struct Hashed {
  size_t hash = 0;  // of the key
  const Files* group = nullptr;
};

std::string KeyOf(const Files& group) {
  return CheckKey(*group.front(), group.front()->Name());
}

void MarkCopiesAmong(std::span<const Hashed> some) {
  std::map<std::pair<std::string, std::string>, const Files*> originals;  // by keys and digests
  for (const Hashed& each : some) {
    const std::string& digest = DigestOf(*each.group->front());
    if (digest.empty()) continue;
    const auto [same, isNew] = originals.try_emplace({KeyOf(*each.group), digest}, each.group);
    if (!isNew) MarkCopy(*each.group, *same->second);
  }
}

// By name, size and date, and then by their bytes. All keys at once would take much memory.
void MarkCopies(const std::vector<Files>& groups) {
  std::vector<Hashed> all;
  all.reserve(groups.size());
  for (const Files& group : groups)
    all.push_back({.hash = std::hash<std::string>()(KeyOf(group)), .group = &group});
  std::ranges::stable_sort(all, {}, &Hashed::hash);
  for (auto from = all.begin(); from != all.end();) {
    const auto to =
        std::find_if(from, all.end(), [&](const Hashed& each) { return each.hash != from->hash; });
    if (to - from > 1) MarkCopiesAmong({from, to});
    from = to;
  }
}

// Bytes of a request so that each round of requests, one for each lane, gives all the same to do.
std::uint64_t ShareOf(std::uint64_t files, std::uint64_t bytes, unsigned lanes) {
  if (lanes <= 1) return std::numeric_limits<std::uint64_t>::max();
  const auto rounds = [lanes](std::uint64_t all, std::uint64_t most) {
    return (all + most * lanes - 1) / (most * lanes);
  };
  const std::uint64_t requests =
      lanes * std::max(rounds(files, kRequestFiles), rounds(bytes, kRequestBytes));
  return bytes / std::max<std::uint64_t>(1, std::min(requests, bytes / kLeastBytes)) + 1;
}

bool IsKnown(const Files& group) {
  return group.front()->isKnown;
}

// Adds requests of these groups, each for files of one album. What is known needs no question and
// is not sent, so it is together.
void Cut(std::span<const Files> groups, bool check, unsigned lanes,
         std::vector<UploadRequest>& requests) {
  Files shared;
  for (const Files& group : groups)
    if (!IsKnown(group)) shared.insert(shared.end(), group.begin(), group.end());
  const std::uint64_t share = ShareOf(shared.size(), SizeOf(shared), lanes);
  std::uint64_t before = 0;  // bytes of those shared
  struct Open {
    size_t request;
    std::uint64_t bytes;
  };
  std::map<std::pair<AlbumName, std::optional<std::uint64_t>>, Open> albums;
  for (const Files& group : groups) {
    const std::uint64_t size = SizeOf(group);
    std::optional<std::uint64_t> mine;  // the how-many-th share; none: known
    if (!IsKnown(group)) {
      mine = (before + size / 2) / share;
      before += size;
    }
    const auto [at, isFirst] = albums.try_emplace({group.front()->album, mine});
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

UploadPlan PlanUpload(std::vector<File>& files, bool check, unsigned lanes) {
  UploadPlan plan;
  std::vector<Files> groups;
  Files memos;
  for (File& file : files)
    if (file.CannotGo())
      plan.unfit.push_back(&file);
    else if (file.IsVoiceMemo())
      memos.push_back(&file);
    else
      groups.push_back({&file});
  AddMemos(memos, check, groups, plan.unfit);
  if (check) MarkCopies(groups);
  const std::span<const Files> copies = std::ranges::stable_partition(
      groups, [](const Files& group) { return group.front()->original == nullptr; });
  const std::span<const Files> others(groups.data(), groups.size() - copies.size());
  for (const std::span<const Files> meant : {others, copies}) {
    Cut(meant, check, lanes, plan.requests);
    for (const Files& group : meant)
      plan.files.insert(plan.files.end(), group.begin(), group.end());
  }
  for (size_t at = 0; at < plan.files.size(); ++at) plan.files[at]->place = at;
  return plan;
}

}  // namespace kelo::host
