// The order, the counts and the refusals of the cache's lists, written out.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "catalogue/CacheReader.h"

namespace kelo::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kRootAlbum(kRootAlbumId);

tagFileItemData File(std::string_view name) {
  return {.fileName = name};
}
tagDirectoryItemData Link(std::string_view name) {
  return {.name = name};
}

// Added out of id order everywhere: z before a.
class Lists : public ::testing::Test {
 protected:
  void SetUp() override {
    cache.SetupRootFolder();
    cache.ClearAllFolder();
    cache.SetupRootFolder();
    cache.AddFolder("", "f2", Link("Folder 2"));
    cache.AddFolder("", "f1", Link("Folder 1"));
    cache.AddAlbum("", "top", Link("Top"), false);
    cache.AddAlbum("f1", "z", Link("Shared z"), true);
    cache.AddAlbum("f1", "a", Link("Album a"), false);
    cache.AddAlbum("f1", "m", Link("Shared m"), true);
    cache.AddFileItem("a", "i3", File("3"));
    cache.AddFileItem("a", "i1", File("1"));
    cache.AddFileItem("z", "i1", File("1"));
    cache.AddFileItem("z", "i0", File("0"));
    cache.AddFileItemToRootAlbum("r2", File("r2"));
    cache.AddFileItemToRootAlbum("r1", File("r1"));
    cache.AddFriendAlbum("y", Link("Friend y"));
    cache.AddFriendAlbum("x", Link("Friend x"));
    cache.AddFileItemToFriendAlbum("x", "k2", File("k2"));
    cache.AddFileItemToFriendAlbum("x", "k1", File("k1"));
  }

  KELOAccessCacheManager cache;
};

struct ListCase {
  std::string target;  // "*": the whole server
  uint32_t mask;
  Texts ids;
  Texts records;
};

TEST_F(Lists, StandInTheirOrders) {
  const ListCase cases[] = {
      {"", 0x40 | 1 | 2, {kRootAlbum, "f1", "f2", "top"}, {kRootAlbum, "f2", "f1", "top"}},
      {std::string(kRootId), 0x40 | 1, {"f1", "f2"}, {"f2", "f1"}},
      {"f1", 2, {"a", "m", "z"}, {"z", "a", "m"}},
      {"f1", 0x102, {"a", "m", "z"}, {"z", "a", "m"}},
      {"f1", 0x100, {"m", "z"}, {"m", "z"}},
      {"", 0x100, {}, {}},
      {"a", 4, {"i1", "i3"}, {"i3", "i1"}},
      {kRootAlbum, 4, {"r1", "r2"}, {"r2", "r1"}},
      {"unknown", 0x157, {}, {}},
      {"a", 0, {}, {}},
      {"*",
       0x40 | 4 | 0x10,
       {kRootAlbum, "r1", "r2", "i1", "i3", "i0", "i1", "x", "y"},
       {kRootAlbum, "r2", "r1", "i3", "i1", "i1", "i0", "x", "y"}},
      {"*",
       1 | 2 | 0x100,
       {"f1", "f2", "top", "a", "m", "z"},  // the root comes first: 'K' is below 'f'
       {"f2", "f1", "top", "z", "a", "m"}},
      {"*",
       0x100 | 4,
       {"r1", "r2", "i1", "i3", "i0", "i1", "m", "z"},
       {"r2", "r1", "i3", "i1", "m", "z", "i1", "i0"}},
  };
  for (const ListCase& c : cases) {
    SCOPED_TRACE(c.target + " " + std::to_string(c.mask));
    const bool server = c.target == "*";
    EXPECT_EQ(server ? IdsOnServer(cache, c.mask) : IdsOnTarget(cache, c.target, c.mask), c.ids);
    EXPECT_EQ(
        IdsOf(server ? RecordsOnServer(cache, c.mask) : RecordsOnTarget(cache, c.target, c.mask)),
        c.records);
  }
}

TEST_F(Lists, FriendAlbumHasRecordsButNoIdList) {
  EXPECT_THAT(IdsOf(RecordsOnTarget(cache, "x", 4)), ElementsAre("k2", "k1"));
  char untouched = '#';
  EXPECT_EQ(cache.GetItemsIDListOnTargetID("x", 2, &untouched, 4), kKELOResult_BadParameter);
  EXPECT_EQ(untouched, '#');
}

TEST_F(Lists, EntryAddedAgainGoesToTheEndAndNoneIsLost) {
  for (const char* id : {"n1", "n2", "n3"}) cache.AddFileItem("m", id, File(id));
  cache.AddFileItem("m", "n1", File("again"));  // shares index 2 with n3
  EXPECT_THAT(IdsOf(RecordsOnTarget(cache, "m", 4)), ElementsAre("n2", "n3", "n1"));
  cache.AddFileItem("m", "n4", File("n4"));
  cache.AddFileItem("m", "n2", File("again"));  // shares index 3 with n4
  EXPECT_THAT(IdsOf(RecordsOnTarget(cache, "m", 4)), ElementsAre("n3", "n1", "n4", "n2"));
  EXPECT_STREQ(RecordOf(cache, "n1").name, "again");

  cache.AddAlbum("f1", "z", Link("Renamed"), false);  // a new link; the album stays as it was
  EXPECT_THAT(IdsOf(RecordsOnTarget(cache, "f1", 2)), ElementsAre("a", "m", "z"));
  EXPECT_STREQ(RecordOf(cache, "z").name, "Shared z");
  EXPECT_EQ(RecordOf(cache, "z").kind, 0x102u);
  EXPECT_THAT(IdsOnTarget(cache, "z", 4), ElementsAre("i0", "i1"));
}

TEST_F(Lists, UpdateKeepsEveryPlace) {
  cache.UpdateFileItem("i1", File("new"));
  EXPECT_THAT(IdsOf(RecordsOnTarget(cache, "a", 4)), ElementsAre("i3", "i1"));
  EXPECT_THAT(IdsOf(RecordsOnTarget(cache, "z", 4)), ElementsAre("i1", "i0"));
  EXPECT_STREQ(RecordOf(cache, "i1").name, "new");
  cache.UpdateFileItem("k1", File("new"));
  EXPECT_STREQ(RecordOf(cache, "k1").name, "k1") << "friend albums are not searched";
}

TEST_F(Lists, UnknownParentLeavesTheEntryUnlinked) {
  cache.AddFolder("nowhere", "lost", Link("Lost"));
  EXPECT_STREQ(RecordOf(cache, "lost").parentId, "nowhere");
  EXPECT_THAT(IdsOnTarget(cache, "nowhere", 1), IsEmpty());
  EXPECT_THAT(IdsOnServer(cache, 1), ElementsAre("f1", "f2"));
  cache.AddAlbum("nowhere", "lost album", Link("Lost"), true);
  EXPECT_THAT(IdsOnTarget(cache, "nowhere", 0x100), ElementsAre("lost album"));
  cache.AddFileItem("nowhere", "i9", File("9"));
  EXPECT_EQ(RecordOf(cache, "i9").result, uint32_t{kKELOResult_NotFound});
}

TEST_F(Lists, ChecksTellDirectoriesFromFriendAlbums) {
  bool isAlbum = true;
  EXPECT_TRUE(cache.CheckDirectoryItemID("", isAlbum));
  EXPECT_FALSE(isAlbum);
  EXPECT_TRUE(cache.CheckDirectoryItemID("z", isAlbum));
  EXPECT_TRUE(isAlbum);
  EXPECT_FALSE(cache.CheckDirectoryItemID("x", isAlbum));
  EXPECT_FALSE(isAlbum);
  EXPECT_TRUE(cache.CheckFriendAlbumID("x"));
  EXPECT_TRUE(cache.CheckFriendAlbumID(kRootId));
  EXPECT_FALSE(cache.CheckFriendAlbumID(""));
  EXPECT_FALSE(cache.CheckFriendAlbumID("z"));
}

TEST_F(Lists, ClearingLeavesTheRootOfTheFriendAlbums) {
  cache.ClearAllFolder();
  bool isAlbum = false;
  EXPECT_FALSE(cache.CheckDirectoryItemID("", isAlbum));
  EXPECT_TRUE(cache.CheckFriendAlbumID(kRootId));
  EXPECT_THAT(IdsOnServer(cache, 0x157), IsEmpty());
  EXPECT_THAT(RecordsOnServer(cache, 0x157), IsEmpty());
  EXPECT_THAT(IdsOnTarget(cache, kRootAlbum, 4), IsEmpty());
  EXPECT_EQ(RecordOf(cache, "i1").result, uint32_t{kKELOResult_NotFound});
}

// The bytes behind the NUL of an id slot are the caller's.
TEST_F(Lists, IdSlotsKeepWhatStandsBehindTheId) {
  const std::string longId(50, 'L');
  cache.AddFileItem("m", longId, File("long"));
  cache.AddFileItem("m", "K", File("short"));
  std::string buffer(2 * KELO_ID_FIELD_SIZE, '#');
  ASSERT_EQ(cache.GetItemsIDListOnTargetID("m", 2, buffer.data(), 4), kKELOResult_Success);
  EXPECT_EQ(buffer, std::string("K\0", 2) + std::string(39, '#') + std::string(40, 'L') +
                        std::string(1, '\0'));
}

}  // namespace
}  // namespace kelo::testing
