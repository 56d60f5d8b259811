// Finds the entry that a person named, by comparing that with the name and path of every entry.
#include "host/account/Find.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <span>
#include <vector>

#include "commandline/Suggest.h"
#include "host/account/AccountTree.h"
#include "host/names/CatalogueNames.h"
#include "host/names/EntryWords.h"
#include "host/names/Failure.h"
#include "host/names/Names.h"
#include "text/Unicode.h"

namespace kelo::host {
namespace {

constexpr size_t kMaxShown = 10;

// Composed, so that no way to write an accent counts; byte for byte where it is not UTF-8.
std::u16string Comparable(std::string_view text) {
  std::string composed;
  std::u16string units;
  if (!Utf8ToUtf16(ComposeUtf8(text, composed), units) || (units.empty() && !text.empty()))
    units.assign(text.begin(), text.end());
  return units;
}

// A name of the catalogue, whose record cuts long ones.
struct Name {
  std::u16string text;
  bool cut = false;

  explicit Name(const Item& entry)
      : text(Comparable(Composed(entry.name))), cut(entry.nameMayBeCut) {}
  explicit Name(std::u16string_view own) : text(own) {}
};

enum class Likeness { kNone, kFolded, kExact };

Likeness Compare(std::u16string_view wanted, const Name& name) {
  if (name.cut && wanted.find(u'/', name.text.size()) == wanted.npos)
    wanted = wanted.substr(0, name.text.size());
  if (wanted == name.text) return Likeness::kExact;
  return CompareFolded(wanted, name.text) == 0 ? Likeness::kFolded : Likeness::kNone;
}

// How well `wanted` names the last `depth` of these names. Names may hold a "/" themselves.
Likeness CompareTail(std::u16string_view wanted, const std::vector<Name>& path, size_t depth) {
  const Name& last = path[depth - 1];
  Likeness best = Compare(wanted, last);
  if (depth == 1) {
    if (wanted.starts_with(u'/')) best = std::max(best, Compare(wanted.substr(1), last));
    return best;
  }
  for (size_t at = wanted.find(u'/', 1); at != wanted.npos && best != Likeness::kExact;
       at = wanted.find(u'/', at + 1)) {
    const Likeness here = Compare(wanted.substr(at + 1), last);
    if (here != Likeness::kNone)
      best = std::max(best, std::min(here, CompareTail(wanted.substr(0, at), path, depth - 1)));
  }
  return best;
}

// A folder or an album with the names that lead to it, and the path as shown, "/Journeys/Lisbon".
struct NamedPlace {
  Item entry;
  std::vector<Name> path{};
  std::string shown{};
};

std::vector<NamedPlace> NamedPlaces(const AccountTree& tree) {
  std::vector<NamedPlace> named;
  for (const AccountPlace& place : tree.Places()) {
    NamedPlace& one = named.emplace_back(NamedPlace{place.entry});
    const bool isRoot = place.entry.kind == Kind::RootAlbum;
    if (place.folder != nullptr) one.path.emplace_back(*place.folder);
    one.path.push_back(isRoot ? Name(u"root") : Name(place.entry));
    if (place.folder != nullptr) one.shown = "/" + Shown(place.folder->name);
    one.shown += "/" + (isRoot ? "root" : Shown(place.entry.name));
  }
  return named;
}

struct Match {
  Item entry{};
  std::string path;  // as shown
};

class Finder {
 public:
  Finder(Library& library, const std::string& wanted)
      : tree_(library),
        wanted_(wanted),
        comparable_(Comparable(wanted)),
        places_(NamedPlaces(tree_)) {}

  // The best matches of these kinds, each entry once: those in the very letters, or else those
  // without case.
  std::vector<Match> Find(Kind kinds) {
    Forget();
    for (const NamedPlace& place : places_)
      if (Is(place.entry.kind & kinds, ~Kind::RootAlbum))
        Consider(place.entry, place.path, [&] { return place.shown; });
    if (!matches_.empty() || !Is(kinds, Kind::FileItem)) return matches_;
    ForEachItem([this](const NamedPlace& place, const Item& item) {
      Consider(item, place.path, [&] { return place.shown + "/" + ShownName(item); });
    });
    return matches_;
  }

  // The known name that comes nearest, or the only one that begins like this; with as much of its
  // path as was wanted.
  std::optional<std::string> Nearest() {
    const auto depth = std::count(wanted_.begin(), wanted_.end(), '/');
    std::vector<std::string> known;
    const auto add = [&](const std::string& shown) { known.push_back(Tail(shown, depth)); };
    for (const NamedPlace& place : places_) add(place.shown);
    ForEachItem([&](const NamedPlace& place, const Item& item) {
      add(place.shown + "/" + ShownName(item));
    });
    std::optional<std::string> nearest = Closest(wanted_, known);
    if (nearest) return nearest;
    std::erase_if(known, [this](const std::string& name) { return !BeginsLikeWanted(name); });
    std::sort(known.begin(), known.end());
    if (!known.empty() && known.front() == known.back()) nearest = known.front();
    return nearest;
  }

  // How many albums could not be looked into.
  size_t Unseen() const { return unseen_.size(); }

 private:
  static std::string ShownName(const Item& entry) { return Shown(entry.name); }

  // The last parts of a path, with `depth` separators between them.
  static std::string Tail(const std::string& shown, std::ptrdiff_t depth) {
    size_t at = shown.size();
    for (; depth >= 0 && at != 0; --depth) at = shown.rfind('/', at - 1);
    return shown.substr(at + 1);
  }

  bool BeginsLikeWanted(const std::string& name) const {
    const std::u16string text = Comparable(name);
    return CompareFolded(text.substr(0, comparable_.size()), comparable_) == 0;
  }

  void Forget() {
    best_ = Likeness::kNone;
    matches_.clear();
    known_.clear();
  }

  template <typename ShownPath>
  void Consider(const Item& entry, const std::vector<Name>& path, const ShownPath& shownPath) {
    const Likeness likeness = CompareTail(comparable_, path, path.size());
    if (likeness == Likeness::kNone || likeness < best_) return;
    if (likeness > best_) Forget();
    best_ = likeness;
    if (known_.insert(KeyOf(entry)).second) matches_.push_back({entry, shownPath()});
  }

  // Calls with each item and its album, whose path leads to the item during the call.
  template <typename Visit>
  void ForEachItem(const Visit& visit) {
    for (NamedPlace& place : places_) {
      if (place.entry.kind == Kind::Folder) continue;
      const PlaceContents contents = tree_.ContentsOf(place.entry);
      if (!contents.problem.empty()) unseen_.insert(place.entry.id);
      for (const Item& item : contents.entries) {
        place.path.emplace_back(item);
        visit(place, item);
        place.path.pop_back();
      }
    }
  }

  const AccountTree tree_;
  std::set<std::string> unseen_;  // ids of albums whose items nobody can tell
  const std::string& wanted_;
  const std::u16string comparable_;
  std::vector<NamedPlace> places_;
  Likeness best_ = Likeness::kNone;
  std::vector<Match> matches_;
  std::set<EntryKey> known_;  // of the matches
};

[[noreturn]] void FailAmbiguous(const std::string& wanted, const std::vector<Match>& matches) {
  std::string list;
  for (const Match& match : std::span(matches).first(std::min(matches.size(), kMaxShown)))
    list += fmt::format("\n  {}  {}", Shown(match.entry.id), match.path);
  if (matches.size() > kMaxShown)
    list += fmt::format("\n  and {} more", matches.size() - kMaxShown);
  throw Failure(fmt::format("'{}' may mean {} entries; name one by its id or its path:{}",
                            Shown(wanted), matches.size(), list));
}

[[noreturn]] void FailUnknown(const std::string& wanted, Finder& finder) {
  const auto nearest = finder.Nearest();
  const size_t unseen = finder.Unseen();
  throw Failure(fmt::format(
      "there is nothing with the id, name or path '{}'{}{}", Shown(wanted),
      unseen == 0 ? "" : fmt::format(" ({} could not be read)", CountText(unseen, "album")),
      nearest ? fmt::format("; did you mean '{}'?", *nearest)
              : "; 'kelo tree' shows what there is"));
}

[[noreturn]] void FailOtherKind(const Item& entry, const std::string& wanted,
                                std::string_view meant) {
  throw Failure(
      fmt::format("'{}' is {}, not {}", Shown(wanted), KindWithArticle(entry.kind), meant));
}

std::optional<Item> OneOf(const std::string& wanted, const std::vector<Match>& matches) {
  if (matches.size() > 1) FailAmbiguous(wanted, matches);
  return matches.empty() ? std::nullopt : std::optional(matches.front().entry);
}

// By the id, or by the word for the root album.
std::optional<Item> FindById(Library& library, const std::string& wanted) {
  if (wanted.empty()) throw Failure("the name is empty; give an id, a name or a path");
  if (wanted == "root") return library.Info(kRootAlbum);
  if (wanted.size() >= KELO_ID_FIELD_SIZE) return std::nullopt;
  try {
    return library.Info(wanted);
  } catch (const Error& failure) {
    if (failure.Code() != kKELOResult_BadParameter) throw;  // otherwise: no id of anything
  }
  return std::nullopt;
}

std::optional<Item> FindIfAny(Library& library, const std::string& given, Kind kinds) {
  const std::string wanted = WithoutEndSlash(given);
  const auto entry = FindById(library, wanted);
  if (!entry) return OneOf(wanted, Finder(library, wanted).Find(kinds));
  return Is(entry->kind, kinds) ? entry : std::nullopt;
}

// A folder, where the other match is the album in it that has its name: that of its loose pictures.
std::optional<Item> FolderOfItsAlbum(const std::vector<Match>& matches) {
  if (matches.size() != 2) return std::nullopt;
  for (const auto& [folder, album] : {std::pair(matches[0].entry, matches[1].entry),
                                      std::pair(matches[1].entry, matches[0].entry)})
    if (folder.kind == Kind::Folder && album.parentId == folder.id) return folder;
  return std::nullopt;
}

}  // namespace

std::string WithoutEndSlash(std::string path) {
  while (path.size() > 1 && path.ends_with('/')) path.pop_back();
  return path;
}

Item FindEntry(Library& library, const std::string& given) {
  const std::string wanted = WithoutEndSlash(given);
  if (const auto entry = FindById(library, wanted)) return *entry;
  Finder finder(library, wanted);
  const std::vector<Match> matches = finder.Find(kAnyKind);
  if (const auto folder = FolderOfItsAlbum(matches)) return *folder;
  const auto entry = OneOf(wanted, matches);
  if (!entry) FailUnknown(wanted, finder);
  return *entry;
}

std::optional<Item> FindAlbumIfAny(Library& library, const std::string& wanted) {
  return FindIfAny(library, wanted, kAlbums);
}

Item FindAlbum(Library& library, const std::string& wanted) {
  if (const auto album = FindAlbumIfAny(library, wanted)) return *album;
  FailOtherKind(FindEntry(library, wanted), wanted, "an album");
}

std::optional<Item> FindFolderIfAny(Library& library, const std::string& wanted) {
  return FindIfAny(library, wanted, Kind::Folder);
}

Item FindFolder(Library& library, const std::string& wanted) {
  if (const auto folder = FindFolderIfAny(library, wanted)) return *folder;
  FailOtherKind(FindEntry(library, wanted), wanted, "a folder");
}

}  // namespace kelo::host
