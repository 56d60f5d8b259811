// Waits for signals on a thread of its own, stops the library, and ends the program if need be.
#include "host/library/Interrupt.h"

#include <pthread.h>
#include <unistd.h>

#include <atomic>

namespace kelo::host {
namespace {

std::atomic<int> arrived = 0;
std::atomic<int> toTidy = 0;

// Wakes the thread when the program is done. The same signal from another program does nothing.
constexpr int kWakeUp = SIGUSR1;

// How long the program may take to end by itself once no command runs any more: the longer time
// where the main thread knows of the abort, or has something to do at the end.
constexpr auto kGrace = std::chrono::milliseconds(50);
constexpr auto kLongGrace = std::chrono::seconds(2);

// A signal that the caller ignores stays ignored, as under nohup and in background jobs of scripts.
bool IsIgnored(int signal) {
  struct sigaction action {};
  return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t Signals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, kWakeUp);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    if (!IsIgnored(signal)) sigaddset(&set, signal);
  return set;
}

}  // namespace

MustTidy::MustTidy() {
  ++toTidy;
}

MustTidy::~MustTidy() {
  --toTidy;
}

void Interrupt::BlockSignals() {
  const sigset_t set = Signals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

int Interrupt::Signal() {
  return arrived;
}

Interrupt::Interrupt(Library& library) : library_(library) {
  termios before{};
  if (tcgetattr(STDIN_FILENO, &before) == 0) terminal_ = before;
  thread_ = std::thread([this] { Wait(); });
}

Interrupt::~Interrupt() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  ended_.notify_all();
  pthread_kill(thread_.native_handle(), kWakeUp);
  thread_.join();
}

void Interrupt::Wait() {
  const sigset_t set = Signals();
  int signal = kWakeUp;
  while (signal == kWakeUp) {
    if (sigwait(&set, &signal) != 0) continue;
    if (EndsWithin({})) return;
  }
  arrived = signal;
  // From here on a second signal ends the program where it stands.
  sigset_t deadly = set;
  sigdelset(&deadly, kWakeUp);
  pthread_sigmask(SIG_UNBLOCK, &deadly, nullptr);
  library_.Stop();
  EndUnlessDone();
}

bool Interrupt::EndsWithin(std::chrono::milliseconds time) {
  std::unique_lock lock(mutex_);
  return ended_.wait_for(lock, time, [this] { return ending_; });
}

void Interrupt::EndUnlessDone() {
  if (EndsWithin(kGrace) || ((library_.HasToldOfStop() || toTidy > 0) && EndsWithin(kLongGrace)))
    return;
  if (terminal_) tcsetattr(STDIN_FILENO, TCSANOW, &*terminal_);
  library_.Out().SayAborted();
  // Nothing is destroyed: the main thread may be anywhere.
  ::_exit(ExitCode());
}

}  // namespace kelo::host
