// Finds the movie header among a movie's atoms: a length and a name of four letters each, then the
// content, in which some have atoms of their own. The picture library reads these headers too, but
// not the 64-bit dates, and on a damaged movie some of its versions never end.
#include "host/upload/MovieDate.h"

#include <algorithm>
#include <fstream>
#include <optional>

#include "host/names/Dates.h"

namespace kelo::host {
namespace {

struct Atom {
  std::string name{};
  std::uint64_t begin = 0;  // of the content
  std::uint64_t end = 0;
};

std::uint64_t Number(std::string_view bytes) {
  std::uint64_t number = 0;
  for (const char byte : bytes) number = number << 8 | static_cast<unsigned char>(byte);
  return number;
}

// Fewer where the file ends before.
std::string BytesAt(std::istream& movie, std::uint64_t at, size_t count) {
  std::string bytes(count, '\0');
  movie.clear();
  movie.seekg(static_cast<std::streamoff>(at));
  movie.read(bytes.data(), static_cast<std::streamsize>(count));
  bytes.resize(static_cast<size_t>(movie.gcount()));
  return bytes;
}

std::optional<Atom> AtomAt(std::istream& movie, std::uint64_t at, std::uint64_t end) {
  const std::string head = BytesAt(movie, at, 16);
  if (head.size() < 8) return std::nullopt;
  const bool isLong = Number(head.substr(0, 4)) == 1 && head.size() == 16;
  std::uint64_t size = Number(isLong ? head.substr(8) : head.substr(0, 4));
  if (size == 0) size = end - at;  // the last one
  const std::uint64_t headSize = isLong ? 16 : 8;
  if (size < headSize || size > end - at) return std::nullopt;
  return Atom{.name = head.substr(4, 4), .begin = at + headSize, .end = at + size};
}

// The content of the first atom of this name; the search ends where there are too many others.
std::optional<Atom> FindAtom(std::istream& movie, const Atom& in, std::string_view name) {
  constexpr int kMax = 1000;
  std::uint64_t at = in.begin;
  for (int count = 0; count < kMax && at < in.end; ++count) {
    auto atom = AtomAt(movie, at, in.end);
    if (!atom || atom->name == name) return atom;
    at = atom->end;
  }
  return std::nullopt;
}

// Of seconds since 1904. Before 1970 there were no such movies, only clocks that were not set.
std::string DateOf(std::uint64_t seconds) {
  constexpr std::uint64_t k1970 = 2082844800;
  constexpr std::uint64_t k10000 = k1970 + 253402300800;
  if (seconds < k1970 || seconds >= k10000) return {};
  std::string date = UniversalDate(static_cast<std::int64_t>(seconds - k1970));
  date.pop_back();  // the zone
  return date;
}

}  // namespace

bool IsMovie(std::string_view beginning) {
  // What is built like a movie and is a picture: HEIF, AVIF, and raw pictures.
  constexpr std::string_view kPictures[] = {"avci", "avcs", "avif", "avis", "crx ", "heic",
                                            "heim", "heis", "heix", "hevc", "hevm", "hevs",
                                            "hevx", "j2ki", "mif1", "msf1"};
  constexpr std::string_view kMovies[] = {"moov", "mdat", "wide", "free", "skip", "pnot"};
  if (beginning.size() < 12) return false;
  const std::string_view name = beginning.substr(4, 4);
  if (name != "ftyp") return std::ranges::find(kMovies, name) != std::end(kMovies);
  return std::ranges::find(kPictures, beginning.substr(8, 4)) == std::end(kPictures);
}

std::string MovieDate(const std::filesystem::path& path) {
  std::ifstream movie(path, std::ios::binary | std::ios::ate);
  const auto size = static_cast<std::int64_t>(movie.tellg());
  if (size <= 0) return {};
  const auto all = FindAtom(movie, {.end = static_cast<std::uint64_t>(size)}, "moov");
  const auto header = all ? FindAtom(movie, *all, "mvhd") : std::nullopt;
  if (!header) return {};
  // The version and flags, then the date, in 4 or 8 bytes.
  const std::string bytes = BytesAt(movie, header->begin, 12);
  if (bytes.size() < 12 || header->end - header->begin < 12) return {};
  return DateOf(Number(std::string_view(bytes).substr(4, bytes[0] == 1 ? 8 : 4)));
}

}  // namespace kelo::host
