// Makes file names from the names of items, with the extensions of their formats.
#include "host/download/ItemFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>

#include "host/names/CatalogueNames.h"
#include "host/names/Dates.h"
#include "host/names/Names.h"

namespace kelo::host {
namespace {

// The first is the one that a file gets.
struct ItemFormat {
  std::uint32_t format;
  std::array<std::string_view, 3> extensions;
};
constexpr ItemFormat kFormats[] = {{kKELOFormat_JPEG, {".jpg", ".jpeg", ".jpe"}},
                                   {kKELOFormat_RawA, {".rwa"}},
                                   {kKELOFormat_RawB, {".rwb"}},
                                   {kKELOFormat_TIFF, {".tif", ".tiff"}},
                                   {kKELOFormat_QuickTime, {".mov", ".mp4", ".qt"}},
                                   {kKELOFormat_AVI, {".avi"}},
                                   {kKELOFormat_WAV, {".wav"}}};

bool EqualButForCase(std::string_view a, std::string_view b) {
  return std::ranges::equal(
      a, b, [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

// A name that was cut inside its extension still ends in the beginning of it.
std::string WithExtension(std::string name, const ItemFormat& format) {
  const size_t dot = name.rfind('.');
  const std::string_view tail =
      dot == std::string::npos ? std::string_view() : std::string_view(name).substr(dot);
  for (const std::string_view extension : format.extensions)
    if (!extension.empty() && EqualButForCase(tail, extension)) return name;
  if (!tail.empty() && EqualButForCase(tail, format.extensions[0].substr(0, tail.size())))
    name.resize(dot);
  return FileName(name.append(format.extensions[0]), "");
}

}  // namespace

std::string ItemFileName(const Item& item) {
  std::string name = FileName(item.name, item.id);
  const auto* const format = std::ranges::find(kFormats, item.fileFormat, &ItemFormat::format);
  return item.nameMayBeCut && format != std::end(kFormats) ? WithExtension(std::move(name), *format)
                                                           : name;
}

std::optional<std::time_t> ItemDate(const Item& item) {
  return MomentOf(item.modifyDate);
}

std::optional<std::int64_t> ShownDate(const Item& item) {
  if (const auto shot = ShownSeconds(item.shotDate, DateClock::kCamera)) return shot;
  const auto modified = ShownSeconds(item.modifyDate, DateClock::kUniversal);
  return modified ? modified : ShownSeconds(item.uploadDate, DateClock::kUniversal);
}

bool IsFileOf(const std::filesystem::path& path, std::optional<std::time_t> modified) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  // Some file systems keep even seconds only.
  return !modified || std::abs(status.st_mtime - *modified) < 2;
}

}  // namespace kelo::host
