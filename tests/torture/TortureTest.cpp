// Every command while one allocation or one system call fails: it ends with a documented result,
// and afterwards all is well.
//
// KELO_TORTURE: how many points of each command and kind are tried ("all": every one). The sample
// is drawn with a seed that is printed; KELO_TORTURE_SEED repeats it.

#include <signal.h>
#include <sys/mman.h>

#include <numeric>
#include <random>

#include "http/KELOHTTPController.h"
#include "platform/KELOUtility.h"
#include "support/Child.h"
#include "torture/TortureTest.h"

namespace kelo::testing {
namespace {

unsigned Seed() {
  static const unsigned seed = [] {
    const char* given = getenv("KELO_TORTURE_SEED");
    const unsigned value =
        given != nullptr ? static_cast<unsigned>(std::stoul(given)) : std::random_device()();
    std::cout << "KELO_TORTURE_SEED=" << value << "\n";
    return value;
  }();
  return seed;
}

// How many points of each command and kind are tried.
size_t PointsWanted() {
  const char* wanted = getenv("KELO_TORTURE");
  if (wanted == nullptr) return 12;
  return std::string_view(wanted) == "all" ? SIZE_MAX : std::stoul(wanted);
}

// Which of the points 1 to `count` are tried, in order.
std::vector<unsigned> SamplePoints(unsigned count) {
  std::vector<unsigned> all(count);
  std::iota(all.begin(), all.end(), 1u);
  std::vector<unsigned> sample;
  std::ranges::sample(all, std::back_inserter(sample),
                      static_cast<ptrdiff_t>(std::min<size_t>(PointsWanted(), count)),
                      std::mt19937(Seed() + count));
  return sample;
}

bool IsDocumented(uint32_t result) {
  static const std::set<uint32_t> kResults = {0,    3,    4098, 4099, 4101, 4102, 4103, 4104, 4112,
                                              4113, 4114, 4115, 4116, 4117, 4128, 4129, 4144};
  return kResults.contains(result);
}

int FailuresSoFar() {
  const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
  return test->result()->total_part_count();
}

}  // namespace

// A controller of its own for what starts one, an empty catalogue for what fills it.
void TortureTest::Prepare(Effect effect) {
  if (effect == Effect::Starts) {
    // The call identifiers of the former controller may be ahead of the clock.
    const uint64_t last = std::stoull(QueryValue(service().Arrived().back().query, "callId"));
    EXPECT_TRUE(Await([&] {
      return GetTimeIntervalSinceReferenceDate() * 1000 > static_cast<double>(last + 1);
    }));
    KELOAccessClose();
    KELOAccessInitialize(0);
  } else if (effect == Effect::Loads) {
    EXPECT_EQ(SendSession(), 0u);
  }
}

void TortureTest::TryPoints(const Trial& trial, CallKind kind) {
  FaultReport report;
  for (int i = 0; i < 2; ++i) {  // the first time may find less prepared
    Prepare(trial.effect);
    SetFault({kind, 0, 0});
    EXPECT_EQ(trial.send(*this), 0u);
    report = TakeFault();
    ExpectAllWell(Effect::Starts, {});
  }
  // Whatever the sample: an interruption of each kind of call that knows it.
  std::set<std::string_view> interrupted;
  for (unsigned n = 1; n < report.interruptible.size(); ++n) {
    const char* const call = report.interruptible[n];
    if (call != nullptr && interrupted.insert(call).second) TryPoint(trial, {kind, n, 0});
  }
  for (const unsigned n : SamplePoints(report.calls)) {
    const unsigned variants = kind == CallKind::SystemCall && PointsWanted() == SIZE_MAX ? 4 : 1;
    for (unsigned i = 0; i < variants; ++i) TryPoint(trial, {kind, n, Seed() % 4 + i + n});
  }
}

void TortureTest::TryPoint(const Trial& trial, const FaultPoint& fault) {
  Prepare(trial.effect);
  const Catalogue before = trial.effect == Effect::Starts ? Catalogue() : ReadCatalogue();
  const auto files = OpenFiles(false);
  const int failures = FailuresSoFar();
  service().ClearArrived();
  point_ = std::string(trial.name) +
           (fault.kind == CallKind::Allocation ? ": allocation " : ": system call ") +
           std::to_string(fault.n);
  alarm(20);
  SetFault(fault);
  const uint32_t result = trial.send(*this);
  const FaultReport report = TakeFault();
  if (report.Failed())
    point_ += std::string(" (") + report.call + ", " + strerrorname_np(report.error) + ")";
  {
    SCOPED_TRACE(point_ + ": " + std::to_string(result));
    EXPECT_TRUE(IsDocumented(result));
    EXPECT_TRUE(result == 0 || report.error != EINTR) << "an interrupted call is no failure";
    EXPECT_LE(Requests("UploadItems").size(), 1u) << "sent twice";
    ExpectAllWell(trial.effect, before);
    if (trial.effect != Effect::Starts)
      EXPECT_TRUE(Await([&] { return OpenFiles(false) == files; })) << "a descriptor is left";
  }
  alarm(0);
  if (FailuresSoFar() != failures) {
    std::cerr << "-- " << point_ << ", result " << result << "\n";
    PrintCallers();
  }
}

// The catalogue is that of before the command, or that of after it, and everything works.
void TortureTest::ExpectAllWell(Effect effect, const Catalogue& before) {
  const Catalogue now = effect == Effect::Starts ? Catalogue() : ReadCatalogue();
  EXPECT_EQ(SendSession(), 0u);
  const Catalogue empty = ReadCatalogue();
  EXPECT_EQ(Load(), 0u);
  const Catalogue loaded = ReadCatalogue();
  const auto includes = [](Catalogue all, Catalogue part) {
    std::ranges::sort(all);
    std::ranges::sort(part);
    return std::ranges::includes(all, part);
  };
  if (effect == Effect::None)
    EXPECT_EQ(now, before);
  else if (effect == Effect::Adds)
    EXPECT_TRUE(includes(now, before) && includes(loaded, now));
  else if (effect != Effect::Starts)
    EXPECT_TRUE(now == before || now == (effect == Effect::Loads ? loaded : empty));
  pictures_ = PicturesInCatalogue();  // whether an upload was stored is the service's to say
  ExpectRecovered(Url(), effect == Effect::Adds ? 1 : 0);
}

namespace {

class DuringCommand : public TortureTest, public ::testing::WithParamInterface<Trial> {};

TEST_P(DuringCommand, AnAllocationFails) {
  TryPoints(GetParam(), CallKind::Allocation);
}

TEST_P(DuringCommand, ASystemCallFails) {
  TryPoints(GetParam(), CallKind::SystemCall);
}

INSTANTIATE_TEST_SUITE_P(, DuringCommand, ::testing::ValuesIn(TortureTest::AllTrials()),
                         [](const auto& trial) { return std::string(trial.param.name); });

TEST_F(TortureTest, TheServerUrlsHaveTheirPlace) {
  const std::string named = getenv("KELO_URLS_FILE");
  unsetenv("KELO_URLS_FILE");
  std::string url;
  KELOHTTPController().GetURLofKELOServer(url);
  EXPECT_EQ(LastOpened(), "/Library/Application Support/Talvo/Quillet/KELOURLS");
  setenv("KELO_URLS_FILE", named.c_str(), 1);
}

// A process's first command also makes what the process keeps. Each point has a process of its own.
class FirstCommand : public TortureTest {
 protected:
  void SetUp() override {}  // nothing is sent before

  // A process for each point, and one that makes these: in this one the service, which answers
  // them all, soon has prepared the libraries.
  void TryPoints(CallKind kind) {
    Seed();  // the same in all of them
    InProcess([&] {
      InProcess([&] { TryPoint({kind, 0, 0}); });
      EXPECT_GT(*calls_, 10u);
      for (const unsigned n : SamplePoints(*calls_))
        InProcess([&] { TryPoint({kind, n, Seed() + n}); });
    });
  }

 private:
  static void InProcess(const std::function<void()>& work) {
    EXPECT_EQ(InChild([&] {
                const int failures = FailuresSoFar();
                work();
                return FailuresSoFar() == failures ? 0 : 1;
              }),
              0);
  }
  void TryPoint(const FaultPoint& fault) {
    const int failures = FailuresSoFar();
    alarm(60);
    SetFault(fault);
    const uint32_t result = Open();
    const FaultReport report = TakeFault();
    *calls_ = report.calls;
    SCOPED_TRACE(std::string(report.Failed() ? report.call : "nothing") + " failed, point " +
                 std::to_string(fault.n) + ", result " + std::to_string(result));
    EXPECT_TRUE(IsDocumented(result));
    EXPECT_TRUE(result == 0 || report.error != EINTR) << "an interrupted call is no failure";
    EXPECT_EQ(Open(), 0u);
    EXPECT_EQ(Capacity(), 0u);
    EXPECT_EQ(Upload("", picture_), 0u);
    EXPECT_EQ(Load(), 0u);
    picturePath_ = FieldText(ItemInfo(picture_).origUrl).substr(Url().size());
    EXPECT_EQ(SendDownload(), 0u);
    if (FailuresSoFar() != failures) PrintCallers();
  }

  unsigned* const calls_ = static_cast<unsigned*>(
      mmap(nullptr, sizeof(unsigned), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
};

// The address sanitizer's allocator is no good after a fork at which another thread, here one of
// the service, held its lock.
#ifndef __SANITIZE_ADDRESS__
TEST_F(FirstCommand, AnAllocationFails) {
  TryPoints(CallKind::Allocation);
}

TEST_F(FirstCommand, ASystemCallFails) {
  TryPoints(CallKind::SystemCall);
}
#endif

}  // namespace
}  // namespace kelo::testing
