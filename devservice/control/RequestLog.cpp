// Keeps the records in a queue, drops the oldest texts and records first, and writes JSON.
#include "devservice/control/RequestLog.h"

#include <algorithm>
#include <ctime>
#include <string>

namespace kelo::devservice {
namespace {

using Json = nlohmann::ordered_json;

size_t TextBytes(const RequestRecord& record) {
  return record.document.size() + record.answer.size();
}

}  // namespace

std::string TimeText(std::chrono::system_clock::time_point time) {
  using namespace std::chrono;
  const std::time_t seconds = system_clock::to_time_t(floor<std::chrono::seconds>(time));
  const auto rest = floor<milliseconds>(time).time_since_epoch().count() % 1000;
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[32];
  const size_t size = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S.", &utc);
  const std::string digits = std::to_string(1000 + rest);
  return std::string(text, size) + digits.substr(1) + "Z";
}

Json RecordJson(const RequestRecord& record) {
  return {{"number", record.number},
          {"time", TimeText(record.time)},
          {"verb", record.verb},
          {"path", record.path},
          {"method", record.method},
          {"status", record.status},
          {"errorCode", record.errorCode},
          {"errorText", record.errorText},
          {"milliseconds", static_cast<double>(record.duration.count()) / 1000},
          {"bytesIn", record.bodySize},
          {"bytesOut", record.bytesOut},
          {"complete", record.complete},
          {"signature", record.signature},
          {"fault", record.fault}};
}

void RequestLog::Add(RequestRecord& record) {
  const std::lock_guard lock(mutex_);
  record.number = Last() + 1;
  auto added = std::make_shared<const RequestRecord>(record);
  textBytes_ += TextBytes(*added);
  entries_.push_back({std::move(added)});
  for (; textBytes_ > maxTextBytes_ && texted_ <= Last(); ++texted_) {
    Entry& entry = entries_[PositionOf(texted_)];
    RequestRecord bare = *entry.record;
    textBytes_ -= TextBytes(bare);
    bare.document = bare.answer = {};
    entry = {std::make_shared<const RequestRecord>(std::move(bare)), false};
  }
  for (; entries_.size() > maxRecords_; ++first_) {
    textBytes_ -= TextBytes(*entries_.front().record);
    entries_.pop_front();
  }
  texted_ = std::max(texted_, first_);
}

void RequestLog::Describe(Json& json, std::uint64_t after, size_t limit) const {
  std::unique_lock lock(mutex_);
  json["first"] = first_;
  json["last"] = Last();
  const std::uint64_t begin = std::max(std::min(after, Last()) + 1, first_);
  const std::uint64_t end = std::min<std::uint64_t>(Last() + 1, begin + limit);
  std::vector<std::shared_ptr<const RequestRecord>> records;
  for (std::uint64_t number = begin; number < end; ++number)
    records.push_back(entries_[PositionOf(number)].record);
  lock.unlock();  // requests that end meanwhile need not wait for the writing
  Json rows = Json::array();
  for (const auto& record : records) rows.push_back(RecordJson(*record));
  json["requests"] = std::move(rows);
}

Json RequestLog::Whole(std::uint64_t number) const {
  std::unique_lock lock(mutex_);
  if (number < first_ || number > Last()) return nullptr;
  const Entry entry = entries_[PositionOf(number)];
  lock.unlock();
  Json json = RecordJson(*entry.record);
  json["query"] = entry.record->query;
  if (entry.hasTexts) {
    json["document"] = entry.record->document;
    json["answer"] = entry.record->answer;
  }
  return json;
}

}  // namespace kelo::devservice
