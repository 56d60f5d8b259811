// The signal thread.
#include "Interrupt.h"

#include <pthread.h>

namespace kelo::host {
namespace {

std::atomic<int> arrived = 0;

// The signals that end a command, and the one that wakes the thread when the program is done.
constexpr int kWakeUp = SIGUSR1;

sigset_t Signals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, kWakeUp}) sigaddset(&set, signal);
  return set;
}

}  // namespace

void Interrupt::BlockSignals() {
  const sigset_t set = Signals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

int Interrupt::Signal() {
  return arrived;
}

Interrupt::Interrupt(Library& library) : library_(library), thread_([this] { Wait(); }) {}

Interrupt::~Interrupt() {
  ending_ = true;
  pthread_kill(thread_.native_handle(), kWakeUp);
  thread_.join();
}

void Interrupt::Wait() {
  const sigset_t set = Signals();
  int signal = 0;
  if (sigwait(&set, &signal) != 0 || ending_ || signal == kWakeUp) return;
  arrived = signal;
  // From here on a second signal ends the program where it stands.
  sigset_t deadly = set;
  sigdelset(&deadly, kWakeUp);
  pthread_sigmask(SIG_UNBLOCK, &deadly, nullptr);
  library_.Stop();
}

}  // namespace kelo::host
