// Ctrl-C (and a polite request to end): a thread of its own waits for the signals and stops the
// library, so that a running command ends as aborted and leaves no partial file. A program that
// does not end soon after that, since it reads a folder or waits for a person, is ended here; a
// second signal ends it at once, whatever hangs.
#pragma once

#include <termios.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <optional>
#include <thread>

#include "host/library/Library.h"
#include "host/names/ExitCode.h"

namespace kelo::host {

// While one lives, something remains to be done at the end, such as removing temporary files: after
// Ctrl-C the program gets 2 s for that.
// Any thread.
class MustTidy {
 public:
  MustTidy();
  ~MustTidy();
  MustTidy(const MustTidy&) = delete;
  MustTidy& operator=(const MustTidy&) = delete;
};

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
  // The program's exit code after it.
  static int ExitCode() { return kExitSignal + Signal(); }

 private:
  void Wait();
  // Waits for the end of this object.
  bool EndsWithin(std::chrono::milliseconds time);
  // Ends the process if the program does not end by itself in time.
  void EndUnlessDone();

  Library& library_;
  std::mutex mutex_;
  std::condition_variable ended_;
  bool ending_ = false;              // guarded by the mutex
  std::optional<termios> terminal_;  // as it was before somebody turned its echo off
  std::thread thread_;
};

}  // namespace kelo::host
