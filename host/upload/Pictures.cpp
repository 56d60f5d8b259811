// File facts from the file system and from exiv2.
#include "host/upload/Pictures.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exiv2/exiv2.hpp>
#include <fstream>
#include <vector>

#include "host/names/Dates.h"
#include "host/names/ResultText.h"

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
std::vector<Exiv2::byte> SmallFile(const LocalFile& file) {
  constexpr std::uint64_t kSmall = 256 << 10;
  if (file.size > kSmall) return {};
  std::vector<Exiv2::byte> bytes(static_cast<std::size_t>(file.size));
  std::ifstream stream;
  stream.rdbuf()->pubsetbuf(nullptr, 0);
  stream.open(file.path, std::ios::binary);
  stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<std::size_t>(stream.gcount()));
  return bytes;
}

}  // namespace

void Describe(LocalFile& file) {
  struct stat status {};
  // Never opened, which takes longer, and could wait for a pipe.
  if (::stat(file.path.c_str(), &status) != 0 || ::access(file.path.c_str(), R_OK) != 0)
    throw Failure(std::strerror(errno));
  if (!S_ISREG(status.st_mode)) throw Failure("not a file");
  file.size = static_cast<std::uint64_t>(status.st_size);
  file.modifyDate = UniversalDate(status.st_mtime);
  // A file system's creation time is that of the copy, and would make a restored or copied file
  // look new to the duplicate check. The modification time goes along with copies.
  file.createDate = file.modifyDate;
  file.device = status.st_dev;
  file.inode = status.st_ino;
}

std::optional<LocalFile> NowAt(const std::filesystem::path& path) {
  try {
    LocalFile file{.path = path};
    Describe(file);
    return file;
  } catch (const Failure&) {
    return std::nullopt;
  }
}

void AddPictureFacts(LocalFile& file) {
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

bool IsSoundMemo(const std::filesystem::path& path) {
  std::string extension = path.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension == ".wav";
}

}  // namespace kelo::host
