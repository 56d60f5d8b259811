// The limit of reading a file whole, and the clock.
#include "platform/KELOUtility.h"

#include <gtest/gtest.h>

#include <ctime>

#include "support/TemporaryFolder.h"

namespace kelo {
namespace {

TEST(KELOUtility, AFileTooLargeForItsLengthIsNotRead) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("huge", "");
  std::filesystem::resize_file(path, std::uint64_t{1} << 32);
  std::uint32_t size = 99;
  EXPECT_EQ(KELOUtility().ReadLocalTextFile(path, size), nullptr);
  EXPECT_EQ(size, 0u);
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
