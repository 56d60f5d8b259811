// The trace of requests: a line for each, into the file that the environment variable KELO_TRACE
// names ("-": standard error). Nothing is traced without it, nor in a program with more rights than
// its caller. A line never holds a secret, token, signature, query or body.
//
//   2026-11-21T10:20:30.123Z command=24 PUT 127.0.0.1:8080/manage GetStorageCapacity out=731 in=214
//   http=200 stat=ok result=0 ms=3 connection=reused
//
// (in one line). "errcode=", "errmsg=" and "failure=" (what the engine says) appear where there is
// one; texts stand in double quotes, control characters in them as blanks.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/URLLoading.h"

namespace kelo {

// A request before it is sent. The views must last until the line is written.
struct TracedRequest {
  std::string_view method;
  std::string_view url;
  std::string_view query;     // may name a service method; the rest of it is kept from the line
  std::string_view document;  // or the bytes that hold it; empty: none
};

// Made when a request begins. One thread; lines of several processes don't mix.
class RequestTrace {
 public:
  RequestTrace();
  bool IsWanted() const { return path_ != nullptr; }
  // Writes the line of a request that has ended: with `result`, or with what the service's `answer`
  // comes to (null where none was wanted, as by a download). A line that cannot be written is lost.
  // Throws std::bad_alloc.
  void Write(uint32_t command, const TracedRequest& request, const URLTransferInfo& transfer,
             const std::string* answer, uint32_t result) const;

 private:
  const char* const path_;  // null: nothing is traced
  const std::chrono::steady_clock::time_point begun_ = std::chrono::steady_clock::now();
};

}  // namespace kelo
