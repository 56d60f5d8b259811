// What is kept of every request that was answered, for the log and the page: what went over the
// wire, and what the service made of it. Once it is over its secrets are masked: no API key,
// signing secret, signature, authentication token or session token stands in it, wherever in its
// request a client has put one.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "devservice/http/Message.h"

namespace kelo::devservice {

struct RequestRecord : RequestFacts {
  // A longer document or answer is cut to this size. Files are never kept.
  static constexpr size_t kMaxText = 64 << 10;

  std::uint64_t number = 0;  // given by the log, from 1 on, in the order of the answers
  std::chrono::system_clock::time_point time;  // when its head had arrived
  int status = 0;                              // of HTTP; 0 where no answer was sent
  int errorCode = 0;                           // of the service; 0 where it refused nothing
  std::string errorText;
  std::chrono::microseconds duration{};  // from the head's arrival to the answer's last byte
  std::uint64_t bytesOut = 0;            // head and body, as they were sent
  std::string document;                  // as sent; of an upload, the document part
  std::string answer;                    // before compression; empty for files
  std::string signature;                 // "ok", why it is not, or empty where a request needs none
  std::string fault;                     // the fault that fired, as it was given; empty: none
};

}  // namespace kelo::devservice
