// The log of requests as text: a line for each, for people or as JSON. No secrets: the records have
// none, and documents and answers, which may hold what a user wrote, stay out.
#pragma once

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>

#include "devservice/http/RequestRecord.h"

namespace kelo::devservice {

// Thread-safe.
class Log {
 public:
  // Adds to the file, which only its owner can read; "-" is standard output. Throws
  // std::runtime_error where it cannot be written.
  Log(const std::string& path, bool json);

  void Write(const RequestRecord& record);

 private:
  std::unique_ptr<std::FILE, void (*)(std::FILE*)> file_;
  bool json_;
  std::mutex mutex_;
  bool failed_ = false;
};

}  // namespace kelo::devservice
