// Part of KELOAccess.hpp. The library's life, and how its calls send their commands.
#ifndef KELOACCESS_SENDING_HPP
#define KELOACCESS_SENDING_HPP

#include <chrono>

#include "KELOAccess/Batch.hpp"

namespace kelo {

inline Library::Library(std::uint32_t recordBudget) {
  if (exists_.exchange(true)) throw Error("there is a kelo::Library already", 0);
  const std::uint32_t result = KELOAccessInitialize(recordBudget);
  if (result == kKELOResult_Success) return;
  exists_ = false;
  throw Error(result, 0);
}

inline Library::~Library() {
  KELOAccessClose();
  exists_ = false;
}

// A call, or a part of one: the outermost turn of a thread is the call. An abort is one of the call, from
// its beginning to its end, also between two of its commands.
class Library::Turn {
 public:
  explicit Turn(Library& library) : lock_(library.turn_), library_(library) {
    if (library_.turns_++ > 0) return;
    library_.thread_ = std::this_thread::get_id();
    ++library_.call_;
  }
  ~Turn() {
    if (--library_.turns_ == 0) ++library_.call_;
  }
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

 private:
  const std::lock_guard<std::recursive_mutex> lock_;
  Library& library_;
};

// A command of a call, while the library has it.
class Library::Running {
 public:
  explicit Running(Library& library) : library_(library) { ++library_.command_; }
  ~Running() { ++library_.command_; }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

 private:
  Library& library_;
};

// A call's record, whose outputs are cleared before each try to send it. Takes the turn.
class Library::ClearedRecord {
 public:
  ClearedRecord(Library& library, const tagCommandControlInfo& record, std::function<void()> clear)
      : turn_(library),
        library_(library),
        record_(record),
        clear_(std::move(clear)),
        before_(std::exchange(library.cleared_, this)) {}
  ~ClearedRecord() { library_.cleared_ = before_; }
  ClearedRecord(const ClearedRecord&) = delete;
  ClearedRecord& operator=(const ClearedRecord&) = delete;

  bool Is(const tagCommandControlInfo* record) const { return record == &record_; }
  void Clear() const { clear_(); }

 private:
  const Turn turn_;
  Library& library_;
  const tagCommandControlInfo& record_;
  const std::function<void()> clear_;
  const ClearedRecord* const before_;
};

inline std::uint32_t Library::Command(std::uint32_t code, tagCommandControlInfo* record,
                                      const OnProgress& progress) {
  const Turn turn(*this);
  // The lock is recursive: who has it here is in the midst of a command already.
  if (inCallback_) throw Error("a progress callback can send nothing", code);
  if (cleared_ != nullptr && cleared_->Is(record)) cleared_->Clear();
  const Running running(*this);
  if (abortedFor_ == call_) return kKELOResult_Aborted;
  if (!progress) return KELOAccessCommand(code, record);
  const detail::Listener listener(*this, progress, inCallback_);
  const std::uint32_t result = KELOAccessCommand(code, record);
  listener.RethrowWhatWasThrown();
  return result;
}

inline void Library::Send(std::uint32_t code, tagCommandControlInfo* record) {
  const Turn turn(*this);
  detail::Check(Command(code, record), code);
}

inline std::uint32_t Library::Ask(std::uint32_t code, tagCommandControlInfo* record,
                                  std::uint32_t call) try {
  return Command(code, record);
} catch (const Error& refused) {
  throw Error(std::string(refused.Words()), call);
}

#ifdef __cpp_lib_jthread
// The turn first: a stop of this call must not abort the one before it.
template <typename Call>
auto Library::Stoppable(const std::stop_token& stop, const Call& call) {
  const Turn turn(*this);
  const std::stop_callback abort(stop, [this] { Abort(); });
  return call();
}
#endif

// A command for each record. The failure that ends the batch is that of all behind it.
template <typename Batch>
void Library::SendEach(std::uint32_t code, std::string_view target, Batch& batch,
                       const OnProgress& progress) {
  const Turn turn(*this);
  const auto count = static_cast<std::uint32_t>(batch.Records().size());
  std::uint32_t done = 0;
  OnProgress ofAll;
  if (progress)
    ofAll = [&](Progress ofOne) {
      ofOne.files = count;
      ofOne.filesDone += done;
      return progress(ofOne);
    };
  std::uint32_t result = kKELOResult_Success;
  for (auto& record : batch.Records()) {
    if (detail::GoesOnAfter(result, code)) {
      tagCommandControlInfo command = detail::Targeted(target, &record, code);
      command.entryCount = 1;
      const ClearedRecord cleared(*this, command, [&] { record.result = detail::kUntouched; });
      result = Command(code, &command, ofAll);
      batch.RequireTouched(result, code);
      if (record.result == detail::kUntouched) record.result = result;
    } else {
      record.result = result;
    }
    ++done;
  }
}

// The library forgets an abort that comes just before its command begins. So it is told again until the
// command is over. There is no lock in it, which a forked child would inherit.
inline void Library::Abort() noexcept {
  const std::uint64_t call = call_;
  std::uint64_t before = abortedFor_;  // maybe a later call already
  while (call % 2 == 1 && before < call && !abortedFor_.compare_exchange_weak(before, call)) {
  }
  const std::uint64_t command = command_;
  const bool isInside = thread_.load() == std::this_thread::get_id();
  for (;;) {
    KELOAccessCommand(kKELOCommand_Abort, nullptr);
    if (isInside || command % 2 == 0) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (command_ != command) return;
  }
}

}  // namespace kelo

#endif  // KELOACCESS_SENDING_HPP
