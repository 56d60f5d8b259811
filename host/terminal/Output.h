// What a command tells: its results on standard output, as lines for people or as JSON, one object
// a line; everything else on standard error. Lines are fit for a terminal already (Names.h). Below
// them a terminal may show a live line that is drawn over and over. Any thread.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace kelo::host {

// Keeps the order in which members are set.
using Json = nlohmann::ordered_json;

class Output {
 public:
  // `program`: its name, with which problems begin. Lives as long as the object.
  explicit Output(const char* program = "kelo");
  using Clock = std::chrono::steady_clock;
  // Nothing: it is over.
  using Since = std::optional<Clock::time_point>;
  // Of a process without streams of its own: `messages` gets what would go to standard error, and
  // `outages` what SetOutage is told, from any thread.
  Output(std::function<void(std::string_view line)> messages,
         std::function<void(Since since, std::string_view words)> outages);
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void UseJson() { json_ = true; }
  void BeQuiet() { quiet_ = true; }
  // Of a command whose purpose they are: a quiet run has its results too.
  void KeepResults() { keepsResults_ = true; }
  void ShowProgress() { showsProgress_ = true; }
  bool IsJson() const { return json_; }
  bool IsQuiet() const { return quiet_; }
  // Whether progress is wanted where there is no live line.
  bool ShowsProgress() const { return showsProgress_; }

  // What goes to standard error, also what a quiet run leaves out, is appended to this file too,
  // with the time. Throws Failure.
  void LogTo(const std::string& path);
  const std::string& LogPath() const { return logPath_; }  // empty: none
  // In the log alone; the line has its time already.
  void Log(std::string_view line) const;

  // A result in both forms: the object in JSON, otherwise the line, unless the run is quiet.
  void Result(std::string_view line, const Json& object);
  // With JSON, a run that has begun a summary ends with it: {"summary": {...}}. It counts the
  // results by their outcomes, and adds up the bytes of those that are or would be stored.
  // `counts`: what it begins with.
  void BeginSummary(Json counts) { summary_ = std::move(counts); }
  // Adds to what else is counted, "leftOut" or "leftOutBy/byFilter". Without a summary nothing
  // happens.
  void Count(const std::string& what, std::uint64_t number);
  void TellSummary(int exitCode);
  // A result that has no JSON, such as a heading.
  void Line(std::string_view line);
  // The numbers at the end, for people: with JSON a note, since the summary is the result.
  void Sum(std::string_view line) { json_ ? Note(line) : Line(line); }
  // On standard error: what a quiet run leaves out, and what every run tells, behind the program's
  // name.
  void Note(std::string_view line);
  void Problem(std::string_view line);
  // On standard error even in a quiet run, and not in the log: what -v asks for.
  void Trace(std::string_view line) { PrintMessage(line); }

  // `who` (any address) has had no connection since then, by `words`, and tries again; or it has
  // one. Where no live line shows that, a note tells when the first lost it, and when the last has
  // it again.
  void SetOutage(const void* who, Since since, std::string_view words = {});
  // There is no `who` any more.
  void ForgetOutage(const void* who);
  // Since when somebody has had none.
  Since OutageSince() const;

  // Where the program was started without a standard stream, puts something that takes nothing in
  // its place. Call before anything is opened: the next opened file would take the number of a
  // missing standard stream.
  static void HoldClosedStreams();
  // Everything is written now. Throws Failure when standard output did not take it.
  void Finish();

  // Whether standard error is a terminal that can show a live line, and nobody wants quiet.
  bool CanShowLive() const { return errorIsTerminal_ && !quiet_; }
  // The columns of that terminal now; 80 where it does not say.
  static size_t TerminalColumns();
  // Draws the live line in place of the former one; empty: there is none any more. It must be
  // narrower than the terminal.
  void ShowLive(std::string line);

  // What SayAborted tells of the work done so far, e.g. "120 of 236 stored".
  void SetDone(std::string words);
  // "kelo: aborted: 120 of 236 stored" on standard error, past whatever another thread prints,
  // once.
  void SayAborted();

 private:
  void LogMessage(std::string_view line) const;
  void PrintResult(std::string_view line);
  void PrintMessage(std::string_view line);
  void EraseLive();   // the lock is held
  void RedrawLive();  // the lock is held

  const char* const program_ = "";
  Json summary_;  // null: none
  bool json_ = false;
  bool quiet_ = false;
  bool keepsResults_ = false;
  bool showsProgress_ = false;
  std::string logPath_;
  int log_ = -1;
  const std::function<void(std::string_view)> messages_;  // empty: standard error
  const std::function<void(Since, std::string_view)> outagesTold_;
  const bool errorIsTerminal_ = false;
  const bool outputIsTerminal_ = false;
  std::mutex printing_;
  std::string live_;
  int failedWith_ = 0;  // errno of standard output's first failure
  mutable std::mutex outageLock_;
  std::map<const void*, Clock::time_point> outages_;
  Clock::time_point outageBegan_{};
  bool outageTold_ = false;
  std::mutex doneLock_;  // never held while something is printed
  std::string done_;
  bool saidAborted_ = false;
};

}  // namespace kelo::host
