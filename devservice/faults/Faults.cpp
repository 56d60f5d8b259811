// One table of the kinds serves the reading, the checks, the writing and the help of faults.
#include "devservice/faults/Faults.h"

#include <algorithm>
#include <iterator>
#include <random>

#include "devservice/methods/Answers.h"
#include "devservice/methods/Api.h"
#include "devservice/protocol/Values.h"

namespace kelo::devservice {
namespace {

struct KindRule {
  FaultKind kind;
  std::string_view form;   // "cut[=BYTES]": the name and, where there is one, the value
  std::string_view about;  // for people
  std::int64_t least = 0;
  std::int64_t most = 0;
  std::int64_t otherwise = 0;  // where an optional value is left out

  std::string_view Name() const { return form.substr(0, form.find_first_of("[=")); }
  bool TakesValue() const { return form != Name(); }
  bool NeedsValue() const { return TakesValue() && !form.ends_with(']'); }
};

constexpr std::int64_t kMaxValue = 1'000'000'000'000;
constexpr std::int64_t kDay = 24 * 3600 * 1000;
constexpr KindRule kKinds[] = {
    {FaultKind::kStatus, "status=CODE", "Answers with this HTTP status, and does nothing", 200,
     599},
    {FaultKind::kError, "error=NUMBER", "Answers with this error of the service, and does nothing",
     1, 9999},
    {FaultKind::kFull, "full", "Answers uploads with error 203, storage full, and stores nothing"},
    {FaultKind::kGarbage, "garbage", "Answers with bytes that are no document, and does nothing"},
    {FaultKind::kSilence, "silence", "Never answers, and does nothing"},
    {FaultKind::kReset, "reset", "Resets the connection, and does nothing"},
    {FaultKind::kExpire, "expire",
     "Ends all session tokens, then does what is asked as far as that goes"},
    {FaultKind::kDelay, "delay=MS",
     "Does what is asked, and waits so many milliseconds before the answer", 0, kDay},
    {FaultKind::kCut, "cut[=BYTES]",
     "Does it, and closes after so many bytes of the answer's body (0)", 0, kMaxValue},
    {FaultKind::kLength, "length[=N]",
     "Does it, and announces N bytes (1) more than it sends; fewer if N is negative", -kMaxValue,
     kMaxValue, 1},
    {FaultKind::kSlow, "slow=BYTES",
     "Does it, taking uploads and giving answers at so many bytes a second", 1, kMaxValue},
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
  if (const auto number = NumberOf<Number>(text)) return *number;
  throw FaultError(std::string(of) + " is no number: \"" + std::string(text) + "\"");
}

std::string KindNames() {
  std::string names;
  for (const KindRule& rule : kKinds)
    names += (names.empty() ? "" : ", ") + std::string(rule.Name());
  return names;
}

const KindRule& RuleNamed(std::string_view name) {
  const auto* rule = std::ranges::find(kKinds, name, &KindRule::Name);
  if (rule == std::end(kKinds))
    throw FaultError("there is no fault \"" + std::string(name) + "\", only " + KindNames());
  return *rule;
}

std::int64_t ReadValue(const KindRule& rule, std::optional<std::string_view> text) {
  const std::string name(rule.Name());
  if (!text && rule.NeedsValue()) throw FaultError(name + " needs a value");
  if (!text) return rule.otherwise;
  if (!rule.TakesValue()) throw FaultError(name + " takes no value");
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
  std::string text = fault.method + ":" + std::string(rule.Name());
  if (rule.TakesValue()) text += "=" + std::to_string(fault.value);
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
  return RuleOf(kind).Name();
}

std::vector<std::pair<std::string, std::string>> KindsInWords() {
  std::vector<std::pair<std::string, std::string>> words;
  for (const KindRule& rule : kKinds) words.emplace_back(rule.form, rule.about);
  return words;
}

}  // namespace kelo::devservice
