// Claiming of paths.
#include "host/download/PathGiver.h"

#include <sys/stat.h>

#include <algorithm>
#include <limits>

#include "text/Unicode.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

constexpr int kGaps = 3;  // numbers that are missing, since someone removed their files
constexpr int kNoLimit = std::numeric_limits<int>::max();

fs::path Numbered(const fs::path& wanted, int number, Named named) {
  return wanted.parent_path() / NumberedName(wanted.filename().string(), number, named);
}

// A link that leads nowhere stands there too.
bool Stat(const fs::path& path, struct stat& status) {
  return ::stat(path.c_str(), &status) == 0 || ::lstat(path.c_str(), &status) == 0;
}

bool SameButForCase(const fs::path& a, const fs::path& b) {
  std::u16string textA;
  std::u16string textB;
  return Utf8ToUtf16(a.string(), textA) && Utf8ToUtf16(b.string(), textB) &&
         CompareFolded(textA, textB) == 0;
}

}  // namespace

bool PathGiver::BelongsElsewhere(const fs::path& path) const {
  struct stat status {};
  if (files_.empty() || !Stat(path, status)) return false;
  // Two links to one file are two files; two spellings of its name are one.
  const auto [first, last] = files_.equal_range({status.st_dev, status.st_ino});
  return std::any_of(first, last, [&](const auto& file) {
    return file.second != path && SameButForCase(file.second, path);
  });
}

bool PathGiver::IsTaken(const fs::path& path) const {
  return paths_.contains(path) || BelongsElsewhere(path);
}

void PathGiver::Made(const fs::path& path) {
  struct stat status {};
  if (Stat(path, status)) files_.emplace(FileId(status.st_dev, status.st_ino), path);
}

bool PathGiver::Find(const fs::path& wanted, Named named, int last,
                     const std::function<bool(const fs::path&)>& belongs, Given& given) {
  int& next = nextFree_.try_emplace(wanted, 1).first->second;
  struct stat status {};
  int gaps = 0;
  for (int number = next; number <= last && gaps <= kGaps; ++number) {
    fs::path path = Numbered(wanted, number, named);
    if (!Stat(path, status)) {
      ++gaps;
      continue;
    }
    if (IsTaken(path) || !belongs(path)) continue;
    if (number == next) ++next;
    paths_.insert(path);
    Made(path);
    given = {std::move(path), true};
    return true;
  }
  return false;
}

fs::path PathGiver::Take(const fs::path& wanted, Named named) {
  int& next = nextFree_.try_emplace(wanted, 1).first->second;
  for (;;) {
    const fs::path path = Numbered(wanted, next++, named);
    if (!IsTaken(path) && paths_.insert(path).second) return path;
  }
}

std::vector<PathGiver::Given> PathGiver::Give(const std::vector<fs::path>& wanted, Named named,
                                              const BelongsTo& belongsTo) {
  std::vector<Given> given(wanted.size());
  std::vector<bool> done(wanted.size());
  const auto forRest = [&](const auto& give) {
    for (std::size_t at = 0; at < wanted.size(); ++at)
      if (!done[at]) done[at] = give(at);
  };
  // Plain names first: a number that someone else has for a name must not be lost to him.
  for (const int last : {1, kNoLimit}) {
    forRest([&](std::size_t at) {
      return Find(
          wanted[at], named, last, [&](const fs::path& path) { return belongsTo(at, path); },
          given[at]);
    });
  }
  forRest([&](std::size_t at) {
    given[at].path = wanted[at];
    return !IsTaken(wanted[at]) && paths_.insert(wanted[at]).second;
  });
  forRest([&](std::size_t at) {
    given[at].path = Take(wanted[at], named);
    given[at].isHere = belongsTo(at, given[at].path);
    return true;
  });
  return given;
}

}  // namespace kelo::host
