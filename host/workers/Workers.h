// Transfers several things at a time. The library runs one command at a time in a process, so each
// transfer that goes on beside others has a process of its own, a worker. Workers do what they are
// handed. This process looks, decides and tells, on one thread (a lane) for each worker.
//
// One lane at a time has the turn: it alone uses the library of this process and all that lanes
// share. While its worker works, it lets the others have the turn.
//
// A worker ends with its connection to this process, whatever ends that: nobody has to look for
// workers after an abort or a crash.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/library/Library.h"
#include "host/library/Moments.h"
#include "host/library/StateFile.h"
#include "host/workers/Messages.h"

namespace kelo::host {

// Does a task with the library, and gives what came of it. `file` is the descriptor that came with
// the task; -1: none. Works in a worker as well as in this process.
using Work =
    std::function<Message(Library&, const Message& task, int file, const OnProgress& progress)>;

// A process that forks workers. Made before this one has other threads, which a forked one lacks.
class Nursery {
 public:
  explicit Nursery(const Work& work);
  Nursery(const Nursery&) = delete;
  Nursery& operator=(const Nursery&) = delete;

  // The connection to a new worker; nothing when none could be made. Any thread.
  std::optional<Peer> Fork();

 private:
  const Moments moments_;  // of its workers
  std::mutex asking_;
  Peer peer_;
};

class Workers {
 public:
  struct Terms {
    unsigned most = 1;           // at a time
    Nursery* nursery = nullptr;  // none: one lane, which works in this process
    Persistence persistence{};
    // The session to work with. Called by a lane that has the turn, as is the next.
    std::function<Kept()> session{};
    // Opens another one in place of what the worker had, if nobody has done so yet. Throws where it
    // cannot.
    std::function<Kept(const Kept& ended)> reopened{};
  };
  class Lane;

  Workers(Library& library, Work work, Terms terms);
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  // Lanes at a time.
  unsigned Most() const { return terms_.nursery == nullptr ? 1 : terms_.most; }
  // Calls `run` with a lane, as often at a time as there are workers and pieces of work. What one
  // throws is thrown when all are over.
  void Run(size_t pieces, const std::function<void(Lane&)>& run);

 private:
  class Connection;
  // Ends all workers; a task is over when its worker has gone, and can no longer make anything.
  // From any thread.
  void Stop();
  std::shared_ptr<Connection> Hire(bool forks);

  Library& library_;
  const Work work_;
  const Terms terms_;
  std::mutex turn_;
  std::mutex hiring_;  // guards what is below
  bool stopped_ = false;
  std::vector<std::weak_ptr<Connection>> hired_;
};

// A thread that has the turn, but for the calls that say otherwise.
class Workers::Lane {
 public:
  // `forks`: its worker is another process.
  Lane(Workers& workers, bool forks) : workers_(workers), forks_(forks), turn_(workers.turn_) {}
  Lane(const Lane&) = delete;
  Lane& operator=(const Lane&) = delete;

  // Waits until a worker has done the task; others have the turn meanwhile. Nothing when the worker
  // died of it, or the run is stopped.
  std::optional<Message> Do(const Message& task, int file, const OnProgress& progress);
  // Does something that takes long, without the turn.
  template <typename Call>
  auto Aside(const Call& call) {
    const Away away(turn_);
    return call();
  }

 private:
  struct Away {
    explicit Away(std::unique_lock<std::mutex>& given) : turn(given) { turn.unlock(); }
    ~Away() { turn.lock(); }
    std::unique_lock<std::mutex>& turn;
  };
  Workers& workers_;
  const bool forks_;
  std::unique_lock<std::mutex> turn_;
  std::shared_ptr<Connection> worker_;  // none until the first task, and after its end
};

// Tells what lanes find out in the order of the pieces of work, whoever is faster.
template <typename Told>
class InOrder {
 public:
  InOrder(size_t pieces, std::function<void(const Told&)> tell)
      : tell_(std::move(tell)), waiting_(pieces) {}

  // What came of the piece of work at this position; once for each.
  void Tell(size_t at, Told told) {
    waiting_[at] = std::move(told);
    for (; front_ < waiting_.size() && waiting_[front_]; ++front_)
      tell_(*std::exchange(waiting_[front_], std::nullopt));
  }
  // No more will come: tells the others, without those before them.
  void TellRest() {
    for (const auto& told : std::exchange(waiting_, {}))
      if (told) tell_(*told);
  }

 private:
  const std::function<void(const Told&)> tell_;
  std::vector<std::optional<Told>> waiting_;
  size_t front_ = 0;
};

}  // namespace kelo::host
