// Shows a running transfer: a line that lives on a terminal, plain lines elsewhere, on standard
// error. The library's events tell how far it is; between them a thread of its own keeps the line
// alive, since an upload reports only its beginning and its end.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Library.h"

namespace kelo::host {

class Progress {
 public:
  // `names` are shown as the files come up; `beginning` until the first event: an upload reads its
  // files before it sends anything. Both fit for a terminal already. One object at a time: it
  // registers itself with the library and unregisters when it ends.
  Progress(Library& library, std::vector<std::string> names,
           std::string beginning = "asking the service");
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Also called for each event, after the line was updated. Set before the transfer begins.
  void SetListener(std::function<void(std::uint32_t event, const tagKELO_ProgressInfo&)> listener);

 private:
  static std::uint32_t OnEvent(std::uint32_t event, std::uint32_t kind,
                               const tagKELO_ProgressInfo* progress);
  void Take(std::uint32_t event, const tagKELO_ProgressInfo& progress);
  void PrintPlain();  // the lock is held
  void Tick();
  void Draw();  // the lock is held
  std::string Line() const;

  Library& library_;
  const std::vector<std::string> names_;
  const std::string beginning_;
  const bool terminal_;
  const std::chrono::steady_clock::time_point begin_;
  std::function<void(std::uint32_t, const tagKELO_ProgressInfo&)> listener_;

  std::mutex mutex_;
  std::condition_variable wake_;
  bool ending_ = false;
  std::uint32_t event_ = 0;  // 0: nothing reported yet
  std::uint32_t plainFile_ = UINT32_MAX;
  tagKELO_ProgressInfo state_{};
  std::thread ticker_;
};

}  // namespace kelo::host
