// What the library's trace tells about the requests of a command: what a result code alone leaves
// open, such as whether anything was sent at all. Only its named fields are read, never its texts.
// The trace goes through a pipe to a thread of this program, and from there to whoever wants to
// read it: standard error, or the file that KELO_TRACE named.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "host/terminal/Output.h"

namespace kelo::host {

struct TraceLine {
  std::uint32_t result = 0;   // as commands answer it
  std::uint64_t sent = 0;     // bytes
  std::uint32_t status = 0;   // of HTTP
  std::uint32_t errcode = 0;  // of the service
  std::string cause{};        // why it failed
  bool isProxied = false;     // it was to go through a proxy
};

// The fields of a line of the trace; those that are missing or unreadable stay as they are above.
TraceLine ReadTraceLine(std::string_view line);

class Requests {
 public:
  // To be made before the program has other threads, since it sets KELO_TRACE. `verbose` shows the
  // trace on standard error.
  Requests(Output& out, bool verbose);
  ~Requests();
  Requests(const Requests&) = delete;
  Requests& operator=(const Requests&) = delete;

  // The requests that have ended since the last call.
  std::vector<TraceLine> Take();

  // Whether any request was heard of so far. Not so in a program with more rights than its caller,
  // for which the library writes no trace.
  bool HasHeard() const { return heard_; }
  bool IsShown() const { return verbose_ || !file_.empty(); }

 private:
  void Watch();
  void Drain();  // the lock is held
  void Pass(std::string_view line) const;

  Output& out_;
  bool verbose_;
  std::string file_;  // where else the lines go; empty: nowhere
  int readEnd_ = -1;
  int writeEnd_ = -1;
  std::mutex mutex_;
  std::string unfinished_;
  std::vector<TraceLine> ended_;
  std::atomic<bool> heard_ = false;
  std::thread watcher_;
};

}  // namespace kelo::host
