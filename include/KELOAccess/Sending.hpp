// Part of KELOAccess.hpp: the library's life, and how its calls send their commands.
#ifndef KELOACCESS_SENDING_HPP
#define KELOACCESS_SENDING_HPP

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

// A call's record, whose outputs are cleared before each try to send it. Takes the turn.
class Library::ClearedRecord {
 public:
  ClearedRecord(Library& library, const tagCommandControlInfo& record, std::function<void()> clear)
      : turn_(library.turn_),
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
  const std::lock_guard<std::recursive_mutex> turn_;
  Library& library_;
  const tagCommandControlInfo& record_;
  const std::function<void()> clear_;
  const ClearedRecord* const before_;
};

inline std::uint32_t Library::Command(std::uint32_t code, tagCommandControlInfo* record,
                                      const OnProgress& progress) {
  const std::lock_guard turn(turn_);
  // The lock is recursive: who has it here is in the midst of a command already.
  if (inCallback_) throw Error("a progress callback can send nothing", code);
  if (cleared_ != nullptr && cleared_->Is(record)) cleared_->Clear();
  if (!progress) return KELOAccessCommand(code, record);
  const detail::Listener listener(progress, inCallback_);
  const std::uint32_t result = KELOAccessCommand(code, record);
  listener.RethrowWhatWasThrown();
  return result;
}

inline void Library::Send(std::uint32_t code, tagCommandControlInfo* record) {
  detail::Check(Command(code, record), code);
}

// A command for each record. The failure that ends the batch is that of all behind it.
template <typename Batch>
void Library::SendEach(std::uint32_t code, std::string_view target, Batch& batch,
                       const OnProgress& progress) {
  const std::lock_guard turn(turn_);
  const std::uint32_t aborts = aborts_;
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
    if (aborts_ != aborts && detail::GoesOnAfter(result, code)) result = kKELOResult_Aborted;
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

inline void Library::Abort() noexcept {
  ++aborts_;
  KELOAccessCommand(kKELOCommand_Abort, nullptr);
}

}  // namespace kelo

#endif  // KELOACCESS_SENDING_HPP
