// gzip by zlib.
#include "devservice/http/Gzip.h"

#include <zlib.h>

#include <stdexcept>

namespace kelo::devservice {

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
