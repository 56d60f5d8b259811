// Files that cannot be read whole, and the clock.
#include "platform/KELOUtility.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <ctime>

#include "support/TemporaryFolder.h"

namespace kelo {
namespace {

TEST(KELOUtility, NothingToRead) {
  const TemporaryFolder folder;
  ASSERT_EQ(::mkfifo(folder.Path("fifo").c_str(), 0600), 0);
  std::filesystem::resize_file(folder.Write("huge", ""), std::uint64_t{1} << 32);
  for (const std::string& path : {std::string(), folder.Path(""), folder.Path("missing"),
                                  folder.Path("fifo"), folder.Path("huge")}) {
    std::uint32_t size = 99;
    EXPECT_EQ(KELOUtility().ReadLocalTextFile(path, size), nullptr) << path;
    EXPECT_EQ(size, 0u) << path;
  }
}

TEST(KELOUtility, SecondsSinceTheReferenceDate) {
  constexpr double kReferenceDate = 978307200;  // 2001-01-01T00:00:00Z in Unix time
  const auto before = static_cast<double>(std::time(nullptr));
  const double now = GetTimeIntervalSinceReferenceDate() + kReferenceDate;
  const auto after = static_cast<double>(std::time(nullptr));
  EXPECT_GE(now, before);
  EXPECT_LT(now, after + 2);  // whole seconds, by a clock that may lag a tick behind
}

}  // namespace
}  // namespace kelo
