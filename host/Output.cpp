// Lines on the standard streams.
#include "Output.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "ResultText.h"

namespace kelo::host {

void Output::Result(std::string_view line, const Json& object) {
  if (!json_) return Line(line);
  // File names need not be UTF-8.
  fmt::print("{}\n", object.dump(-1, ' ', false, Json::error_handler_t::replace));
  std::fflush(stdout);
}

void Output::Line(std::string_view line) {
  if (json_ || quiet_) return;
  fmt::print("{}\n", line);
  std::fflush(stdout);
}

void Output::Note(std::string_view line) {
  if (!quiet_) fmt::print(stderr, "{}\n", line);
}

void Output::Problem(std::string_view line) {
  fmt::print(stderr, "kelo: {}\n", line);
}

void Output::Finish() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0)
    throw Failure(fmt::format("cannot write to standard output: {}", std::strerror(errno)));
}

}  // namespace kelo::host
