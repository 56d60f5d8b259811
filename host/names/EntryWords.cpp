// Gives the words for entries, their kinds and their formats.
#include "host/names/EntryWords.h"

#include <fmt/format.h>

#include "host/names/Names.h"

namespace kelo::host {
namespace {

struct KindRow {
  Kind kind;
  std::string_view words;
  std::string_view json;
};
// An entry may be of several kinds: the first row counts. One of none is an item.
constexpr KindRow kKinds[] = {{Kind::FriendAlbum, "friend's album", "friendAlbum"},
                              {Kind::SharedAlbum, "shared album", "sharedAlbum"},
                              {Kind::RootAlbum, "root album", "rootAlbum"},
                              {Kind::Album, "album", "album"},
                              {Kind::Folder, "folder", "folder"},
                              {Kind::FileItem, "item", "item"}};

const KindRow& RowOf(Kind kind) {
  for (const KindRow& row : kKinds)
    if (Is(kind, row.kind)) return row;
  return kKinds[std::size(kKinds) - 1];
}

}  // namespace

std::string EntryName(const Item& entry) {
  return entry.kind == Kind::RootAlbum ? "(in no album)" : Shown(entry.name);
}

std::string EntryId(const Item& entry) {
  return entry.kind == Kind::RootAlbum ? "root" : Shown(entry.id);
}

std::string_view KindText(Kind kind) {
  return RowOf(kind).words;
}

std::string_view KindJson(Kind kind) {
  return RowOf(kind).json;
}

std::string KindWithArticle(Kind kind) {
  const std::string_view words = KindText(kind);
  const bool vowel = words.starts_with('a') || words.starts_with('i');
  return fmt::format("{} {}", Is(kind, Kind::RootAlbum) ? "the" : vowel ? "an" : "a", words);
}

std::string_view FormatText(std::uint32_t format) {
  struct FormatRow {
    std::uint32_t format;
    std::string_view words;
  };
  constexpr FormatRow kRows[] = {{kKELOFormat_JPEG, "JPEG"},
                                 {kKELOFormat_RawA, "raw"},
                                 {kKELOFormat_RawB, "raw"},
                                 {kKELOFormat_TIFF, "TIFF"},
                                 {kKELOFormat_QuickTime, "QuickTime"},
                                 {kKELOFormat_AVI, "AVI"},
                                 {kKELOFormat_WAV, "WAV"},
                                 {kKELOFormat_Binary, "binary"}};
  for (const FormatRow& row : kRows)
    if (row.format == format) return row.words;
  return "unknown";
}

bool IsContainer(const Item& entry) {
  constexpr Kind kContainers =
      Kind::Folder | Kind::Album | Kind::FriendAlbum | Kind::RootAlbum | Kind::SharedAlbum;
  return Is(entry.kind, kContainers);
}

}  // namespace kelo::host
