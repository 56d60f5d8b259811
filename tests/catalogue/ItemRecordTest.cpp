// The records of entries, field by field, and the store of finished ones. Of lists what the model
// leaves out: aborts, that friend albums have no id list, and the bytes of id slots.
#include <gmock/gmock.h>

#include "catalogue/CacheReader.h"
#include "platform/AbortSignal.h"

namespace kelo::testing {
namespace {

using ::testing::ElementsAre;

constexpr uint32_t kRecordSize = sizeof(tagKELO_ItemInfo);

std::string Text(size_t length, const char* start = "") {
  std::string text(start);
  length += text.size();
  while (text.size() < length) text += static_cast<char>('a' + text.size() % 26);
  return text;
}

TEST(ItemRecord, OfAFileFillsItsFieldsAndNoOthers) {
  for (const size_t length : {0u, 10u, 31u, 32u, 40u, 41u, 255u, 256u, 2000u}) {
    SCOPED_TRACE(length);
    KELOAccessCacheManager cache;
    cache.SetupRootFolder();
    const std::string album = Text(length, "A");
    const std::string item = Text(length, "I");
    cache.AddAlbum("", album, {}, false);
    cache.AddFileItem(album, item,
                      {.fileName = Text(length, "n"),
                       .modifyDate = Text(length, "m"),
                       .shotDate = Text(length, "s"),
                       .uploadDate = Text(length, "u"),
                       .screenUrl = Text(length, "c"),
                       .origUrl = Text(length, "o"),
                       .fileFormat = 5});
    tagKELO_ItemInfo expected = {};
    const auto fill = [&](char* field, size_t width, const char* first) {
      const std::string text = Text(length, first);
      std::memcpy(field, text.data(), std::min(text.size(), width - 1));
    };
    fill(expected.parentId, 41, "A");
    fill(expected.itemId, 41, "I");
    expected.kind = kKELOKind_FileItem;
    expected.fileFormat = 5;
    fill(expected.name, 256, "n");
    fill(expected.modifyDate, 32, "m");
    fill(expected.shotDate, 32, "s");
    fill(expected.uploadDate, 32, "u");
    fill(expected.screenUrl, 256, "c");
    fill(expected.origUrl, 256, "o");
    const tagKELO_ItemInfo record = RecordOf(cache, item);
    EXPECT_EQ(std::memcmp(&record, &expected, kRecordSize), 0);
  }
}

// The names of the records that are kept, of the ids 0 to 9.
std::string Kept(const KELOAccessCacheManager& cache) {
  std::string kept;
  for (char id = '0'; id <= '9'; ++id)
    if (const auto* info = cache.GetKELO_ItemInfoCache({&id, 1})) kept += info->name;
  return kept;
}

TEST(ItemRecord, FinishedRecordsGoFirstInFirstOut) {
  const struct {
    char operation;  // s store, r remove, g get, c clear
    char id;
    char name;
    const char* kept;
  } steps[] = {
      {'s', '1', 'a', "a"},   {'s', '2', 'b', "ab"},
      {'s', '3', 'c', "abc"}, {'g', '1', ' ', "abc"},  // reading renews nothing
      {'s', '4', 'd', "bcd"}, {'s', '2', 'B', "bcd"},  // stored again: newest, but not replaced
      {'s', '5', 'e', "bde"}, {'r', '2', ' ', "de"},   // its place in the queue remains
      {'s', '6', 'f', "ef"},  {'s', '7', 'g', "efg"},  // where it is the oldest after 4
      {'s', '5', 'E', "efg"}, {'s', '8', 'h', "egh"},  // 6 is the oldest now
      {'c', ' ', ' ', ""},    {'s', '9', 'i', "i"},
  };
  KELOAccessCacheManager cache(3 * kRecordSize + kRecordSize - 1);
  for (const auto& step : steps) {
    const std::string_view id(&step.id, 1);
    tagKELO_ItemInfo info = {};
    info.name[0] = step.name;
    if (step.operation == 's') cache.UpdateKELO_ItemInfoCache(id, info);
    if (step.operation == 'r') cache.RemoveKELO_ItemInfoCache(id);
    if (step.operation == 'c') cache.ClearKELO_ItemInfoCache();
    EXPECT_EQ(Kept(cache), step.kept) << step.operation << " " << id << " " << step.name;
  }
}

// How long it does so, and what becomes of it, is compared with the model.
TEST(ItemRecord, AKeptRecordAnswersForItsEntry) {
  KELOAccessCacheManager cache(100 * kRecordSize);
  cache.SetupRootFolder();
  cache.AddAlbum("", "a", {.name = "A"}, false);
  RecordOf(cache, "a");
  ASSERT_NE(cache.GetKELO_ItemInfoCache("a"), nullptr);
  tagKELO_ItemInfo kept = *cache.GetKELO_ItemInfoCache("a");
  cache.ClearKELO_ItemInfoCache();
  kept.itemCount = 77;
  cache.UpdateKELO_ItemInfoCache("a", kept);
  EXPECT_EQ(RecordOf(cache, "a").itemCount, 77u);
}

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
  EXPECT_THAT(IdsOnServer(cache, 0x12), ElementsAre("y", "z", "x"));
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
  EXPECT_EQ(cache.GetItemsIDListOnTargetID("x", 2, buffer.data(), 4), kKELOResult_BadParameter);
  ASSERT_EQ(cache.GetItemsIDListOnTargetID("z", 2, buffer.data(), 4), kKELOResult_Success);
  EXPECT_EQ(buffer, std::string("K\0", 2) + std::string(39, '#') + std::string(40, 'L') +
                        std::string(1, '\0'));
}

}  // namespace
}  // namespace kelo::testing
