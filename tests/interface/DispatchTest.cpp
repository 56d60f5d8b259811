// The command frame: which queries are answered, how records are read, who hears events. What is
// checked before any work is in tests/c.

#include <type_traits>

#include "interface/KELOAccessLibrary.h"
#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

// The end of a program must not destroy the controller under a command of another thread.
static_assert(
    std::is_trivially_destructible_v<decltype(KELOAccessLibrary::pKELOAccessCommandController)>);

class DispatchTest : public CommandTest {};

TEST_F(DispatchTest, QueriesAcceptOnlyTheKindsOfTheirTarget) {
  OpenScriptedSession();
  LoadSmallHierarchy();
  struct Case {
    const char* target;
    uint32_t kinds;
    uint32_t result;
  };
  const std::string all = KELO_ALL_ITEMS_ID;
  const Case cases[] = {
      {"", 0x143, 0},
      {"", 0x40, 0},
      {"", 0x147, 4115},
      {"", 0, 4115},
      {KELO_ALL_ITEMS_ID, 0x157, 0},
      {KELO_ALL_ITEMS_ID, 0x158, 4115},
      {KELO_ALL_ITEMS_ID "\xFF", 4, 4115},
      {all.c_str() + 1, 4, 4115},
      {KELO_ROOT_ALBUM_ID, 4, 0},
      {KELO_ROOT_ALBUM_ID, 6, 4115},
      {"F1", 0x002, 0},
      {"F1", 0x100, 0},
      {"F1", 0x004, 4115},
      {"F1", 0x006, 4115},
      {"A1", 4, 0},
      {"A1", 2, 4115},
      {"A2", 4, 0},
      {"B1", 4, 0},
      {"B1", 2, 4115},
      {"unknown", 4, 4115},
      {"KELO_CACHEINFO_ROOT_ID", 0x102, 0},
      {"KELO_CACHEINFO_ROOT_ID", 0x103, 4115},
      {"KELO_CACHEINFO_ROOT_ID", 4, 4115},
      {"KELO_CACHEINFO_ROOT_ID", 0x40, 4115},
  };
  for (const Case& c : cases) {
    uint32_t count = 77;
    tagCommandControlInfo record = Record(&count, c.target);
    record.selectionFlags = c.kinds;
    EXPECT_EQ(Send(kKELOCommand_GetItemsCount, record), c.result) << c.target << " " << c.kinds;
    EXPECT_EQ(count == 77, c.result != 0) << c.target << " " << c.kinds;
    std::vector<tagKELO_ItemInfo> items(c.result == 0 ? count : 0);
    tagKELO_ItemInfo none;
    record.data = items.empty() ? &none : items.data();
    record.entryCount = static_cast<uint32_t>(items.size());
    EXPECT_EQ(Send(kKELOCommand_GetItemsList, record), c.result) << c.target << " " << c.kinds;
  }
}

TEST_F(DispatchTest, RecordsAtOddAddressesAndWithoutTheLastByteAreRead) {
  OpenScriptedSession();
  LoadSmallHierarchy();
  char space[200];
  char* odd = space + 1;
  uint32_t counts[2] = {};
  char* oddCount = reinterpret_cast<char*>(counts) + 1;
  tagCommandControlInfo record = Record(oddCount, "A1");
  record.selectionFlags = kKELOKind_FileItem;
  std::memset(space, 0x55, sizeof space);
  std::memcpy(odd, &record, 175);
  auto* info = reinterpret_cast<tagCommandControlInfo*>(odd);  // as a packed host would pass it
  ASSERT_EQ(KELOAccessCommand(kKELOCommand_GetItemsCount, info), 0u);
  uint32_t count;
  std::memcpy(&count, oddCount, sizeof count);
  EXPECT_EQ(count, 2u);
}

TEST_F(DispatchTest, EventsFollowMaskAndCallback) {
  OpenScriptedSession();
  static int events;
  const KELOAccessEventCallback callback = [](uint32_t, uint32_t,
                                              const tagKELO_ProgressInfo*) -> uint32_t {
    ++events;
    return 0xDEAD;
  };
  void* pointer;
  std::memcpy(&pointer, &callback, sizeof pointer);
  const struct {
    uint32_t code, mask;
    bool heard;
  } steps[] = {
      {kKELOCommand_RegisterEventCallBack, ~0x200u, false},
      {kKELOCommand_RegisterEventCallBack, 0x201, true},
      {kKELOCommand_UnregisterEventCallBack, 0x1, true},
      {kKELOCommand_UnregisterEventCallBack, 0x200, false},
      {kKELOCommand_RegisterEventCallBack, 0x200, true},
      {kKELOCommand_RegisterEventCallBack, 0x1, false},  // the mask is replaced, not merged
  };
  for (const auto& step : steps) {
    tagCommandControlInfo registration = Record(pointer);
    registration.selectionFlags = step.mask;
    EXPECT_EQ(Send(step.code, registration), 0u);
    UseSession(ScriptedSession());  // which leaves both as they are
    events = 0;
    std::string path = folder().Path("picture");
    tagKELO_DownloadInfo download = DownloadOf(Url() + "/picture", path);
    EXPECT_EQ(SendOne(kKELOCommand_Download, &download), 0u);
    std::filesystem::remove(path);
    EXPECT_EQ(events > 0, step.heard) << step.code << " " << step.mask;
  }
}

}  // namespace
}  // namespace kelo::testing
