// Threads for what is being served.
#pragma once

#include <deque>
#include <functional>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

namespace kelo::devservice {

// A thread for every connection that is being served, so that silent answers never keep others
// waiting. A connection for which there is no thread any more waits for one that ends. Thread-safe.
class Workers {
 public:
  ~Workers() { Join(); }

  void Start(std::function<void()> work);
  void Join();  // no Start may follow

 private:
  using Threads = std::list<std::thread>;
  void Run(Threads::iterator self);
  void JoinFinished();

  std::mutex mutex_;  // guards what follows
  std::deque<std::function<void()>> waiting_;
  Threads threads_;
  std::vector<Threads::iterator> finished_;
};

}  // namespace kelo::devservice
