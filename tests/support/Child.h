// Work in a process of its own, forked off from the test's.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <iostream>

namespace kelo::testing {

// Waits for the end of a child: its exit code, or less than 0 where a signal ended it.
inline int ExitCodeOf(pid_t child) {
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

// Runs `work` in a child, whose exit code it gives.
inline int InChild(const std::function<int()>& work) {
  std::cout.flush();
  const pid_t child = fork();
  if (child != 0) return ExitCodeOf(child);
  const int code = work();
  std::cout.flush();
  _exit(code);
}

}  // namespace kelo::testing
