// Adding to the tables and looking up in them. The places of one id form a chain, whose first one
// is the place that a query finds.
#include "catalogue/HierarchyTable.h"

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <utility>

#include "platform/AbortSignal.h"

namespace kelo {
namespace {

// About as long as an item in an answer.
constexpr size_t kItemLength = 320;

uint32_t HashIn(uint32_t list, uint32_t hash) {
  return (hash ^ (list + 1)) * 0x9E3779B1u;
}

// Copies the texts into one block and makes them views of it.
std::unique_ptr<char[]> OwnTexts(std::initializer_list<std::string_view*> texts) {
  size_t size = 0;
  for (const std::string_view* text : texts) size += text->size();
  auto block = std::make_unique_for_overwrite<char[]>(size);
  char* at = block.get();
  for (std::string_view* text : texts) {
    const size_t length = text->copy(at, text->size());
    *text = {at, length};
    at += length;
  }
  return block;
}

}  // namespace

HierarchyTable::HierarchyTable(std::string answer) : answer_(std::move(answer)) {
  index_.Reserve(answer_.size() / kItemLength);
  directories_.Reserve(1);
  directories_.Add({.id = kRootAlbumId});
}

bool HierarchyTable::InAnswer(std::string_view text) const {
  const std::less<const char*> before;
  return !before(text.data(), answer_.data()) &&
         before(text.data(), answer_.data() + answer_.size());
}

void HierarchyTable::AddRoot() {
  AddDirectory(kNone, kTerminateId, kRootId, {.name = kRootName}, kKELOKind_Folder);
}

uint32_t HierarchyTable::AddDirectory(uint32_t parent, std::string_view parentId,
                                      std::string_view id, tagDirectoryItemData data,
                                      uint32_t flags) {
  const uint32_t hash = HashOf(id);
  uint32_t number = FindDirectory(id);
  uint32_t list = kNone;
  if (parent != kNone && (flags & (kKELOKind_Folder | kKELOKind_Album)))
    list = ListOf(parent, flags & kKELOKind_Folder ? kFolders : kAlbums);
  Reserve();
  if (number == kNone) {
    tagDirectoryInfo directory;
    parentId = parentId.substr(0, kIdLength);
    if (!InAnswer(id)) directory.texts = OwnTexts({&id, &parentId, &data.name, &data.modifyDate});
    directory.id = id;
    directory.parentID = parentId;
    directory.name = data.name;
    directory.modifyDate = data.modifyDate;
    directory.flags = flags;
    number = directories_.Add(std::move(directory));
    byId_.push_back(number);
    byIdIsSorted_ = false;
    AddPlace(kNone, id, hash, number);
  }
  if (list == kNone) return number;
  uint32_t link = FindIn(list, id, hash);
  if (link == kNone)
    link = AddPlace(list, directories_[number].id, hash, number);
  else
    Unlink(link);
  Append(link);
  return number;
}

void HierarchyTable::AddFile(uint32_t directory, std::string_view id, tagFileItemData data) {
  const uint32_t list = ListOf(directory, kFiles);
  const uint32_t hash = HashOf(id);
  Reserve();
  File file = MakeFile(id, data);
  uint32_t place = FindIn(list, id, hash);
  if (place == kNone) {
    place = AddPlace(list, id, hash, files_.Add(std::move(file)));
  } else {
    Unlink(place);
    places_[place].id = id;
    files_[places_[place].record] = std::move(file);
  }
  Append(place);
}

bool HierarchyTable::UpdateFile(std::string_view id, const tagFileItemData& data) {
  // All that can fail comes before the first replacement.
  struct Replacement {
    HierarchyPlace* place;
    std::string_view id;
    File file;
  };
  std::vector<Replacement> replacements;
  for (uint32_t at = FindPreferred(id, HashOf(id)); at != kNone; at = places_[at].sameId) {
    if (!IsFile(places_[at])) continue;
    Replacement& replacement = replacements.emplace_back(Replacement{&places_[at], id, {}});
    replacement.file = MakeFile(replacement.id, data);
  }
  for (Replacement& replacement : replacements) {
    replacement.place->id = replacement.id;
    files_[replacement.place->record] = std::move(replacement.file);
  }
  return !replacements.empty();
}

// Makes `id` a view of what the file holds.
HierarchyTable::File HierarchyTable::MakeFile(std::string_view& id, tagFileItemData data) const {
  File file;
  const char* base = answer_.data();
  if (!InAnswer(id)) {
    file.own = OwnTexts({&id, &data.fileName, &data.modifyDate, &data.shotDate, &data.uploadDate,
                         &data.screenUrl, &data.origUrl});
    base = file.own.get();
  }
  const auto text = [base](std::string_view view) {
    if (view.empty()) return Text();
    return Text{static_cast<uint32_t>(view.data() - base), static_cast<uint32_t>(view.size())};
  };
  file.texts = {text(data.fileName),   text(data.modifyDate), text(data.shotDate),
                text(data.uploadDate), text(data.screenUrl),  text(data.origUrl)};
  file.format = data.fileFormat;
  return file;
}

tagFileItemData HierarchyTable::Data(const HierarchyPlace& place) const {
  const File& file = files_[place.record];
  const char* base = file.own ? file.own.get() : answer_.data();
  const auto text = [&](size_t number) {
    return std::string_view(base + file.texts[number].at, file.texts[number].length);
  };
  return {text(0), text(1), text(2), text(3), text(4), text(5), file.format};
}

uint32_t HierarchyTable::FindPreferred(std::string_view id, uint32_t hash) const {
  return index_.Find(
      hash, [&](uint32_t number) { return places_[number].preferred && places_[number].id == id; });
}

uint32_t HierarchyTable::FindIn(uint32_t list, std::string_view id, uint32_t hash) const {
  const uint32_t first = FindPreferred(id, hash);
  if (first == kNone || places_[first].list == list) return first;
  return index_.Find(HashIn(list, hash), [&](uint32_t number) {
    const HierarchyPlace& place = places_[number];
    return !place.preferred && place.list == list && place.id == id;
  });
}

uint32_t HierarchyTable::FindDirectory(std::string_view id) const {
  const HierarchyPlace* place = FindDirectoryPlace(id);
  return place ? place->record : kNone;
}

const HierarchyPlace* HierarchyTable::FindDirectoryPlace(std::string_view id) const {
  const uint32_t place = FindIn(kNone, id, HashOf(id));
  return place == kNone ? nullptr : &places_[place];
}

const HierarchyPlace* HierarchyTable::Find(std::string_view id) const {
  // Most accounts have no friend albums, and then every listed item is looked up there in vain.
  if (places_.size() == 1) return places_[0].id == id ? &places_[0] : nullptr;
  const uint32_t place = FindPreferred(id, HashOf(id));
  return place == kNone ? nullptr : &places_[place];
}

// Whether a query prefers `place` to another one of the same id. An entry that leads to a directory
// never stands before the directory.
bool HierarchyTable::Precedes(const HierarchyPlace& place, const HierarchyPlace& other) const {
  const auto rank = [](const HierarchyPlace& p) {
    if (p.list == ListOf(kRootAlbum, kFiles)) return 0;
    if (p.list == kNone) return 1;
    return IsFile(p) ? 2 : 3;
  };
  if (rank(place) != rank(other)) return rank(place) < rank(other);
  return rank(place) == 2 && Holder(place).id < Holder(other).id;
}

// Makes room for one more of each, with an entry that leads to it.
void HierarchyTable::Reserve() {
  places_.Reserve(2);
  files_.Reserve(1);
  directories_.Reserve(1);
  index_.Reserve(2);
  if (byId_.size() == byId_.capacity()) byId_.reserve(byId_.size() * 2 + 16);
}

uint32_t HierarchyTable::AddPlace(uint32_t list, std::string_view id, uint32_t hash,
                                  uint32_t record) noexcept {
  const uint32_t first = FindPreferred(id, hash);
  const uint32_t number = places_.Add({.id = id, .list = list, .record = record});
  HierarchyPlace& place = places_[number];
  place.preferred = first == kNone || Precedes(place, places_[first]);
  if (first == kNone) {
    index_.Insert(hash, number);
  } else if (place.preferred) {
    HierarchyPlace& other = places_[first];
    other.preferred = false;
    place.sameId = first;
    index_.Replace(hash, first, number);
    index_.Insert(HashIn(other.list, hash), first);
  } else {
    place.sameId = std::exchange(places_[first].sameId, number);
    index_.Insert(HashIn(list, hash), number);
  }
  return number;
}

void HierarchyTable::Append(uint32_t number) noexcept {
  HierarchyPlace& place = places_[number];
  HierarchyList& list = ListAt(place.list);
  place.previous = list.last;
  place.next = kNone;
  (list.last == kNone ? list.first : places_[list.last].next) = number;
  list.last = number;
  ++list.size;
}

void HierarchyTable::Unlink(uint32_t number) noexcept {
  const HierarchyPlace& place = places_[number];
  HierarchyList& list = ListAt(place.list);
  (place.previous == kNone ? list.first : places_[place.previous].next) = place.next;
  (place.next == kNone ? list.last : places_[place.next].previous) = place.previous;
  --list.size;
}

const std::vector<uint32_t>& HierarchyTable::DirectoriesById(const AbortSignal* abort) const {
  if (!byIdIsSorted_) {
    std::vector<uint32_t> sorted = byId_;  // a comparison that throws leaves it in pieces
    std::ranges::sort(sorted, [&](uint32_t a, uint32_t b) {
      if (abort) abort->Check();
      return directories_[a].id < directories_[b].id;
    });
    byId_.swap(sorted);
    byIdIsSorted_ = true;
  }
  return byId_;
}

}  // namespace kelo
