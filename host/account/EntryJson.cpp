// Makes the JSON of each kind of entry, member by member.
#include "host/account/EntryJson.h"

#include "host/names/Dates.h"
#include "host/names/EntryWords.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"

namespace kelo::host {

Json IdJson(std::string_view id) {
  if (id.empty()) return nullptr;
  return id == kRootAlbum ? "root" : Decoded(id);
}

Json ErrorJson(std::uint32_t code, std::uint32_t command) {
  return {{"code", code}, {"message", ResultWords(code, command)}};
}

Json EntryJson(const Item& entry) {
  const bool root = entry.kind == Kind::RootAlbum;
  Json json = {{"id", root ? Json("root") : IdJson(entry.id)},
               {"kind", KindJson(entry.kind)},
               {"name", root ? "root" : Composed(entry.name)},
               {"parentId", IdJson(entry.parentId)}};
  if (IsContainer(entry))
    json["itemCount"] = entry.itemCount;
  else
    json["format"] = FormatText(entry.fileFormat);
  const auto put = [&json](const char* name, const std::string& text) {
    if (!text.empty()) json[name] = text;
  };
  put("modified", IsoDate(entry.modifyDate, DateClock::kUniversal));
  put("shot", IsoDate(entry.shotDate, DateClock::kCamera));
  put("uploaded", IsoDate(entry.uploadDate, DateClock::kUniversal));
  put("originalUrl", entry.originalUrl);
  put("screenUrl", entry.screenUrl);
  return json;
}

}  // namespace kelo::host
