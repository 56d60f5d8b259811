// Storing 20,000 small pictures, and finding all of them stored: the whole program beside bare
// libcurl that sends the same requests, put together beforehand, to a service of its own. Beside
// that, the time that any client takes for the pictures themselves, with the usual libraries: it
// looks for them, asks each for its date, and reads what it sends.
#include <exiv2/exiv2.hpp>

#include "host/Kelo.h"
#include "host/Replay.h"

namespace kelo::bench {
namespace {

const unsigned kFiles = Sized(20000u, 50u);
constexpr unsigned kSizes = 4999;  // so many bytes at most follow a picture, to make sizes differ

// What the requests are made from. Gives the bytes that it has seen.
std::uint64_t ReadPictures(const std::string& folder, bool whole) {
  std::uint64_t seen = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    seen += entry.file_size();
    benchmark::DoNotOptimize(entry.last_write_time());
    const auto picture = Exiv2::ImageFactory::open(entry.path().string());
    picture->readMetadata();
    benchmark::DoNotOptimize(picture->exifData()["Exif.Photo.DateTimeOriginal"].count());
    if (!whole) continue;
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    benchmark::DoNotOptimize(bytes.data());
  }
  return seen;
}

// One put by both, each to its service. Seconds; negative when it failed.
struct Times {
  double ours = -1;
  double bare = -1;
  double pictures = -1;
};

class Pair {
 public:
  Pair() : kelo_(ours_), replay_(bare_) {}

  Times Put(const std::string& folder, bool sends) {
    ours_.ClearArrived();
    Times times;
    bool ok = true;
    times.ours = Seconds(kWallTime, [&] { ok = kelo_.Run({"put", folder}) >= 0; });
    replay_.Prepare(ours_.Arrived());
    times.bare = Seconds(
        kWallTime, [&] { ok = replay_.Send() && ok; });
    times.pictures = Seconds(kWallTime, [&] { ok = ReadPictures(folder, sends) > 0 && ok; });
    return ok ? times : Times{};
  }

 private:
  devservice::Service ours_;
  devservice::Service bare_;
  Kelo kelo_;
  Replay replay_;
};

void Put20000Files(benchmark::State& state) {
  const bool second = state.range(0) == 1;
  KeepInMemory();
  const Scratch folder;
  const auto size = std::filesystem::file_size(KELO_SAMPLE);
  for (unsigned i = 0; i < kFiles; ++i)
    MakePicture(folder / (std::to_string(i) + ".jpg"), size + i * 7919 % kSizes);
  std::vector<double> ours;
  std::vector<double> bare;
  std::vector<double> pictures;
  for (auto _ : state) {
    Pair pair;
    Times times = pair.Put(folder / "", true);
    if (second && times.ours >= 0) times = pair.Put(folder / "", false);
    if (times.ours < 0) return state.SkipWithError("a put failed");
    ours.push_back(times.ours);
    bare.push_back(times.bare);
    pictures.push_back(times.pictures);
    state.SetIterationTime(times.ours);
  }
  TellRatio(state, ours, bare, 1.3);
  state.counters["pictures_ms"] = MiddleOf(pictures) * 1000;
  TellBounded(state, "ratio_with_pictures", MiddleOf(ours) / (MiddleOf(bare) + MiddleOf(pictures)),
              1.3);
}
BENCHMARK(Put20000Files)
    ->ArgName("second")
    ->Arg(0)
    ->Arg(1)
    ->UseManualTime()
    ->Iterations(Sized(3, 1))
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
