// Reads a picture's size in pixels and the time of its shot, with the library exiv2, and that of a
// movie without it.
#include "host/upload/Pictures.h"

#include <algorithm>
#include <exiv2/exiv2.hpp>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "host/library/Digest.h"
#include "host/library/Interrupt.h"
#include "host/upload/MovieDate.h"
#include "host/upload/ShotDate.h"

namespace kelo::host {
namespace {

// The types of the picture library differ between its versions.
using IoPointer = decltype(Exiv2::ImageFactory::createIo(std::string()));
using Count = decltype(std::declval<Exiv2::BasicIo&>().read(nullptr, 0));

constexpr std::uint64_t kMaxBytes = 128 << 20;  // of a picture
constexpr std::uint64_t kMaxPart = 512 << 10;   // XMP that is larger could take minutes
constexpr int kMaxReads = 200'000;

// Where a picture is read from. A damaged one may lead to and fro without end, or tell of parts
// without measure: the reading ends with a failure then.
template <typename Io>
class Bounded : public Io {
 public:
  // `mostOfPart`: that may be read at once.
  template <typename... Place>
  explicit Bounded(std::uint64_t mostOfPart, const Place&... place)
      : Io(place...), mostOfPart_(mostOfPart) {}

  Count read(Exiv2::byte* bytes, Count count) override {
    Take(count);
    return Io::read(bytes, count);
  }
  Exiv2::DataBuf read(Count count) override {
    Take(count);
    return Io::read(count);
  }
  int getb() override {
    Take(1);
    return Io::getb();
  }

 private:
  void Take(Count count) {
    const auto more = static_cast<std::uint64_t>(count);
    bytes_ += more;
    if (++reads_ > kMaxReads || more > mostOfPart_ || bytes_ > kMaxBytes)
      throw std::length_error("a picture");
  }

  const std::uint64_t mostOfPart_;
  int reads_ = 0;
  std::uint64_t bytes_ = 0;
};

// All of a small file, and the first bytes of a larger one. The picture library seeks to and fro,
// which takes longer than reading a small file at once.
std::string Beginning(const File& file) {
  constexpr std::uint64_t kSmall = 256 << 10;
  constexpr std::uint64_t kFirst = 12;
  std::string bytes(static_cast<size_t>(file.size > kSmall ? kFirst : file.size), '\0');
  std::ifstream stream;
  stream.rdbuf()->pubsetbuf(nullptr, 0);
  stream.open(file.path, std::ios::binary);
  stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<size_t>(stream.gcount()));
  return bytes;
}

// What the picture library wants to be told once. Later versions read HEIF without being asked.
bool SetUp() {
  Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  Exiv2::enableBMFF();
#pragma GCC diagnostic pop
  return Exiv2::XmpParser::initialize();  // pictures are read on several threads
}

// Opens a picture that begins so. Null: it is none, or one whose parts could take too much memory,
// where the picture library holds each part as a whole.
auto OpenPicture(const File& file, const std::string& beginning) {
  const auto is = [&](const char* start) { return beginning.starts_with(start); };
  if (file.size > kMaxBytes && !is("II") && !is("MM") && !is("\xFF\xD8"))
    return decltype(Exiv2::ImageFactory::open(IoPointer()))();
  const bool isHeif = beginning.rfind("ftyp", 4) == 4;  // it is read as a whole
  const std::uint64_t most = isHeif ? kMaxBytes : kMaxPart;
  if (beginning.size() < file.size)
    return Exiv2::ImageFactory::open(IoPointer(new Bounded<Exiv2::FileIo>(most, file.path)));
  return Exiv2::ImageFactory::open(IoPointer(
      new Bounded<Exiv2::MemIo>(most, reinterpret_cast<const Exiv2::byte*>(beginning.data()),
                                static_cast<Count>(beginning.size()))));
}

void ReadPicture(const File& file, const std::string& beginning,
                 const std::function<void(const Exiv2::Image&)>& use) {
  static const bool isSetUp = SetUp();
  static_cast<void>(isSetUp);
  try {
    const auto picture = OpenPicture(file, beginning);
    // What it takes for a movie it must not read: see MovieDate.cpp.
    if (picture.get() == nullptr || !picture->mimeType().starts_with("image/")) return;
    try {
      picture->readMetadata();
    } catch (const std::exception&) {
      // A damaged picture tells what comes before the damage.
    }
    use(*picture);
  } catch (const std::exception&) {
    // Not a picture: it is stored all the same, only without these facts.
  }
}

void AddPictureFacts(File& file, const std::string& beginning) {
  if (IsMovie(beginning)) {
    file.shotDate = MovieDate(file.path);
    return;
  }
  ReadPicture(file, beginning, [&file](const Exiv2::Image& picture) {
    // signed or not, as the version has them
    file.width = static_cast<std::uint32_t>(std::max<std::int64_t>(picture.pixelWidth(), 0));
    file.height = static_cast<std::uint32_t>(std::max<std::int64_t>(picture.pixelHeight(), 0));
    file.shotDate = ShotDate(picture);
  });
}

void ReadFactsOf(File& file) {
  const auto now = NowAt(file.path);
  if (!now) return;
  if (now->stamp != file.stamp) {
    file.digest.clear();
    file.itemId.clear();
    file.isKnown = false;
  }
  if (file.isKnown) return;
  file.stamp = now->stamp;
  file.stampHolds = now->stamp.ShowsChanges();
  if (now->size > 0 && now->size <= kMaxFile) {
    file.size = now->size;
    file.modifyDate = now->modifyDate;
  }
  const std::string beginning = Beginning(file);
  AddPictureFacts(file, beginning);
  if (file.digest.empty())
    file.digest = beginning.size() == file.size ? Sha256(beginning) : Sha256OfFile(file.path);
}

}  // namespace

void ReadPicture(const File& file, const std::function<void(const Exiv2::Image&)>& use) {
  const std::string beginning = Beginning(file);
  if (!IsMovie(beginning)) ReadPicture(file, beginning, use);
}

void ReadPictureFacts(const Files& files) {
  for (File* file : files)
    if (Interrupt::Signal() == 0) ReadFactsOf(*file);
}

}  // namespace kelo::host
