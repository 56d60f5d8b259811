// The trace of requests: a line for each, into the file that the environment variable KELO_TRACE
// names. "-" is standard error, "/dev/fd/N" the open descriptor N, which needs no such path to
// exist. Nothing is traced without the variable, nor in a program with more rights than its caller.
// A line never holds a secret, token, signature, query or body.
//
//   2026-11-21T10:20:30.123Z command=24 PUT 127.0.0.1:8080/manage GetStorageCapacity out=731 in=214
//   http=200 stat=ok result=0 ms=43 connection=reused wait=42
//
// (in one line). Fields that have nothing to tell are left out. The texts in "errmsg=" (the
// service's) and "failure=" (the engine's) are for people: in double quotes, cut, masked, what is
// not printable as blanks. Hosts may decide by everything else, and are to pass over fields that
// they don't know. A request that failed has "cause=", and "unusable=" if what came is no answer:
// docs/debugging.md tells what each of their words means.
//
// A line is written before the command reads what the answer holds. An answer that says "ok" and
// lacks what its command needs has no cause: the command then answers kKELOResult_GeneralFailure.
//
// Where the cause is unresolved, unreachable, refused, tls or a proxy's tunnel, nothing of the
// request was sent ("out=0"). "proxy=used" tells that it was to go through a proxy. The phases
// lookup=, connect= (with TLS and a tunnel), send=, wait= (for the first byte of the answer) and
// receive= are in milliseconds, over all redirects; one that took less than a millisecond is left
// out, so that a fast request has a short line and no slow one lacks its reason.
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
