// A program in a process of its own, as a person's shell would run it.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace kelo {

struct Outcome {
  int exitCode = -1;  // 128 + signal when a signal ended it
  std::string out;
  std::string err;
};

// Its output is read to the end by Wait; it is killed where nobody waited.
class Process {
 public:
  struct Place {
    std::optional<std::vector<std::string>> environment{};  // nothing: that of the test
    // A terminal of so many columns is its standard input, output and error, and typed control
    // characters become signals. All that it shows is Outcome::err, "\r\n" and all. 0: two pipes,
    // and nothing to read.
    int columns = 0;
    // A file for standard output, instead of its pipe; "": that and standard input are closed.
    const char* output = nullptr;
  };
  // The first of the words is the program's path.
  Process(const std::vector<std::string>& words, const Place& place);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // Read standard output or error until it holds `text` behind its first `from` bytes; false where
  // it ends first.
  bool ReadOutputUntil(const std::string& text) { return Read(out_, text, 0); }
  bool ReadErrorUntil(const std::string& text, size_t from = 0) { return Read(err_, text, from); }
  const std::string& OutputSoFar() const { return out_.text; }
  const std::string& ErrorSoFar() const { return err_.text; }
  void Signal(int signal) const;
  Outcome Wait();
  // For a terminal.
  void Type(const std::string& keys) const;
  bool ShowsWhatIsTyped() const;
  void Resize(int columns) const;

 private:
  struct Stream {
    int end = -1;
    std::string text{};
  };
  static bool Read(Stream& stream, const std::string& text, size_t from);

  pid_t process_ = -1;
  Stream out_;
  Stream err_;
};

}  // namespace kelo
