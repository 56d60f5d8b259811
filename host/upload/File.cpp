// Asks the file system about a file, and compares the contents of two.
#include "host/upload/File.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "host/names/Dates.h"
#include "host/names/Names.h"
#include "text/Unicode.h"

namespace kelo::host {

std::string AlbumName::Words() const {
  return Shown(folder.empty() ? album : folder + "/" + album);
}

std::string Lower(std::string text) {
  std::ranges::transform(text, text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
  });
  return text;
}

bool File::IsVoiceMemo() const {
  constexpr size_t kLength = 4;  // of the extension, behind a name
  return path.size() > kLength && path[path.size() - kLength - 1] != '/' &&
         Lower(path.substr(path.size() - kLength)) == ".wav";
}

std::string File::PairKey() const {
  const std::filesystem::path whole = path;
  return (whole.parent_path() / Lower(whole.stem().string())).string();
}

Files PointersTo(std::vector<File>& files) {
  Files pointers;
  pointers.reserve(files.size());
  for (File& file : files) pointers.push_back(&file);
  return pointers;
}

std::uint64_t SizeOf(const Files& files) {
  std::uint64_t size = 0;
  for (const File* file : files) size += file->size;
  return size;
}

namespace {

bool Leave(File& file, UploadOutcome outcome, const char* reason) {
  file.outcome = outcome;
  file.reason = reason;
  return false;
}

// Never opened, which takes longer, and could wait for a pipe.
bool Look(File& file) {
  struct stat status {};
  if (::stat(file.path.c_str(), &status) != 0)
    return Leave(file, UploadOutcome::kUnreadable, std::strerror(errno));
  if (!S_ISREG(status.st_mode)) {
    // Its dates change when something is written to it.
    file.stamp = {.device = status.st_dev, .inode = status.st_ino};
    return Leave(file, UploadOutcome::kUnfit, "it is not a regular file");
  }
  file.size = static_cast<std::uint64_t>(status.st_size);
  file.modifyDate = UniversalDate(status.st_mtime);
  file.stamp = Stamp::Of(status);
  return true;
}

}  // namespace

bool IsReadable(const std::string& path) {
  return ::access(path.c_str(), R_OK) == 0;
}

bool Describe(File& file) {
  return Look(file) &&
         (IsReadable(file.path) || Leave(file, UploadOutcome::kUnreadable, std::strerror(errno)));
}

KnownFile RowOf(const File& file, const std::string& itemId) {
  return {.stamp = file.stampHolds ? file.stamp : Stamp(), .digest = file.digest, .itemId = itemId};
}

std::optional<File> NowAt(const std::string& path) {
  File file{.path = path};
  if (!Look(file)) return std::nullopt;
  return file;
}

std::string CheckKey(const File& file, const std::string& name) {
  std::string composed;
  return fmt::format("{}/{}/{}", file.size, file.modifyDate, ComposeUtf8(name, composed));
}

bool SameContent(const std::filesystem::path& left, const std::filesystem::path& right) {
  std::ifstream a(left, std::ios::binary);
  std::ifstream b(right, std::ios::binary);
  if (!a || !b) return false;
  std::array<char, 65536> blockA;
  std::array<char, 65536> blockB;
  for (;;) {
    a.read(blockA.data(), blockA.size());
    b.read(blockB.data(), blockB.size());
    const auto count = static_cast<size_t>(a.gcount());
    if (a.gcount() != b.gcount() ||
        !std::equal(blockA.begin(), blockA.begin() + count, blockB.begin()))
      return false;
    if (count < blockA.size()) return a.eof() && b.eof();
  }
}

}  // namespace kelo::host
