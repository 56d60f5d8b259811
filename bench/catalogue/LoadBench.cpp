// Rebuilding the cache from a large answer, beside a general XML parser that fills the same records
// of the same cache from its tree.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "catalogue/HierarchyLoader.h"
#include "catalogue/KELOAccessCacheManager.h"
#include "catalogue/SampleAccount.h"
#include "catalogue/Timing.h"
#include "protocol/KELOAccessFileInfoConverter.h"

namespace kelo::bench {
namespace {

constexpr uint32_t kEverything = kKELOKind_Folder | kKELOKind_Album | kKELOKind_FileItem;

class TreeLoader {
 public:
  explicit TreeLoader(KELOAccessCacheManager& cache) : cache_(cache) {}

  void Load(const std::string& text) {
    cache_.ClearAllFolder();
    cache_.SetupRootFolder();
    document_.load_buffer(text.data(), text.size());
    const pugi::xml_node root = document_.child("response");
    for (const pugi::xml_node folder : root.child("folders").children("folder")) {
      const char* id = folder.attribute("folderId").value();
      cache_.AddFolder({}, id,
                       {.name = folder.attribute("folderName").value(),
                        .modifyDate = folder.attribute("modifyDate").value()});
      for (const auto album : folder.child("albums").children("album")) AddAlbum(id, album);
    }
    for (const auto album : root.child("albums").children("album")) AddAlbum("", album);
  }

 private:
  void AddAlbum(const char* parent, pugi::xml_node album) {
    const char* id = album.attribute("albumId").value();
    cache_.AddAlbum(parent, id,
                    {.name = album.attribute("albumName").value(),
                     .modifyDate = album.attribute("modifyDate").value()},
                    album.attribute("shareFlag").as_bool());
    for (const pugi::xml_node item : album.child("items").children("item")) {
      tagFileItemData data;
      data.fileName = item.attribute("fileName").value();
      data.modifyDate = item.attribute("modifyDate").value();
      data.shotDate = item.attribute("shotDate").value();
      data.uploadDate = item.attribute("uploadDate").value();
      data.screenUrl = item.attribute("screenUrl").value();
      data.origUrl = item.attribute("origUrl").value();
      data.fileFormat = converter_.ConvertFileFormatFromKELO(item.attribute("fileFormat").value());
      cache_.AddFileItem(id, item.attribute("itemId").value(), std::move(data));
    }
  }

  KELOAccessCacheManager& cache_;
  KELOAccessFileInfoConverter converter_;
  pugi::xml_document document_;
};

// Seconds to load the text into a cache that is new, as the first load of a session does.
template <typename Loader, typename Load>
double Time(Load load) {
  KELOAccessCacheManager cache;
  Loader loader(cache);
  const double taken = Seconds([&] { load(loader); });
  if (cache.GetAllItemsCountOnServer(kEverything) != 101050) std::abort();
  return taken;
}

// The two take turns, so that both see the same machine.
void Load100000Items(benchmark::State& state) {
  const std::string answer = SampleHierarchyAnswer({});
  std::vector<double> ours;
  std::vector<double> tree;
  for (auto _ : state) {
    tree.push_back(Time<TreeLoader>([&](TreeLoader& loader) { loader.Load(answer); }));
    ours.push_back(Time<HierarchyLoader>(
        [&](HierarchyLoader& loader) { loader.RefreshHierarchyInfoByXMLData(answer); }));
    state.SetIterationTime(ours.back());
  }
  state.counters["answer_MiB"] = static_cast<double>(answer.size()) / (1 << 20);
  state.counters["yardstick_ms"] = Median(tree) * 1000;
  state.counters["ours_ms"] = Median(ours) * 1000;
  state.counters["ratio"] = Median(ours) / Median(tree);
  state.counters["bound"] = 1.0;
}
BENCHMARK(Load100000Items)->UseManualTime()->Iterations(15)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
