// The mutex keeps threads apart, and its scoped lock lets go.
#include "platform/KELOCriticalSection.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace kelo {
namespace {

TEST(KELOCriticalSection, KeepsThreadsApart) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 20000;
  KELOCriticalSection section;
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        const KELOAutoLock lock(section);
        ++count;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, kThreads * kRounds);
  EXPECT_EQ(section.Enter(), 0) << "every scope let go";
  EXPECT_EQ(section.Leave(), 0);
}

}  // namespace
}  // namespace kelo
