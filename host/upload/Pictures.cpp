// Reads a picture's size in pixels and the time of its shot, with the library exiv2.
#include "host/upload/Pictures.h"

#include <algorithm>
#include <exiv2/exiv2.hpp>
#include <fstream>
#include <vector>

namespace kelo::host {
namespace {

// "2024:05:17 10:11:12" as cameras write it, as ISO 8601; empty for anything else.
std::string ShotDateText(const std::string& exif) {
  constexpr std::string_view kShape = "0000:00:00 00:00:00";
  if (exif.size() < kShape.size()) return {};
  std::string date = exif.substr(0, kShape.size());
  const bool shaped = std::equal(date.begin(), date.end(), kShape.begin(), [](char c, char shape) {
    return shape == '0' ? c >= '0' && c <= '9' : c == shape;
  });
  if (!shaped || date.starts_with("0000")) return {};
  date[4] = date[7] = '-';
  date[10] = 'T';
  return date;
}

std::string ShotDate(const Exiv2::ExifData& exif) {
  for (const char* name : {"Exif.Photo.DateTimeOriginal", "Exif.Image.DateTime"}) {
    const auto found = exif.findKey(Exiv2::ExifKey(name));
    if (found == exif.end()) continue;
    std::string date = ShotDateText(found->toString());
    if (!date.empty()) return date;
  }
  return {};
}

// All of a small file; nothing of a larger one. The picture library seeks to and fro, which takes
// longer than reading a small file at once.
std::vector<Exiv2::byte> SmallFile(const File& file) {
  constexpr std::uint64_t kSmall = 256 << 10;
  if (file.size > kSmall) return {};
  std::vector<Exiv2::byte> bytes(static_cast<size_t>(file.size));
  std::ifstream stream;
  stream.rdbuf()->pubsetbuf(nullptr, 0);
  stream.open(file.path, std::ios::binary);
  stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<size_t>(stream.gcount()));
  return bytes;
}

void AddPictureFacts(File& file) {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
  try {
    const std::vector<Exiv2::byte> bytes = SmallFile(file);
    const auto size = static_cast<long>(bytes.size());
    // Opening what is no picture would throw, which takes longer than all the rest.
    if (size > 0 && Exiv2::ImageFactory::getType(bytes.data(), size) == Exiv2::ImageType::none)
      return;
    // Absolute, because a relative name could look like a URL to the picture library.
    const auto image =
        size == 0 ? Exiv2::ImageFactory::open(std::filesystem::absolute(file.path).string())
                  : Exiv2::ImageFactory::open(bytes.data(), size);
    image->readMetadata();
    // signed or not, as the version has them
    file.width = static_cast<std::uint32_t>(std::max<std::int64_t>(image->pixelWidth(), 0));
    file.height = static_cast<std::uint32_t>(std::max<std::int64_t>(image->pixelHeight(), 0));
    file.shotDate = ShotDate(image->exifData());
  } catch (const std::exception&) {
    // Not a picture, or a damaged one: it is stored all the same, only without these facts.
  }
}

}  // namespace

void LookAtPictures(const Files& files) {
  for (File* file : files) {
    const auto now = NowAt(file->path);
    if (!now) continue;
    if (now->size > 0 && now->size <= kMaxFile) {
      file->size = now->size;
      file->modifyDate = now->modifyDate;
    }
    AddPictureFacts(*file);
  }
}

}  // namespace kelo::host
