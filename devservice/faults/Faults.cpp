// One table of the kinds serves the reading, the checks and the writing of a fault's text.
#include "devservice/faults/Faults.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <random>

#include "devservice/methods/Answers.h"
#include "devservice/methods/Api.h"

namespace kelo::devservice {
namespace {

enum class Value { kNone, kOptional, kRequired };

struct KindRule {
  FaultKind kind;
  std::string_view name;
  Value value = Value::kNone;
  std::int64_t least = 0;
  std::int64_t most = 0;
  std::int64_t otherwise = 0;  // where an optional value is left out
};

constexpr std::int64_t kMaxValue = 1'000'000'000'000;
constexpr std::int64_t kDay = 24 * 3600 * 1000;
constexpr KindRule kKinds[] = {
    {FaultKind::kStatus, "status", Value::kRequired, 200, 599},
    {FaultKind::kError, "error", Value::kRequired, 1, 9999},
    {FaultKind::kFull, "full"},
    {FaultKind::kGarbage, "garbage"},
    {FaultKind::kSilence, "silence"},
    {FaultKind::kReset, "reset"},
    {FaultKind::kExpire, "expire"},
    {FaultKind::kDelay, "delay", Value::kRequired, 0, kDay},
    {FaultKind::kCut, "cut", Value::kOptional, 0, kMaxValue},
    {FaultKind::kLength, "length", Value::kOptional, -kMaxValue, kMaxValue, 1},
    {FaultKind::kSlow, "slow", Value::kRequired, 1, kMaxValue},
};

constexpr std::string_view kAnyMethod = "*";
constexpr const char* kAskedFor = "A fault that was asked for";
constexpr std::string_view kTimes = "times=";
constexpr size_t kGarbageSize = 1000;

const KindRule& RuleOf(FaultKind kind) {
  return *std::ranges::find(kKinds, kind, &KindRule::kind);
}

template <typename Number>
Number ReadNumber(std::string_view text, std::string_view of) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc() || end != text.data() + text.size())
    throw FaultError(std::string(of) + " is no number: \"" + std::string(text) + "\"");
  return number;
}

std::string KindNames() {
  std::string names;
  for (const KindRule& rule : kKinds) names += (names.empty() ? "" : ", ") + std::string(rule.name);
  return names;
}

const KindRule& RuleNamed(std::string_view name) {
  const auto* rule = std::ranges::find(kKinds, name, &KindRule::name);
  if (rule == std::end(kKinds))
    throw FaultError("there is no fault \"" + std::string(name) + "\", only " + KindNames());
  return *rule;
}

std::int64_t ReadValue(const KindRule& rule, std::optional<std::string_view> text) {
  const std::string name(rule.name);
  if (!text && rule.value == Value::kRequired) throw FaultError(name + " needs a value");
  if (!text) return rule.otherwise;
  if (rule.value == Value::kNone) throw FaultError(name + " takes no value");
  const auto value = ReadNumber<std::int64_t>(*text, name);
  if (value < rule.least || value > rule.most) {
    throw FaultError(name + " is between " + std::to_string(rule.least) + " and " +
                     std::to_string(rule.most));
  }
  return value;
}

void CheckMethod(const Fault& fault) {
  const std::vector<std::string_view> known = Api::MethodNames();
  if (fault.method != kAnyMethod && std::ranges::find(known, fault.method) == known.end())
    throw FaultError("there is no method \"" + fault.method + "\"");
  if (fault.kind == FaultKind::kFull && fault.method != kAnyMethod && fault.method != "UploadItems")
    throw FaultError("full concerns UploadItems only");
}

std::string Garbage() {
  std::minstd_rand random;  // the same bytes every time
  std::string bytes(kGarbageSize, '\0');
  std::ranges::generate(bytes, [&] { return static_cast<char>(random()); });
  return bytes;
}

}  // namespace

Fault ReadFault(std::string_view text) {
  const size_t colon = text.find(':');
  if (colon == std::string_view::npos || colon == 0)
    throw FaultError("a fault is METHOD:KIND[=VALUE][,times=N]");
  Fault fault;
  fault.method = text.substr(0, colon);
  std::string_view rest = text.substr(colon + 1);
  if (const size_t comma = rest.find(','); comma != std::string_view::npos) {
    std::string_view times = rest.substr(comma + 1);
    if (!times.starts_with(kTimes)) throw FaultError("only times=N may follow the comma");
    times.remove_prefix(kTimes.size());
    fault.times = ReadNumber<std::uint64_t>(times, "times");
    if (fault.times == 0) throw FaultError("times is at least 1");
    rest = rest.substr(0, comma);
  }
  const size_t equals = rest.find('=');
  const KindRule& rule = RuleNamed(rest.substr(0, equals));
  fault.kind = rule.kind;
  fault.value =
      ReadValue(rule, equals == std::string_view::npos ? std::nullopt
                                                       : std::optional(rest.substr(equals + 1)));
  CheckMethod(fault);
  return fault;
}

std::string FaultText(const Fault& fault) {
  const KindRule& rule = RuleOf(fault.kind);
  std::string text = fault.method + ":" + std::string(rule.name);
  if (rule.value != Value::kNone) text += "=" + std::to_string(fault.value);
  if (fault.times > 0) text += "," + std::string(kTimes) + std::to_string(fault.times);
  return text;
}

std::optional<Reply> ReplyInstead(const Fault& fault) {
  switch (fault.kind) {
    case FaultKind::kStatus:
      return Reply{.status = static_cast<int>(fault.value),
                   .body = std::string(kAskedFor) + "\n",
                   .headers = {{"Content-Type", "text/plain"}}};
    case FaultKind::kError:
    case FaultKind::kFull:
      return Reply{.body = FailAnswer(*ErrorOf(fault))};
    case FaultKind::kGarbage:
      return Reply{.body = Garbage()};
    case FaultKind::kSilence:
      return Reply{.silent = true};
    case FaultKind::kReset:
      return Reply{.reset = true};
    default:
      return std::nullopt;
  }
}

std::optional<ServiceError> ErrorOf(const Fault& fault) {
  const bool isFull = fault.kind == FaultKind::kFull;
  if (!isFull && fault.kind != FaultKind::kError) return std::nullopt;
  return ServiceError(isFull ? ErrorNumber::kStorageFull : static_cast<ErrorNumber>(fault.value),
                      kAskedFor);
}

void Spoil(Reply& reply, const Fault& fault) {
  if (fault.kind == FaultKind::kDelay) reply.delay = std::chrono::milliseconds(fault.value);
  if (fault.kind == FaultKind::kCut) reply.cutAfter = static_cast<size_t>(fault.value);
  if (fault.kind == FaultKind::kLength) reply.addedLength = fault.value;
  if (fault.kind == FaultKind::kSlow)
    reply.bytesPerSecond = static_cast<std::uint64_t>(fault.value);
}

std::uint64_t Faults::Add(Fault fault) {
  const std::lock_guard lock(mutex_);
  fault.id = ++lastId_;
  faults_.push_back(std::move(fault));
  return lastId_;
}

bool Faults::Remove(std::uint64_t id) {
  const std::lock_guard lock(mutex_);
  return std::erase_if(faults_, [&](const Fault& fault) { return fault.id == id; }) > 0;
}

void Faults::Clear() {
  const std::lock_guard lock(mutex_);
  faults_.clear();
}

std::vector<Fault> Faults::List() const {
  const std::lock_guard lock(mutex_);
  return faults_;
}

std::optional<Fault> Faults::Fire(std::string_view method) {
  const std::lock_guard lock(mutex_);
  for (Fault& fault : faults_) {
    const bool concerns = fault.kind == FaultKind::kFull
                              ? method == "UploadItems"
                              : fault.method == kAnyMethod || fault.method == method;
    if (!concerns || (fault.times > 0 && fault.fired == fault.times)) continue;
    ++fault.fired;
    return fault;
  }
  return std::nullopt;
}

std::string_view KindName(FaultKind kind) {
  return RuleOf(kind).name;
}

}  // namespace kelo::devservice
