// What a peer may do wrong, and what each request then comes to.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "recovery/Front.h"

namespace kelo::testing {

constexpr uint32_t kNotTried = ~0u;  // to this request it is no fault
constexpr const char* kNoHost = "http://no-such-host.invalid";

struct Fault {
  std::string name;
  Front::Fault peer;
  // What a document (PUT), an upload (POST) and the opening of a session (a GET that follows
  // redirects) come to ...
  uint32_t others;
  uint32_t download = others;  // ... and a download, likewise

  friend void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.name; }
};

Front::Fault AnswerStatus(int status, std::string body = "", std::string headers = "");
Front::Fault RedirectTo(std::string target);

std::vector<Fault> PeerFaults();

}  // namespace kelo::testing
