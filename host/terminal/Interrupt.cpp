// The signal thread.
#include "host/terminal/Interrupt.h"

#include <pthread.h>
#include <unistd.h>

#include <ctime>

namespace kelo::host {
namespace {

std::atomic<int> arrived = 0;

// The signals that end a command, and the one that wakes the thread when the program is done.
constexpr int kWakeUp = SIGUSR1;

// What the program gets to end by itself once no command runs any more; longer where it has heard
// of the abort, and so may be removing what it leaves nobody.
constexpr timespec kGrace{.tv_sec = 0, .tv_nsec = 50'000'000};
constexpr timespec kLongGrace{.tv_sec = 2, .tv_nsec = 0};

// Whoever ignores a signal wants the programs that he starts to go on: nohup does, and a script for
// what it starts in the background.
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
  EndUnlessDone();
}

void Interrupt::EndUnlessDone() {
  sigset_t wakeUp;
  sigemptyset(&wakeUp);
  sigaddset(&wakeUp, kWakeUp);
  if (sigtimedwait(&wakeUp, nullptr, &kGrace) == kWakeUp) return;
  if (library_.HasToldOfStop() && sigtimedwait(&wakeUp, nullptr, &kLongGrace) == kWakeUp) return;
  if (terminal_) tcsetattr(STDIN_FILENO, TCSANOW, &*terminal_);
  library_.Out().SayAborted();
  // Nothing is destroyed: the main thread may be anywhere.
  ::_exit(ExitCode());
}

}  // namespace kelo::host
