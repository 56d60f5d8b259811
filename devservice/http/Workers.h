// Threads for what is being served.
#pragma once

#include <functional>
#include <list>
#include <mutex>
#include <thread>
#include <vector>

namespace kelo::devservice {

// A thread for every connection that is being served, so that silent answers never keep others
// waiting. Thread-safe.
class Workers {
 public:
  ~Workers() { Join(); }

  void Start(std::function<void()> work);
  void Join();  // no Start may follow

 private:
  void JoinFinished();

  std::mutex mutex_;
  std::list<std::thread> threads_;
  std::vector<std::list<std::thread>::iterator> finished_;
};

}  // namespace kelo::devservice
