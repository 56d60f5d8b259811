// Decides which of several files or folders of one name gets which path.
#include "host/download/PathGiver.h"

#include <sys/stat.h>

#include <algorithm>
#include <deque>
#include <limits>

#include "text/Unicode.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

using KnownDate = std::optional<std::time_t>;

constexpr int kGaps = 3;  // so many numbers in a row may be missing: people remove files

fs::path Numbered(const fs::path& wanted, int number, Named named) {
  return wanted.parent_path() / NumberedName(wanted.filename().string(), number, named);
}

// A link that leads nowhere stands there too.
bool Stat(const fs::path& path, struct stat& status) {
  return ::stat(path.c_str(), &status) == 0 || ::lstat(path.c_str(), &status) == 0;
}

}  // namespace

// Those that want one path, and whose it is what stands there.
class PathGiver::Namesakes {
 public:
  explicit Namesakes(const fs::path& wanted) : wanted_(wanted) {}

  void Add(size_t at) { waiting_.insert(at); }
  void Remove(size_t at) { waiting_.erase(at); }
  const fs::path& Wanted() const { return wanted_; }
  bool Empty() const { return waiting_.empty(); }

  // The first that has a mark of what stands at the path.
  std::optional<size_t> OwnerOf(const fs::path& path, Named named, const MarksOf& marksOf) {
    if (!isRead_) ReadMarks(marksOf);
    return named == Named::kFile ? FindFile(path, "") : FindIn(path, "", depth_);
  }

 private:
  using Positions = std::deque<size_t>;

  void ReadMarks(const MarksOf& marksOf) {
    isRead_ = true;
    for (const size_t at : waiting_) {
      for (const Mark& mark : marksOf(at)) {
        depth_ = std::max(depth_, std::ranges::count(mark.below, '/'));
        marks_[mark.below][mark.modified].push_back(at);
      }
    }
  }

  std::optional<size_t> FindIn(const fs::path& folder, const std::string& below,
                               std::ptrdiff_t depth) {
    std::error_code failed;
    for (fs::directory_iterator at(folder, failed), end; !failed && at != end;
         at.increment(failed)) {
      std::error_code ignored;
      const std::string name = below + at->path().filename().string();
      auto owner = FindFile(at->path(), name);
      if (!owner && depth > 0 && at->is_directory(ignored))
        owner = FindIn(at->path(), name + "/", depth - 1);
      if (owner) return owner;
    }
    return std::nullopt;
  }

  std::optional<size_t> FindFile(const fs::path& path, const std::string& below) {
    const auto marks = marks_.find(below);
    struct stat status {};
    if (marks == marks_.end() || ::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode))
      return std::nullopt;
    size_t first = kNobody;
    // As IsFileOf does, since some file systems keep even seconds only.
    const std::time_t date = status.st_mtime;
    for (const KnownDate& one :
         {KnownDate(), KnownDate(date - 1), KnownDate(date), KnownDate(date + 1)}) {
      const auto dated = marks->second.find(one);
      if (dated != marks->second.end()) first = std::min(first, FirstOf(dated->second));
    }
    return first == kNobody ? std::nullopt : std::optional(first);
  }

  // Removes those that have a path by now.
  size_t FirstOf(Positions& positions) const {
    while (!positions.empty() && !waiting_.contains(positions.front())) positions.pop_front();
    return positions.empty() ? kNobody : positions.front();
  }

  static constexpr size_t kNobody = std::numeric_limits<size_t>::max();

  const fs::path wanted_;
  std::set<size_t> waiting_;  // positions
  bool isRead_ = false;
  std::ptrdiff_t depth_ = 0;  // of the folders in which marked files lie
  std::map<std::string, std::map<KnownDate, Positions>> marks_;
};

bool PathGiver::ButForCase::operator()(const std::u16string& a, const std::u16string& b) const {
  return CompareFolded(a, b) < 0;
}

bool PathGiver::BelongsElsewhere(const fs::path& path) const {
  struct stat status {};
  std::u16string text;
  if (files_.empty() || !Stat(path, status) || !Utf8ToUtf16(path.string(), text)) return false;
  // Two links to one file are two files; two spellings of its name are one.
  const auto file = files_.find({status.st_dev, status.st_ino});
  if (file == files_.end()) return false;
  const auto spelling = file->second.find(text);
  return spelling != file->second.end() && spelling->second != path;
}

bool PathGiver::IsTaken(const fs::path& path) const {
  return paths_.contains(path) || BelongsElsewhere(path);
}

void PathGiver::Made(const fs::path& path) {
  struct stat status {};
  std::u16string text;
  if (Stat(path, status) && Utf8ToUtf16(path.string(), text))
    files_[{status.st_dev, status.st_ino}].emplace(std::move(text), path);
}

fs::path PathGiver::Take(const fs::path& wanted, Named named) {
  int& next = nextFree_.try_emplace(wanted, 1).first->second;
  for (;;) {
    const fs::path path = Numbered(wanted, next++, named);
    if (!IsTaken(path) && paths_.insert(path).second) return path;
  }
}

// What stands under the numbers from `first` to `last` goes to whom it belongs.
void PathGiver::GiveStanding(Namesakes& namesakes, Named named, int first, int last,
                             const MarksOf& marksOf, std::vector<Given>& given) {
  int gaps = 0;
  for (int number = first; number <= last && gaps <= kGaps && !namesakes.Empty(); ++number) {
    const fs::path path = Numbered(namesakes.Wanted(), number, named);
    struct stat status {};
    if (!Stat(path, status)) {
      ++gaps;
      continue;
    }
    if (IsTaken(path)) continue;
    const auto owner = namesakes.OwnerOf(path, named, marksOf);
    if (!owner) continue;
    paths_.insert(path);
    Made(path);
    given[*owner] = {path, true};
    namesakes.Remove(*owner);
  }
}

std::vector<PathGiver::Given> PathGiver::Give(const std::vector<fs::path>& wanted, Named named,
                                              const MarksOf& marksOf) {
  std::vector<Given> given(wanted.size());
  std::map<fs::path, size_t> known;
  std::deque<Namesakes> all;  // in the order of the first of each
  std::vector<Namesakes*> namesakes;
  for (size_t at = 0; at < wanted.size(); ++at) {
    const auto [found, isNew] = known.emplace(wanted[at], all.size());
    if (isNew) all.emplace_back(wanted[at]);
    namesakes.push_back(&all[found->second]);
    namesakes.back()->Add(at);
  }
  // Plain names first: a number that someone else has for a name must not be lost to him.
  for (Namesakes& each : all) GiveStanding(each, named, 1, 1, marksOf, given);
  for (Namesakes& each : all)
    GiveStanding(each, named, 2, std::numeric_limits<int>::max(), marksOf, given);
  for (size_t at = 0; at < wanted.size(); ++at) {
    if (!given[at].path.empty() || IsTaken(wanted[at]) || !paths_.insert(wanted[at]).second)
      continue;
    given[at].path = wanted[at];
    namesakes[at]->Remove(at);
  }
  for (size_t at = 0; at < wanted.size(); ++at) {
    if (!given[at].path.empty()) continue;
    given[at].path = Take(wanted[at], named);
    struct stat status {};
    given[at].isHere = Stat(given[at].path, status) &&
                       namesakes[at]->OwnerOf(given[at].path, named, marksOf) == at;
    namesakes[at]->Remove(at);
  }
  return given;
}

}  // namespace kelo::host
