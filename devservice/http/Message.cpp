// Headers are compared as HTTP asks, and zlib makes the gzip members.
#include "devservice/http/Message.h"

#include <strings.h>
#include <zlib.h>

#include <stdexcept>

namespace kelo::devservice {

std::string HeaderIn(const Headers& headers, std::string_view name) {
  const std::string wanted(name);
  for (const auto& [header, value] : headers)
    if (strcasecmp(header.c_str(), wanted.c_str()) == 0) return value;
  return {};
}

Reply PlainReply(int status, std::string body) {
  return {.status = status,
          .body = std::move(body),
          .headers = {{"Content-Type", "text/plain; charset=UTF-8"}}};
}

Reply TooLarge(std::uint64_t most) {
  return PlainReply(413, "The body is longer than " + std::to_string(most) + " bytes\n");
}

std::string Gzip(std::string_view bytes) {
  constexpr int gzipFormat = 15 + 16;
  z_stream stream{};
  if (deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, gzipFormat, 8, Z_DEFAULT_STRATEGY) != Z_OK)
    throw std::runtime_error("cannot compress");
  std::string out(deflateBound(&stream, bytes.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  const int result = deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  if (result != Z_STREAM_END) throw std::runtime_error("cannot compress");
  return out;
}

}  // namespace kelo::devservice
