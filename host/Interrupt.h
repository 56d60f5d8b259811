// Ctrl-C (and a polite request to end): a thread of its own waits for the signals and stops the
// library, so that a running command ends as aborted and leaves no partial file. A second signal
// ends the program at once, whatever hangs.
#pragma once

#include <atomic>
#include <csignal>
#include <thread>

#include "Library.h"

namespace kelo::host {

class Interrupt {
 public:
  // Blocks the signals in the calling thread and so in every thread that it starts later. To be
  // called first thing in main().
  static void BlockSignals();

  explicit Interrupt(Library& library);
  ~Interrupt();
  Interrupt(const Interrupt&) = delete;
  Interrupt& operator=(const Interrupt&) = delete;

  // The signal that arrived, 0 for none.
  static int Signal();

 private:
  void Wait();

  Library& library_;
  std::atomic<bool> ending_ = false;
  std::thread thread_;
};

}  // namespace kelo::host
