// Random sequences of operations, answered alike by the cache and by its plain model, whatever the
// number of finished records that the cache keeps, and also out of memory.

#include <random>
#include <sstream>

#include "catalogue/CacheReader.h"
#include "catalogue/HierarchyLoader.h"
#include "catalogue/ModelCache.h"
#include "support/FaultPoint.h"

namespace kelo::testing {
namespace {

// Few ids, so that entries are added again, ids stand in several places, kinds share them, and
// folders and albums stand in themselves and in one another.
const Texts kIds = {"",
                    "a",
                    "b",
                    "c",
                    "d",
                    "e",
                    "f",
                    "g",
                    std::string(kRootId),
                    std::string(kRootAlbumId),
                    std::string(kTerminateId),
                    KELO_ALL_ITEMS_ID,
                    "an id that is longer than the forty characters of a field",
                    "an id that is longer than the forty characters of a record"};

class Pair {
 public:
  Pair(uint32_t recordsKept, unsigned seed, bool memoryIsShort)
      : random_(seed),
        memoryIsShort_(memoryIsShort),
        cache_(recordsKept * static_cast<uint32_t>(sizeof(tagKELO_ItemInfo))) {
    cache_.SetupRootFolder();
    model_.SetupRootFolder();
  }

  void Change();
  void Load();
  void Compare();
  std::string Log() const { return log_.str(); }

 private:
  size_t Pick(size_t below) { return random_() % below; }
  const std::string& RandomId() { return kIds[Pick(kIds.size())]; }

  // Out of memory, the change fails at each of its allocations before it succeeds; what has
  // failed must have changed nothing.
  void Apply(const std::function<void()>& change);

  static tagDirectoryItemData Link(std::string_view name) { return {.name = name}; }
  static tagFileItemData File(std::string_view name) {
    return {.fileName = name, .fileFormat = ModelCache::kFormat};
  }
  // The text of up to three entries, one behind the other.
  std::string Some(
      const std::function<std::string(const std::string& id, const std::string& name)>& entry);

  std::mt19937 random_;
  bool memoryIsShort_;
  std::ostringstream log_;
  KELOAccessCacheManager cache_;
  ModelCache model_;
  int number_ = 0;
};

void Pair::Apply(const std::function<void()>& change) {
  for (unsigned n = 1; memoryIsShort_ && !::testing::Test::HasFailure(); ++n) {
    if (!FailsAt({CallKind::Allocation, n}, change)) return;
    log_ << "  failed at allocation " << n << "\n";
    Compare();
  }
  if (!memoryIsShort_) change();
}

void Pair::Change() {
  const std::string& parent = RandomId();
  const std::string& id = RandomId();
  const std::string name = "a name too long for its record " + std::to_string(++number_);
  // What empties the whole is rare.
  const size_t operation = Pick(20) == 0 ? 32 + Pick(5) : Pick(32);
  log_ << operation << " (" << parent << ", " << id << ", " << name << ")\n";
  if (operation < 8) {
    Apply([&] { cache_.AddFileItem(parent, id, File(name)); });
    model_.AddFile(parent, id, name);
  } else if (operation < 11) {
    Apply([&] { cache_.AddFileItemToRootAlbum(id, File(name)); });
    model_.AddRootAlbumFile(id, name);
  } else if (operation < 14) {
    Apply([&] { cache_.AddFileItemToFriendAlbum(parent, id, File(name)); });
    model_.AddFriendFile(parent, id, name);
  } else if (operation < 17) {
    Apply([&] { cache_.AddFolder(parent, id, Link(name)); });
    model_.AddDirectory(parent, id, name, 1);
  } else if (operation < 23) {
    const bool shared = operation % 2 == 0;
    Apply([&] { cache_.AddAlbum(parent, id, Link(name), shared); });
    model_.AddDirectory(parent, id, name, shared ? 258 : 2);
  } else if (operation < 26) {
    Apply([&] { cache_.AddFriendAlbum(id, Link(name)); });
    model_.AddFriendAlbum(id, name);
  } else if (operation < 29) {
    Apply([&] { cache_.UpdateFileItem(id, File(name)); });
    model_.UpdateFile(id, name);
  } else if (operation < 32) {
    tagKELO_ItemInfo record;  // which is kept
    Apply([&] { cache_.GetItemInfo(id, record); });
  } else if (operation < 34) {
    Apply([&] { cache_.SetupRootFolder(); });  // twice as often as it is cleared
    model_.SetupRootFolder();
  } else if (operation == 34) {
    Apply([&] { cache_.ClearAllFolder(); });
    model_.ClearAllFolder();
  } else if (operation == 35) {
    cache_.RemoveFriendAlbums();
    model_.RemoveFriendAlbums();
  } else {
    Load();
  }
}

std::string Pair::Some(
    const std::function<std::string(const std::string&, const std::string&)>& entry) {
  std::string all;
  for (size_t n = Pick(4); n > 0; --n) all += entry(RandomId(), std::to_string(++number_));
  return all;
}

// An account as the service tells it. What stands in something without an id is left out.
void Pair::Load() {
  ModelCache loaded;
  loaded.ClearAllFolder();
  loaded.SetupRootFolder();
  const auto tag = [](const char* kind, const std::string& id, const std::string& name) {
    const std::string which(kind);
    return "<" + which + " " + which + "Id=\"" + id + "\" " + (which == "item" ? "file" : which) +
           "Name=\"" + name + "\"";
  };
  const auto items = [&](const auto& add) {
    return "<items>" + Some([&](const std::string& id, const std::string& name) {
             add(id, name);
             return tag("item", id, name) + "/>";
           }) +
           "</items>";
  };
  const auto albums = [&](const std::string& parent, bool isRead) {
    return "<albums>" + Some([&](const std::string& id, const std::string& name) {
             if (isRead) loaded.AddDirectory(parent, id, name, 258);
             return tag("album", id, name) + " shareFlag=\"true\">" +
                    items([&](const std::string& item, const std::string& itsName) {
                      if (isRead && !id.empty()) loaded.AddFile(id, item, itsName);
                    }) +
                    "</album>";
           }) +
           "</albums>";
  };
  std::string answer = "<rootAlbum>" + items([&](const std::string& id, const std::string& name) {
                         loaded.AddRootAlbumFile(id, name);
                       }) +
                       "</rootAlbum><folders>";
  answer += Some([&](const std::string& id, const std::string& name) {
    loaded.AddDirectory("", id, name, 1);
    return tag("folder", id, name) + ">" + albums(id, !id.empty()) + "</folder>";
  });
  answer += "</folders>" + albums("", true);
  log_ << answer << "\n";
  HierarchyLoader loader(cache_);
  Apply([&] { EXPECT_EQ(loader.RefreshHierarchyInfoByXMLData(answer), 0u); });
  model_ = loaded;
  const std::string friends =
      "<albums>" + Some([&](const std::string& id, const std::string& name) {
        loaded.AddFriendAlbum(id, name);
        return tag("album", id, name) + ">" +
               items([&](const std::string& item, const std::string& itsName) {
                 if (!id.empty()) loaded.AddFriendFile(id, item, itsName);
               }) +
               "</album>";
      }) +
      "</albums>";
  log_ << friends << "\n";
  Apply([&] { EXPECT_EQ(loader.RefreshFriendAlbumInfoByXMLData(friends), 0u); });
  model_ = loaded;
}

Texts Cut(Texts ids) {
  for (std::string& id : ids) id.resize(std::min<size_t>(id.size(), kIdLength));
  return ids;
}

bool operator==(const Records& a, const Records& b) {
  return a.size() == b.size() &&
         (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof a[0]) == 0);
}

void Pair::Compare() {
  const std::string& target = RandomId();
  const auto mask = static_cast<uint32_t>(Pick(0x160));
  const auto record = RecordOf(cache_, target);
  ASSERT_TRUE(Records{record} == Records{model_.Record(target)}) << "record of " << target;
  // Friend albums' items are counted and listed as records, but have no id list, deliberately.
  const bool hasIdList =
      model_.RecordsOnTarget(target, mask).size() == model_.IdsOnTarget(target, mask).size();
  RecordsOnTarget(cache_, target, mask);  // as the model's list did: it keeps records
  if (hasIdList) {
    ASSERT_EQ(IdsOnTarget(cache_, target, mask), Cut(model_.IdsOnTarget(target, mask)))
        << target << " " << mask;
  }
  ASSERT_EQ(IdsOnServer(cache_, mask), Cut(model_.IdsOnServer(mask))) << mask;
  ASSERT_TRUE(RecordsOnTarget(cache_, target, mask) == model_.RecordsOnTarget(target, mask))
      << target << " " << mask;
  ASSERT_TRUE(RecordsOnServer(cache_, mask) == model_.RecordsOnServer(mask)) << mask;
}

void CompareAfterEachChange(uint32_t recordsKept, unsigned seed, int steps, bool memoryIsShort) {
  Pair pair(recordsKept, seed, memoryIsShort);
  for (int step = 0; step < steps; ++step) {
    pair.Change();
    pair.Compare();
    if (::testing::Test::HasFailure())
      FAIL() << recordsKept << " records kept, seed " << seed << ", after\n" << pair.Log();
  }
}

TEST(CacheModel, AnswersLikeThePlainRules) {
  for (const uint32_t recordsKept : {0u, 1u, 4u, 1000u})
    for (unsigned seed = 0; seed < 12; ++seed)
      CompareAfterEachChange(recordsKept, seed, 150, false);
}

TEST(CacheModel, AChangeForWhichMemoryIsShortChangesNothing) {
  for (const uint32_t recordsKept : {0u, 2u, 1000u})
    for (unsigned seed = 0; seed < 12; ++seed) CompareAfterEachChange(recordsKept, seed, 150, true);
}

}  // namespace
}  // namespace kelo::testing
