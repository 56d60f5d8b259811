// Goes through the places where cameras and programs write the date of a shot.
#include "host/upload/ShotDate.h"

#include <algorithm>
#include <string_view>

#include "host/names/Dates.h"

namespace kelo::host {
namespace {

// The first that has a date is taken. The last is often that of a later change.
constexpr const char* kSources[] = {
    "Exif.Photo.DateTimeOriginal",   "Exif.Image.DateTimeOriginal", "Exif.Photo.DateTimeDigitized",
    "Xmp.photoshop.DateCreated",     "Xmp.xmp.CreateDate",          "Xmp.exif.DateTimeOriginal",
    "Iptc.Application2.DateCreated", "Exif.Image.DateTime",
};

template <typename Key, typename Data>
std::string TextOf(const Data& data, const char* name) {
  if (data.empty()) return {};  // a key takes longer than all the rest
  const auto found = data.findKey(Key(name));
  return found == data.end() ? std::string() : found->toString();
}

std::string TextOf(const Exiv2::Image& picture, std::string_view name) {
  if (name.starts_with("Exif")) return TextOf<Exiv2::ExifKey>(picture.exifData(), name.data());
  if (name.starts_with("Xmp")) return TextOf<Exiv2::XmpKey>(picture.xmpData(), name.data());
  const std::string day = TextOf<Exiv2::IptcKey>(picture.iptcData(), name.data());
  const auto time = [&] {
    return TextOf<Exiv2::IptcKey>(picture.iptcData(), "Iptc.Application2.TimeCreated");
  };
  return day.empty() ? day : day + "T" + time();
}

// The zone is left out, since the camera's clock is what counts. A date that ends after the day or
// the minute is its beginning.
std::string CameraDate(std::string text) {
  constexpr std::string_view kBeginning = "0000-00-00T00:00:00";
  const size_t known = text.size() >= 19 && text[16] == ':' ? 19 : text.size() >= 16 ? 16 : 10;
  text.resize(std::min(known, text.size()));
  if (text.size() == known) text += kBeginning.substr(known);
  // A leap second is not known to whoever compares dates as texts.
  if (text.starts_with("0000") || text.ends_with(":60")) return {};
  return ShownSeconds(text, DateClock::kCamera) ? IsoDate(text, DateClock::kCamera) : std::string();
}

}  // namespace

std::string ShotDate(const Exiv2::Image& picture) {
  for (const char* source : kSources) {
    std::string date = CameraDate(TextOf(picture, source));
    if (!date.empty()) return date;
  }
  return {};
}

}  // namespace kelo::host
