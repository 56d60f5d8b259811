// A table tells the MIME type by the extension, and exiv2 reads the date of the shot.
#include "devservice/store/FileKinds.h"

#include <algorithm>
#include <cctype>
#include <ctime>
#include <exiv2/exiv2.hpp>
#include <fstream>
#include <mutex>

namespace kelo::devservice {
namespace {

struct FileKind {
  std::string_view extension;
  std::string_view format;
  std::string_view firstBytes;  // empty: not looked at
};

constexpr FileKind kKinds[] = {
    {".jpg", "image/jpeg", "\xFF\xD8"}, {".jpeg", "image/jpeg", "\xFF\xD8"},
    {".rwa", "image/x-talvo-rwa", ""},  {".rwb", "image/x-talvo-rwb", ""},
    {".tif", "image/tiff", ""},         {".tiff", "image/tiff", ""},
    {".mov", "video/quicktime", ""},    {".avi", "video/x-msvideo", ""},
    {".wav", "audio/x-wav", ""},        {"", "application/x-unknown", ""},
};
constexpr std::string_view kRefused[] = {".exe", ".com", ".bat", ".cmd", ".msi", ".dll", ".scr"};

std::string ExtensionOf(std::string_view name) {
  const size_t dot = name.rfind('.');
  std::string extension(dot == std::string_view::npos ? "" : name.substr(dot));
  std::ranges::transform(extension, extension.begin(),
                         [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension;
}

// Zeros where there are fewer.
std::string FirstBytes(const std::filesystem::path& file) {
  std::string bytes(4, '\0');
  std::ifstream stream(file, std::ios::binary);
  stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

// Whether it names a moment that there is, in EXIF's way: a clock that was not set has zeros.
bool IsDate(const std::string& text) {
  constexpr const char* kForm = "%Y:%m:%d %H:%M:%S";
  std::tm date{};
  char again[20];  // with the places of the calendar
  return strptime(text.c_str(), kForm, &date) != nullptr && timegm(&date) != -1 &&
         std::strftime(again, sizeof again, kForm, &date) > 0 && text == again;
}

std::string ShotDateOf(const std::filesystem::path& file) {
  static std::mutex mutex;  // exiv2's XMP side is not thread-safe
  const std::lock_guard lock(mutex);
  try {
    const auto image = Exiv2::ImageFactory::open(file.string());
    image->readMetadata();
    const Exiv2::ExifData& exif = image->exifData();
    const auto date = exif.findKey(Exiv2::ExifKey("Exif.Photo.DateTimeOriginal"));
    if (date != exif.end() && IsDate(date->toString())) return date->toString();
  } catch (const std::exception&) {
    // a damaged picture is stored like any other
  }
  return {};
}

}  // namespace

bool IsRefusedFile(std::string_view name) {
  return std::ranges::find(kRefused, ExtensionOf(name)) != std::end(kRefused);
}

void DescribeFile(Item& item) {
  const FileKind* kind = std::ranges::find(kKinds, ExtensionOf(item.name), &FileKind::extension);
  if (kind == std::end(kKinds)) {
    item.format = "application/octet-stream";
    return;
  }
  const bool genuine =
      kind->firstBytes.empty() || FirstBytes(item.file).starts_with(kind->firstBytes);
  item.format = genuine ? kind->format : "application/x-unrecognized";
  const bool isPicture = item.format.starts_with("image/");
  if (isPicture && item.shotDate.empty()) item.shotDate = ShotDateOf(item.file);
}

}  // namespace kelo::devservice
