// The last requests that the service answered, numbered from 1 in the order of their answers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <vector>

#include "devservice/http/RequestRecord.h"

namespace kelo::devservice {

// Replaces the secrets in all texts: what stands behind the name of one, and what looks like one
// that the service makes.
void MaskSecrets(RequestRecord& record);

// "2026-01-31T12:34:56.789Z"
std::string TimeText(std::chrono::system_clock::time_point time);
// A record without document and answer.
nlohmann::ordered_json RecordJson(const RequestRecord& record);

// Thread-safe. A reader polls with the last number it has seen; no thread waits for it. Dropped
// records show as a gap in the numbers.
class RequestLog {
 public:
  static constexpr size_t kMaxRecords = 10'000;
  static constexpr size_t kMaxTextBytes = 64 << 20;

  explicit RequestLog(size_t maxRecords = kMaxRecords, size_t maxTextBytes = kMaxTextBytes)
      : maxRecords_(maxRecords), maxTextBytes_(maxTextBytes) {}

  // Gives the record its number. Older ones leave, and before them their documents and answers, as
  // the limits say.
  void Add(RequestRecord& record);

  // Sets "first" and "last", the numbers of the records that are there (of an empty log, the next
  // one and the one before it), and "requests": those after number `after`, at most `limit`,
  // without document and answer.
  void Describe(nlohmann::ordered_json& json, std::uint64_t after, size_t limit) const;

  // One record with its document and answer; null when it is not there.
  nlohmann::ordered_json Whole(std::uint64_t number) const;

 private:
  struct Entry {
    std::shared_ptr<const RequestRecord> record;
    bool hasTexts = true;
  };

  std::uint64_t Last() const { return first_ + entries_.size() - 1; }
  // Where the entry of a number that is there stands.
  size_t PositionOf(std::uint64_t number) const { return static_cast<size_t>(number - first_); }

  const size_t maxRecords_;
  const size_t maxTextBytes_;
  mutable std::mutex mutex_;  // guards what follows
  std::deque<Entry> entries_;
  std::uint64_t first_ = 1;   // the number of the first entry ...
  std::uint64_t texted_ = 1;  // ... and of the first that has its texts
  size_t textBytes_ = 0;
};

}  // namespace kelo::devservice
