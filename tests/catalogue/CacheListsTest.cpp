// What the model leaves out: aborts, that friend albums have no id list, and the bytes of id slots.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "catalogue/CacheReader.h"
#include "http/AbortSignal.h"

namespace kelo::testing {
namespace {

using ::testing::ElementsAre;

class Lists : public ::testing::Test {
 protected:
  void SetUp() override {
    cache.SetupRootFolder();
    cache.AddAlbum("", "z", {.name = "Album"}, false);
    cache.AddFriendAlbum("x", {.name = "Friend"});
    cache.AddFileItemToFriendAlbum("x", "k2", {.fileName = "k2"});
    cache.AddFileItemToFriendAlbum("x", "k1", {.fileName = "k1"});
  }

  AbortSignal abort;
  KELOAccessCacheManager cache{0, &abort};
};

TEST_F(Lists, AnAbortEndsAQuery) {
  cache.AddAlbum("", "y", {}, true);
  tagKELO_ItemInfo records[3];
  {
    const AbortSignal::CommandScope command(abort);
    abort.Raise();
    EXPECT_THROW(cache.GetItemsInfoOnTargetID("", 2, records, 2), CommandAborted);
    EXPECT_THROW(cache.GetAllItemsCountOnServer(2), CommandAborted) << "while it sorts";
  }
  EXPECT_THAT(IdsOf(RecordsOnServer(cache, 0x12)), ElementsAre("z", "y", "x"));
  const AbortSignal::CommandScope command(abort);
  abort.Raise();
  for (const uint32_t kinds : {4u, 0x10u})
    EXPECT_THROW(cache.GetAllItemsCountOnServer(kinds), CommandAborted) << kinds;
  EXPECT_THROW(cache.GetItemsCountOnTargetID("", 0x100), CommandAborted);
}

// The bytes behind the NUL of an id slot are the caller's.
TEST_F(Lists, IdSlotsKeepWhatStandsBehindTheId) {
  const std::string longId(50, 'L');
  cache.AddFileItem("z", longId, {.fileName = "long"});
  cache.AddFileItem("z", "K", {.fileName = "short"});
  std::string buffer(2 * KELO_ID_FIELD_SIZE, '#');
  EXPECT_EQ(cache.GetItemsIDListOnTargetID("x", 0, buffer.data(), 4), kKELOResult_BadParameter);
  ASSERT_EQ(cache.GetItemsIDListOnTargetID("z", 2, buffer.data(), 4), kKELOResult_Success);
  EXPECT_EQ(buffer, std::string("K\0", 2) + std::string(39, '#') + std::string(40, 'L') +
                        std::string(1, '\0'));
}

}  // namespace
}  // namespace kelo::testing
