// Part of KELOAccess.hpp: command records, progress, and commands over many records.
#ifndef KELOACCESS_BATCH_HPP
#define KELOACCESS_BATCH_HPP

#include <bit>
#include <chrono>
#include <cstdio>
#include <deque>
#include <exception>
#include <fstream>
#include <limits>

#include "KELOAccess/Results.hpp"
#include "KELOAccess/Texts.hpp"

namespace kelo {
namespace detail {

inline tagCommandControlInfo Record(void* data) {
  tagCommandControlInfo record{};
  record.data = data;
  return record;
}

inline tagCommandControlInfo Targeted(std::string_view target, void* data, std::uint32_t command) {
  tagCommandControlInfo record = Record(data);
  PutId(record.targetId, target, command);
  return record;
}

// Hands the library's events to a callback while it exists. The library's own callback carries
// nothing of the host's, so the present listener is known to the process; the turn guards it.
class Listener {
 public:
  Listener(const OnProgress& progress, bool& inCallback)
      : progress_(progress), inCallback_(inCallback) {
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
    if (ended_) KELOAccessCommand(kKELOCommand_Abort, nullptr);
  }

  inline static Listener* current_ = nullptr;
  const OnProgress& progress_;
  bool& inCallback_;
  bool ended_ = false;
  std::exception_ptr thrown_;
};

// A command over many records, each with its own outcome.
template <typename Record, typename Outcome>
class Batch {
 public:
  // The next record as `fill` makes it. What it throws as an Error is the outcome, and the others go
  // without it.
  template <typename Fill>
  void Add(const Fill& fill) {
    outcomes_.emplace_back();
    try {
      Record record{};
      record.result = kUntouched;
      fill(record);
      records_.push_back(record);
      places_.push_back(outcomes_.size() - 1);
    } catch (const Error& error) {
      outcomes_.back().error = error;
    }
  }

  // A text that lives as long as the batch.
  tagKELO_StringInfo Lend(std::string text) { return Lent(texts_.emplace_back(std::move(text))); }

  // Sends what was added, and copies each record's own values into its outcome with `take`. Throws
  // where the records were not even looked at; with `isOneRequest`, for every failure of the command.
  template <typename Take>
  std::vector<Outcome> Send(Library& library, std::uint32_t command, tagCommandControlInfo record,
                            const OnProgress& progress, bool isOneRequest, const Take& take) {
    if (records_.empty()) return std::move(outcomes_);
    record.data = records_.data();
    record.entryCount = static_cast<std::uint32_t>(records_.size());
    const std::uint32_t result = library.Command(command, &record, progress);
    if (isOneRequest || records_.front().result == kUntouched) Check(result, command);
    for (std::size_t at = 0; at < records_.size(); ++at) {
      Outcome& outcome = outcomes_[places_[at]];
      take(records_[at], outcome);
      if (records_[at].result != kKELOResult_Success)
        outcome.error.emplace(records_[at].result, command);
    }
    return std::move(outcomes_);
  }

 private:
  static constexpr std::uint32_t kUntouched = 0xFFFFFFFF;

  std::vector<Record> records_;
  std::vector<std::size_t> places_;  // of the records among the outcomes
  std::vector<Outcome> outcomes_;
  std::deque<std::string> texts_;
};

inline std::string PathText(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {reinterpret_cast<const char*>(text.data()), text.size()};
}

// When the file was changed, in UTC, as the service writes dates.
inline std::string ModifyDate(const std::filesystem::path& path) {
  using namespace std::chrono;
  std::error_code failed;
  const auto changed = std::filesystem::last_write_time(path, failed);
  if (failed) throw Error(kKELOResult_NotFound, kKELOCommand_Upload);
  const auto time = floor<seconds>(file_clock::to_sys(changed));
  const auto day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

inline std::int32_t UploadSize(const std::filesystem::path& path) {
  std::error_code failed;
  const std::uintmax_t size = std::filesystem::file_size(path, failed);
  if (failed || !std::ifstream(path)) throw Error(kKELOResult_NotFound, kKELOCommand_Upload);
  if (size > std::numeric_limits<std::int32_t>::max())
    throw Error(kKELOResult_TooLarge, kKELOCommand_Upload);
  return static_cast<std::int32_t>(size);
}

// All but the texts that are lent.
inline void Describe(const UploadFile& file, tagKELO_LoadInfo& record) {
  const auto name = [](std::string_view text) { return TextName{text, kKELOCommand_Upload}; };
  record.fileSize = UploadSize(file.path);
  const std::string modified = file.modifyDate.empty() ? ModifyDate(file.path) : file.modifyDate;
  Put(record.fileModifyDate, modified, name("date"));
  Put(record.fileCreateDate, file.createDate.empty() ? modified : file.createDate, name("date"));
  Put(record.shotDate, file.shotDate, name("date"));
  record.width = file.width;
  record.height = file.height;
  Put(record.tagList, file.tags, name("tags"));
}

inline constexpr std::size_t kMaxLentText = std::numeric_limits<std::uint32_t>::max();

// Throws unless the texts of a mail, or addresses, can be lent.
inline void RequireTexts(std::uint32_t command, std::string_view name,
                         std::initializer_list<std::string_view> texts) {
  for (const std::string_view text : texts) RequireText(text, kMaxLentText, {name, command});
}

}  // namespace detail

template <typename Callback>
  requires(!std::same_as<std::decay_t<Callback>, OnProgress> &&
           std::invocable<std::decay_t<Callback>&, const Progress&>)
OnProgress::OnProgress(Callback&& callback) {
  // Shared, so that what cannot be copied can be called too.
  auto shared = std::make_shared<std::decay_t<Callback>>(std::forward<Callback>(callback));
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

#endif  // KELOACCESS_BATCH_HPP
