// The shapes, member by member.
#include "host/account/EntryJson.h"

#include "host/account/Dates.h"
#include "host/account/Names.h"
#include "host/account/Tree.h"
#include "host/library/Records.h"
#include "host/library/ResultText.h"

namespace kelo::host {
namespace {

std::string_view KindJson(std::uint32_t kind) {
  if ((kind & kKELOKind_FriendAlbum) != 0) return "friendAlbum";
  if ((kind & kKELOKind_SharedAlbum) != 0) return "sharedAlbum";
  if ((kind & kKELOKind_RootAlbum) != 0) return "rootAlbum";
  if ((kind & kKELOKind_Album) != 0) return "album";
  if ((kind & kKELOKind_Folder) != 0) return "folder";
  return "item";
}

}  // namespace

Json IdJson(std::string_view id) {
  if (id.empty()) return nullptr;
  return id == KELO_ROOT_ALBUM_ID ? "root" : Resolved(id);
}

Json ErrorJson(std::uint32_t code, std::uint32_t command) {
  return {{"code", code}, {"message", ResultWords(code, command)}};
}

Json EntryJson(const tagKELO_ItemInfo& entry) {
  const bool root = entry.kind == kKELOKind_RootAlbum;
  Json json = {{"id", root ? Json("root") : IdJson(FieldText(entry.itemId))},
               {"kind", KindJson(entry.kind)},
               {"name", root ? "root" : NameText(FieldText(entry.name))},
               {"parentId", IdJson(FieldText(entry.parentId))}};
  if (IsContainer(entry))
    json["itemCount"] = std::uint32_t{entry.itemCount};
  else
    json["format"] = FormatText(entry.fileFormat);
  const auto put = [&json](const char* name, const std::string& text) {
    if (!text.empty()) json[name] = text;
  };
  put("modified", IsoDate(FieldText(entry.modifyDate), Clock::Universal));
  put("shot", IsoDate(FieldText(entry.shotDate), Clock::Camera));
  put("uploaded", IsoDate(FieldText(entry.uploadDate), Clock::Universal));
  put("originalUrl", Resolved(FieldText(entry.origUrl)));
  put("screenUrl", Resolved(FieldText(entry.screenUrl)));
  return json;
}

}  // namespace kelo::host
