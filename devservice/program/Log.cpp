// Writes each line whole or not at all, and tells once when the log cannot be written.
#include "devservice/program/Log.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "devservice/control/RequestLog.h"
#include "devservice/files/PrivateFiles.h"

namespace kelo::devservice {
namespace {

// What a client sends cannot begin a line of its own, nor steer a terminal.
std::string Escaped(const std::string& text) {
  static constexpr char digits[] = "0123456789ABCDEF";
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > 0x20 && byte < 0x7F)
      out += c;
    else
      out += {'%', digits[byte >> 4], digits[byte & 15]};
  }
  return out;
}

// "2026-01-31T12:34:56.789Z PUT AddFolder 200 error 207 3.1 ms, 120 bytes in, 310 out, signature
// ok"
std::string LogLine(const RequestRecord& record) {
  std::string line = TimeText(record.time) + " " + Escaped(record.verb) + " ";
  line += Escaped(record.method.empty() ? record.path : record.method);
  line += record.status == 0 ? " no answer" : " " + std::to_string(record.status);
  if (record.errorCode != 0) line += " error " + std::to_string(record.errorCode);
  const auto tenths = record.duration.count() / 100;
  line += " " + std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " ms, ";
  line +=
      std::to_string(record.bodySize) + " bytes in, " + std::to_string(record.bytesOut) + " out";
  if (!record.complete) line += ", incomplete";
  if (!record.signature.empty())
    line += ", signature " + record.signature.substr(0, record.signature.find(':'));
  if (!record.fault.empty()) line += ", fault " + record.fault;
  return line;
}

// Writes a line whole, or nothing of it: a part would be the beginning of the next one.
bool WriteLine(std::FILE* file, const std::string& line) {
  struct stat before {};
  fstat(fileno(file), &before);
  if (std::fputs(line.c_str(), file) >= 0 && std::fflush(file) == 0) return true;
  const int why = errno;
  if (S_ISREG(before.st_mode) && ftruncate(fileno(file), before.st_size) == 0)
    lseek(fileno(file), before.st_size, SEEK_SET);
  errno = why;
  return false;
}

}  // namespace

Log::Log(const std::string& path, bool json) : file_(stdout, [](std::FILE*) {}), json_(json) {
  if (path == "-") return;
  MakePrivateFile(path);
  file_ = {std::fopen(path.c_str(), "ae"), [](std::FILE* file) { std::fclose(file); }};
  if (!file_) throw std::runtime_error("cannot write " + path + ": " + std::strerror(errno));
}

void Log::Write(const RequestRecord& record) {
  const std::lock_guard lock(mutex_);
  using Json = nlohmann::ordered_json;
  std::string line = json_ ? RecordJson(record).dump(-1, ' ', true, Json::error_handler_t::replace)
                           : LogLine(record);
  line += '\n';
  const bool good = WriteLine(file_.get(), line);
  if (!good && !failed_)
    std::fprintf(stderr, "kelo-devservice: cannot write the log: %s\n", std::strerror(errno));
  failed_ = !good;
}

}  // namespace kelo::devservice
