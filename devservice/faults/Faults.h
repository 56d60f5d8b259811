// Faults that a developer asks for: what goes wrong, in which method's answers, how often. A fault
// becomes a Reply like that of a script, so the connection knows one kind of misbehaviour only.
//
// As text: METHOD:KIND[=VALUE][,times=N]. The table in Faults.cpp has all kinds.
#pragma once

#include <cstdint>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "devservice/http/Message.h"
#include "devservice/protocol/ServiceError.h"

namespace kelo::devservice {

enum class FaultKind {
  kStatus,
  kError,
  kFull,
  kGarbage,
  kSilence,
  kReset,
  kExpire,
  kDelay,
  kCut,
  kLength,
  kSlow,
};

struct Fault {
  std::uint64_t id = 0;  // given by Faults, from 1 on
  std::string method;
  FaultKind kind = FaultKind::kStatus;
  std::int64_t value = 0;   // 0 where the kind takes none
  std::uint64_t times = 0;  // 0: always
  std::uint64_t fired = 0;
};

// A wish for a fault is wrong; what() says how.
class FaultError : public std::runtime_error {
 public:
  explicit FaultError(const std::string& what, int status = 400)
      : std::runtime_error(what), status_(status) {}
  int Status() const { return status_; }  // of HTTP

 private:
  int status_;
};

// Throws FaultError.
Fault ReadFault(std::string_view text);
std::string FaultText(const Fault& fault);
std::string_view KindName(FaultKind kind);
// For people: "cut[=BYTES]" and what it does, of each kind.
std::vector<std::pair<std::string, std::string>> KindsInWords();

// The answer of a fault that does nothing of what was asked; nothing for the other kinds.
std::optional<Reply> ReplyInstead(const Fault& fault);
// The service error that a fault answers with, if it is one.
std::optional<ServiceError> ErrorOf(const Fault& fault);
// What a fault makes of the service's own answer.
void Spoil(Reply& reply, const Fault& fault);

// The faults of a service. Thread-safe.
class Faults {
 public:
  std::uint64_t Add(Fault fault);  // its id
  bool Remove(std::uint64_t id);   // false: there is none
  void Clear();
  std::vector<Fault> List() const;  // in the order they were added, spent ones too

  // The first fault that concerns this method and is not spent; it counts as fired.
  std::optional<Fault> Fire(std::string_view method);

 private:
  mutable std::mutex mutex_;
  std::vector<Fault> faults_;
  std::uint64_t lastId_ = 0;
};

// [{"id": 1, "text": "Download:cut=10,times=2", "method": ..., "kind": ..., "value": ...,
//   "times": ..., "fired": ...}, ...]
nlohmann::ordered_json FaultsJson(const Faults& faults);

// Changes the faults as a JSON object asks:
//   {"add": TEXT or [TEXT, ...], "remove": ID or [ID, ...] or "all"}, both optional.
// Removes first. What cannot be done as a whole changes nothing, and throws FaultError: of status
// 404 for an unknown id.
void ChangeFaults(Faults& faults, const nlohmann::ordered_json& wish);

}  // namespace kelo::devservice
