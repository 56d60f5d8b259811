// Asks on standard error, and reads the answer from standard input.
#include "host/terminal/Prompt.h"

#include <fmt/format.h>
#include <termios.h>
#include <unistd.h>

#include <optional>

#include "host/names/Failure.h"

namespace kelo::host {
namespace {

// The terminal does not show what is typed, as long as this lives. Keys that would stop or kill
// the program meanwhile, and leave the terminal like this, do nothing.
class Unseen {
 public:
  Unseen() {
    const bool known = ::tcgetattr(STDIN_FILENO, &before_) == 0;
    termios unseen = before_;
    unseen.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    unseen.c_lflag |= ECHONL;
    unseen.c_cc[VSUSP] = unseen.c_cc[VQUIT] = _POSIX_VDISABLE;
    if (!known || ::tcsetattr(STDIN_FILENO, TCSADRAIN, &unseen) != 0)
      throw Failure("the terminal cannot hide what is typed; give the secret in KELO_SECRET");
  }
  ~Unseen() { ::tcsetattr(STDIN_FILENO, TCSADRAIN, &before_); }
  Unseen(const Unseen&) = delete;
  Unseen& operator=(const Unseen&) = delete;

 private:
  termios before_{};
};

// A terminal hands out one line at a time.
std::string ReadLine() {
  char line[4096];
  const auto size = ::read(STDIN_FILENO, line, sizeof line);
  if (size <= 0) {
    fmt::print(stderr, "\n");
    throw Failure("the input ended before an answer was typed");
  }
  std::string text(line, static_cast<size_t>(size));
  text.resize(text.find_last_not_of("\r\n") + 1);
  return text;
}

}  // namespace

bool CanAsk() {
  return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1;
}

std::string Ask(std::string_view question, bool secret) {
  std::optional<Unseen> unseen;
  if (secret) unseen.emplace();
  fmt::print(stderr, "{}: ", question);
  return ReadLine();
}

}  // namespace kelo::host
