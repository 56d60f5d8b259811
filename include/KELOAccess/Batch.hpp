// Part of KELOAccess.hpp. Commands over many records: builds the records, and turns them into outcomes.
#ifndef KELOACCESS_BATCH_HPP
#define KELOACCESS_BATCH_HPP

#include <deque>
#include <limits>

#include "KELOAccess/Progress.hpp"
#include "KELOAccess/Results.hpp"
#include "KELOAccess/Texts.hpp"

namespace kelo {
namespace detail {

inline tagCommandControlInfo Targeted(std::string_view target, void* data, std::uint32_t command) {
  tagCommandControlInfo record = Record(data);
  PutId(record.targetId, target, command);
  return record;
}

inline constexpr std::uint32_t kUntouched = 0xFFFFFFFF;  // result of a record that was not looked at

// Whether a batch goes on with the next record behind a command with that result. Refusals of one
// folder, album or link are no failures of their command.
inline bool GoesOnAfter(std::uint32_t result, std::uint32_t command) {
  if (result == kKELOResult_Success) return true;
  return command == kKELOCommand_Download &&
         (result == kKELOResult_NotFound || result == kKELOResult_AlreadyExists ||
          result == kKELOResult_DestinationUnusable);
}

// Records, each with its own outcome.
template <typename T, typename Outcome>
class Batch {
 public:
  // The next record as `fill` makes it. What it throws as an Error is the outcome, and the others go
  // without it.
  template <typename Fill>
  void Add(const Fill& fill) {
    outcomes_.emplace_back();
    try {
      T record{};
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

  std::vector<T>& Records() { return records_; }

  // Throws where the command was refused before it looked at the records.
  void RequireTouched(std::uint32_t result, std::uint32_t command) const {
    if (records_.front().result == kUntouched && result != kKELOResult_Aborted)
      Check(result, command);
  }

  // The outcomes; `take` copies each record's own values.
  template <typename Take>
  std::vector<Outcome> Outcomes(std::uint32_t command, const Take& take) {
    for (std::size_t at = 0; at < records_.size(); ++at) {
      Outcome& outcome = outcomes_[places_[at]];
      take(records_[at], outcome);
      if (records_[at].result != kKELOResult_Success)
        outcome.error.emplace(records_[at].result, command);
    }
    return std::move(outcomes_);
  }

 private:
  std::vector<T> records_;
  std::vector<std::size_t> places_;  // of the records among the outcomes
  std::vector<Outcome> outcomes_;
  std::deque<std::string> texts_;
};

inline constexpr std::size_t kMaxLentText = std::numeric_limits<std::uint32_t>::max();

// Throws unless the texts of a mail, or addresses, can be lent.
inline void RequireTexts(std::uint32_t command, std::string_view name,
                         std::initializer_list<std::string_view> texts) {
  for (const std::string_view text : texts) RequireText(text, kMaxLentText, {name, command});
}

}  // namespace detail
}  // namespace kelo

#endif  // KELOACCESS_BATCH_HPP
