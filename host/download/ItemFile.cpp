// Formats to extensions, texts to times.
#include "host/download/ItemFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>

#include "host/account/CatalogueNames.h"
#include "host/account/Names.h"

namespace kelo::host {
namespace {

// The first is the one that a file gets.
struct Format {
  std::uint32_t format;
  std::array<std::string_view, 3> extensions;
};
constexpr Format kFormats[] = {{kKELOFormat_JPEG, {".jpg", ".jpeg", ".jpe"}},
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
std::string WithExtension(std::string name, const Format& format) {
  const std::size_t dot = name.rfind('.');
  const std::string_view tail =
      dot == std::string::npos ? std::string_view() : std::string_view(name).substr(dot);
  for (const std::string_view extension : format.extensions)
    if (!extension.empty() && EqualButForCase(tail, extension)) return name;
  if (!tail.empty() && EqualButForCase(tail, format.extensions[0].substr(0, tail.size())))
    name.resize(dot);
  return FileName(name.append(format.extensions[0]), "");
}

// The offset behind the seconds, in seconds east of UTC.
std::optional<std::time_t> OffsetOf(std::string_view zone) {
  if (zone.starts_with('.'))
    zone.remove_prefix(std::min(zone.find_first_not_of("0123456789", 1), zone.size()));
  if (zone.empty() || zone == "Z" || zone == "z") return 0;
  int hours = 0;
  int minutes = 0;
  const bool known = (zone[0] == '+' || zone[0] == '-') &&
                     (std::sscanf(zone.data() + 1, "%2d:%2d", &hours, &minutes) == 2 ||
                      std::sscanf(zone.data() + 1, "%2d%2d", &hours, &minutes) == 2);
  if (!known) return std::nullopt;
  const std::time_t offset = (hours * 60 + minutes) * 60;
  return zone[0] == '-' ? -offset : offset;
}

}  // namespace

std::string ItemFileName(const Item& item) {
  std::string name = FileName(item.name, item.id);
  const auto* const format = std::ranges::find(kFormats, item.fileFormat, &Format::format);
  return MayBeCut(item) && format != std::end(kFormats) ? WithExtension(std::move(name), *format)
                                                        : name;
}

std::optional<std::time_t> MomentOf(std::string_view date) {
  const std::string text(date);
  std::tm parts{};
  int end = 0;
  const int read = std::sscanf(text.c_str(), "%4d%*1[-:]%2d%*1[-:]%2d%*1[T ]%2d:%2d:%2d%n",
                               &parts.tm_year, &parts.tm_mon, &parts.tm_mday, &parts.tm_hour,
                               &parts.tm_min, &parts.tm_sec, &end);
  if (read != 6 || parts.tm_mon < 1 || parts.tm_mon > 12 || parts.tm_mday < 1) return std::nullopt;
  const auto offset = OffsetOf(std::string_view(text).substr(static_cast<std::size_t>(end)));
  if (!offset) return std::nullopt;
  parts.tm_year -= 1900;
  parts.tm_mon -= 1;
  return ::timegm(&parts) - *offset;
}

std::optional<std::time_t> ItemDate(const Item& item) {
  return MomentOf(item.modifyDate);
}

bool IsFileOf(const std::filesystem::path& path, std::optional<std::time_t> modified) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  // Some file systems count in twos.
  return !modified || std::abs(status.st_mtime - *modified) < 2;
}

}  // namespace kelo::host
