// Decides which files an upload takes, by tables of names and extensions.
#include "host/upload/UploadFilter.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "host/upload/File.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

// What cameras, telephones, scanners and recorders write.
constexpr std::string_view kExtensions[] = {
    // pictures
    "jpg", "jpeg", "jpe", "jfif", "png", "gif", "bmp", "tif", "tiff", "webp", "heic", "heif", "hif",
    "avif", "jp2", "jxl", "psd",
    // raw pictures
    "rwa", "rwb", "3fr", "ari", "arw", "bay", "cr2", "cr3", "crw", "dcr", "dng", "erf", "fff",
    "gpr", "iiq", "k25", "kdc", "mef", "mos", "mrw", "nef", "nrw", "orf", "pef", "raf", "raw",
    "rw2", "rwl", "sr2", "srf", "srw", "x3f",
    // movies
    "mov", "mp4", "m4v", "avi", "mpg", "mpeg", "mpe", "mts", "m2ts", "m2t", "mkv", "webm", "wmv",
    "asf", "3gp", "3g2", "mxf", "ogv", "dv", "flv", "insv", "lrv",
    // sound
    "wav", "mp3", "m4a", "aac", "aif", "aiff", "flac", "ogg", "oga", "opus", "wma", "amr", "caf",
    "mid", "midi"};

// What operating systems leave in folders; in small letters.
constexpr std::string_view kSystemFiles[] = {"thumbs.db", "ehthumbs.db", "desktop.ini", ".ds_store",
                                             "icon\r"};

// What programs and cameras put beside a picture: notes, edits and a small picture of a movie.
constexpr std::string_view kSidecars[] = {"xmp", "aae", "thm"};

template <size_t N>
bool Contains(const std::string_view (&table)[N], std::string_view text) {
  return std::find(std::begin(table), std::end(table), text) != std::end(table);
}

bool IsSystemFile(const std::string& name) {
  return name.starts_with("._") || Contains(kSystemFiles, Lower(name));
}

// Without the dot.
std::string ExtensionOf(const fs::path& name) {
  const std::string extension = Lower(name.extension().string());
  return extension.empty() ? extension : extension.substr(1);
}

}  // namespace

std::string LeftOutText(const LeftOutCounts& counts) {
  struct Words {
    const char* one;
    const char* several;
  };
  constexpr Words kWords[] = {
      {"system file", "system files"},
      {"hidden", "hidden"},
      {"sidecar (XMP, AAE, THM), which the service cannot keep with its picture",
       "sidecars (XMP, AAE, THM), which the service cannot keep with their pictures"},
      {"of another kind", "of other kinds"},
      {"by the filter", "by the filter"},
      {"link to a folder", "links to folders"}};
  std::vector<std::string> parts;
  size_t junk = 0;  // parts
  for (const auto& [reason, count] : counts) {
    const Words& words = kWords[static_cast<size_t>(reason)];
    parts.push_back(fmt::format("{} {}", count, count == 1 ? words.one : words.several));
    if (reason <= LeftOut::kOtherKind) ++junk;
  }
  if (junk > 0) parts[junk - 1] += " (--all-files sends such files)";
  return fmt::format("{}", fmt::join(parts, ", "));
}

std::optional<LeftOut> UploadFilter::LeavesFileOut(const fs::path& below, bool named) const {
  if (!wish.TakesName(below)) return LeftOut::kByFilter;
  if (allFiles) return std::nullopt;
  const fs::path name = below.filename();
  if (IsSystemFile(name.string())) return LeftOut::kSystemFile;
  if (named) return std::nullopt;
  if (name.string().starts_with('.')) return LeftOut::kHidden;
  const std::string extension = ExtensionOf(name);
  if (Contains(kExtensions, extension)) return std::nullopt;
  return Contains(kSidecars, extension) ? LeftOut::kSidecar : LeftOut::kOtherKind;
}

std::optional<LeftOut> UploadFilter::LeavesFolderOut(const fs::path& below) const {
  if (wish.Excludes(below)) return LeftOut::kByFilter;
  if (!allFiles && below.filename().string().starts_with('.')) return LeftOut::kHidden;
  return std::nullopt;
}

}  // namespace kelo::host
