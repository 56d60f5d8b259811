// A fixture with a small real account, and the question that follows every fault: does the next
// command work, does the catalogue agree with itself, is nothing left?
#pragma once

#include <set>

#include "support/CommandTest.h"

namespace kelo::testing {

// What the process has open. Sockets may be left out: kept-alive connections come and go.
inline std::multiset<std::string> OpenFiles(bool withSockets) {
  std::multiset<std::string> open;
  for (const auto& link : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const std::string target = std::filesystem::read_symlink(link, gone).string();
    if (gone || target.starts_with("/proc/")) continue;  // the iterator's own
    if (withSockets || !target.starts_with("socket:")) open.insert(target);
  }
  return open;
}

class AccountTest : public CommandTest {
 protected:
  static constexpr uint32_t kServerKinds = 0x157;
  static constexpr uint32_t kRootKinds = 0x143;
  using Catalogue = std::vector<std::string>;

  // A session; a folder, an album in it with two pictures, and a picture of the root album.
  void OpenAccount() {
    ASSERT_NO_FATAL_FAILURE(OpenSession());
    ASSERT_EQ(Load(), 0u);
    tagKELO_ItemInfo trips = NewContainer(kKELOKind_Folder, "Trips");
    ASSERT_EQ(Add(trips, ""), 0u);
    tagKELO_ItemInfo album = NewContainer(kKELOKind_Album, "Harbour");
    ASSERT_EQ(Add(album, FieldText(trips.itemId)), 0u);
    album_ = FieldText(album.itemId);
    for (const std::string& target : {album_, album_, std::string()})
      ASSERT_EQ(Upload(target, picture_), 0u);
    ASSERT_EQ(Load(), 0u);
    picturePath_ = FieldText(ItemInfo(picture_).origUrl).substr(Url().size());
    entries_ = folder().EntryCount();
    pictures_ = 3;
  }

  uint32_t Load() { return Send(kKELOCommand_LoadHierarchy, Record()); }
  uint32_t Add(tagKELO_ItemInfo& made, const std::string& parent) {
    const uint32_t result = SendOne(kKELOCommand_AddItems, &made, parent);
    return result != 0 ? result : made.result;
  }
  // A new picture of the account, unless it fails.
  uint32_t Upload(const std::string& album, std::string& id, uint32_t options = 0) {
    if (picturesFile_.empty()) picturesFile_ = folder().Write("picture.jpg", kPicture);
    std::string name = "picture" + std::to_string(++uploads_) + ".jpg";
    tagKELO_LoadInfo file = UploadOf(picturesFile_, static_cast<int32_t>(kPicture.size()));
    file.fileName = Text(name);
    const uint32_t result = SendOne(kKELOCommand_Upload, &file, album, options);
    id = FieldText(file.itemId);
    return result;
  }

  // The whole catalogue as lists give it. Every list must have the entries that its count says, and
  // every entry must be known by its id.
  Catalogue ReadCatalogue() {
    Catalogue all = Entries("", kRootKinds);
    std::vector<std::string> containers;
    for (size_t i = 0; i < all.size(); ++i) {
      const tagKELO_ItemInfo entry = entriesById_[all[i]];
      if (entry.kind == kKELOKind_FileItem) continue;
      const bool isFolder = entry.kind == kKELOKind_Folder;
      const Catalogue below =
          Entries(FieldText(entry.itemId), isFolder ? 0x102u : uint32_t{kKELOKind_FileItem});
      EXPECT_EQ(below.size(), entry.itemCount) << all[i];
      all.insert(all.end(), below.begin(), below.end());
    }
    const Catalogue everywhere = Entries(KELO_ALL_ITEMS_ID, kServerKinds);
    all.insert(all.end(), everywhere.begin(), everywhere.end());
    return all;
  }
  size_t PicturesInCatalogue() { return Count(KELO_ALL_ITEMS_ID, kKELOKind_FileItem); }

  // The account works as if nothing had happened. `base` is where the downloads come from. So many
  // uploads that were given up may still arrive.
  void ExpectRecovered(const std::string& base, size_t late = 0) {
    EXPECT_EQ(Capacity(), 0u);
    EXPECT_EQ(Load(), 0u);
    ReadCatalogue();
    EXPECT_LE(PicturesInCatalogue() - pictures_, late);
    EXPECT_EQ(Download(base + picturePath_), 0u);
    EXPECT_EQ(folder().Read("downloaded"), kPicture);
    std::filesystem::remove(DownloadPath());
    service().ClearArrived();
    std::string id;
    EXPECT_EQ(Upload(album_, id), 0u);
    EXPECT_NE(id, "");
    EXPECT_LE(Requests("UploadItems").size(), 1 + late);
    EXPECT_EQ(Load(), 0u);
    EXPECT_LE(PicturesInCatalogue() - ++pictures_, late);
    pictures_ = PicturesInCatalogue();
    EXPECT_EQ(folder().EntryCount(), entries_) << "a file is left";
  }

  const std::string kPicture = std::string(20000, 'p') + std::string("\0end", 4);
  std::string album_;
  std::string picture_;      // the id of one picture
  std::string picturePath_;  // the path of its URL
  size_t pictures_ = 0;
  size_t entries_ = 0;  // of the test's folder

 private:
  Catalogue Entries(const std::string& target, uint32_t kinds) {
    Catalogue entries;
    for (const tagKELO_ItemInfo& item : List(target, kinds)) {
      const std::string id = FieldText(item.itemId);
      EXPECT_EQ(FieldText(ItemInfo(id).name), FieldText(item.name)) << target << ": " << id;
      entries.push_back(target + ":" + FieldText(item.parentId) + "/" + id + " " +
                        FieldText(item.name));
      entriesById_[entries.back()] = item;
    }
    return entries;
  }

  std::map<std::string, tagKELO_ItemInfo> entriesById_;
  std::string picturesFile_;
  int uploads_ = 0;
};

}  // namespace kelo::testing
