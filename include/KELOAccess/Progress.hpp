// Part of KELOAccess.hpp. Hands the library's progress events to a callback of the host's.
#ifndef KELOACCESS_PROGRESS_HPP
#define KELOACCESS_PROGRESS_HPP

#include <bit>
#include <exception>

namespace kelo {
namespace detail {

// A pointer to a function or a std::function, which may hold none.
template <typename T>
inline constexpr bool MayBeEmpty = std::is_pointer_v<T>;
template <typename Signature>
inline constexpr bool MayBeEmpty<std::function<Signature>> = true;

inline tagCommandControlInfo Record(void* data) {
  tagCommandControlInfo record{};
  record.data = data;
  return record;
}

// Hands the library's events to a callback while it exists. The library's own callback carries
// nothing of the host's, so the present listener is known to the process; the turn guards it.
class Listener {
 public:
  Listener(Library& library, const OnProgress& progress, bool& inCallback)
      : library_(library), progress_(progress), inCallback_(inCallback) {
    current_ = this;
    Send(kKELOCommand_RegisterEventCallBack, std::bit_cast<void*>(&Listener::Hear));
  }
  ~Listener() {
    Send(kKELOCommand_UnregisterEventCallBack, nullptr);
    current_ = nullptr;
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  void RethrowWhatWasThrown() const {
    if (thrown_) std::rethrow_exception(thrown_);
  }

 private:
  static void Send(std::uint32_t command, void* callback) {
    tagCommandControlInfo record = Record(callback);
    record.selectionFlags = kKELOEventMask_Progress;
    KELOAccessCommand(command, &record);
  }

  static std::uint32_t Hear(std::uint32_t event, std::uint32_t,
                            const tagKELO_ProgressInfo* progress) noexcept {
    current_->Tell({.isUpload = event == kKELOEvent_UploadProgress,
                    .done = progress->transferDone,
                    .total = progress->transferTotal,
                    .files = progress->itemCount,
                    .filesDone = progress->fourthWord});
    return 0;
  }

  // Nothing is told behind the one that ended it.
  void Tell(const Progress& progress) noexcept {
    if (ended_) return;
    inCallback_ = true;
    try {
      ended_ = !progress_(progress);
    } catch (...) {
      thrown_ = std::current_exception();
      ended_ = true;
    }
    inCallback_ = false;
    if (ended_) library_.Abort();
  }

  inline static Listener* current_ = nullptr;
  Library& library_;
  const OnProgress& progress_;
  bool& inCallback_;
  bool ended_ = false;
  std::exception_ptr thrown_;
};

}  // namespace detail

template <typename Callback>
  requires(!std::same_as<std::decay_t<Callback>, OnProgress> &&
           std::invocable<std::decay_t<Callback>&, const Progress&>)
OnProgress::OnProgress(Callback&& callback) {
  // Shared, so that what cannot be copied can be called too.
  auto shared = std::make_shared<std::decay_t<Callback>>(std::forward<Callback>(callback));
  if constexpr (detail::MayBeEmpty<std::decay_t<Callback>>)
    if (!*shared) return;
  call_ = [shared](const Progress& progress) -> bool {
    if constexpr (std::is_void_v<std::invoke_result_t<decltype(*shared), const Progress&>>) {
      std::invoke(*shared, progress);
      return true;
    } else {
      return static_cast<bool>(std::invoke(*shared, progress));
    }
  };
}

}  // namespace kelo

#endif  // KELOACCESS_PROGRESS_HPP
