// What is read from pictures and movies on their way up.
#include <exiv2/exiv2.hpp>

#include "HostTest.h"
#include "host/upload/Pictures.h"
#include "host/upload/UploadRequest.h"

namespace kelo::host::testing {
namespace {

using Texts = std::vector<std::pair<std::string, std::string>>;

// A picture without pixels, with these metadata.
template <typename Type>
std::string Picture(Type type, const Texts& texts) {
  const auto image = Exiv2::ImageFactory::create(type);
  for (const auto& [key, text] : texts)
    if (key.starts_with("Exif"))
      image->exifData()[key] = text;
    else if (key.starts_with("Xmp"))
      image->xmpData()[key] = text;
    else
      image->iptcData()[key] = text;
  image->writeMetadata();
  Exiv2::BasicIo& io = image->io();
  std::string bytes(io.size(), '\0');
  io.open();
  io.read(reinterpret_cast<Exiv2::byte*>(bytes.data()),
          static_cast<decltype(io.read(nullptr, 0))>(bytes.size()));
  return bytes;
}

std::string Jpeg(const Texts& texts) {
  return Picture(Exiv2::ImageType::jpeg, texts);
}

std::string Tiff(const std::string& key, const std::string& text) {
  Exiv2::ExifData exif;
  exif[key] = text;
  Exiv2::Blob bytes;
  Exiv2::ExifParser::encode(bytes, Exiv2::littleEndian, exif);
  return {bytes.begin(), bytes.end()};
}

// Of a number, the highest first.
std::string Bytes(int count, std::uint64_t number) {
  std::string bytes;
  while (count-- > 0) bytes += static_cast<char>(count < 8 ? number >> (8 * count) : 0);
  return bytes;
}

std::string Atom(const std::string& name, const std::string& content) {
  return Bytes(4, 4 + name.size() + content.size()) + name + content;
}

std::string Movie(const std::string& header) {
  return Atom("ftypqt  ", "") + Atom("mdat", "pixels") + Atom("moov", Atom("mvhd", header));
}

constexpr std::uint64_t kSeconds = 3798785472;  // from 1904 to 2024-05-17T10:11:12

// With EXIF only, at the end.
std::string Heic(const std::string& tiff) {
  const auto head = [&](size_t at) {
    return Atom("ftyp", "heic" + Bytes(4, 0) + "mif1heic") +
           Atom("meta",
                Bytes(4, 0) +
                    Atom("iinf", Bytes(6, 1) + Atom("infe", Bytes(8, (2ull << 56) + 65536) +
                                                                "Exif" + Bytes(1, 0))) +
                    Atom("iloc", Bytes(4, 0) + Bytes(4, 0x44000001) + Bytes(6, 0x100000001) +
                                     Bytes(4, at) + Bytes(4, 4 + tiff.size()))) +
           Bytes(4, 12 + tiff.size()) + "mdat";
  };
  return head(head(0).size()) + Bytes(4, 0) + tiff;
}

class PicturesTest : public HostTest {
 protected:
  File LookedAt(const std::string& name, const std::string& bytes) const {
    File file{.path = Write(name, bytes)};
    ReadPictureFacts({&file});
    return file;
  }
};

// What no request of the library's tells shows in its record.
TEST_F(PicturesTest, TellTheirSizeAndDate) {
  struct Watched : Library {
    using Library::Library;
    std::uint32_t Command(std::uint32_t code, tagCommandControlInfo* record,
                          const OnProgress&) override {
      if (code == kKELOCommand_Upload) sent = *static_cast<const tagKELO_LoadInfo*>(record->data);
      return kKELOResult_NoSession;
    }
    tagKELO_LoadInfo sent{};
  };
  File file{.path = KELO_SAMPLES_DIRECTORY "/mine/Garden/rosebed.jpg"};
  ReadPictureFacts({&file});
  Output out;
  Watched library(out, {});
  Perform(library, {.files = {&file}});
  EXPECT_EQ(library.sent.width, 480u);
  EXPECT_EQ(library.sent.height, 320u);
  EXPECT_STREQ(library.sent.shotDate, "2026-05-17T10:11:12");
}

TEST_F(PicturesTest, TheDateOfAShotHasManySources) {
  const std::string photo = "Exif.Photo.DateTimeOriginal";
  const std::string changed = "Exif.Image.DateTime";
  const std::string city = "Xmp.photoshop.DateCreated";
  const std::string at = "2024:05:17 10:11:12";
  const std::string right = "2024-05-17T10:11:12";
  const std::string day = "2024-05-17T00:00:00";
  const std::string tiff = Tiff(photo, at);
  const Texts inOrder = {{photo, at},
                         {"Exif.Image.DateTimeOriginal", at},
                         {"Exif.Photo.DateTimeDigitized", at},
                         {city, right},
                         {"Xmp.xmp.CreateDate", right},
                         {"Xmp.exif.DateTimeOriginal", right},
                         {"Iptc.Application2.DateCreated", "2024-05-17"},
                         {changed, at}};
  struct Case {
    std::string name;
    std::string bytes;
    std::string date;
  };
  std::vector<Case> cases = {
      {"photo.tif", tiff, right},
      {"raw.dng", tiff, right},
      {"photo.heic", Heic(tiff), right},
      {"photo.png", Picture(Exiv2::ImageType::png, {{photo, at}}), right},
      {"xmp.png", Picture(Exiv2::ImageType::png, {{city, right}}), right},
      {"photo.webp",
       "RIFF" + std::string(1, static_cast<char>(12 + tiff.size())) + std::string(3, '\0') +
           "WEBPEXIF" + std::string(1, static_cast<char>(tiff.size())) + std::string(3, '\0') +
           tiff,
       right},
      {"time.jpg",
       Jpeg({{"Iptc.Application2.DateCreated", "2024-05-17"},
             {"Iptc.Application2.TimeCreated", "10:11:12+02:00"}}),
       right},
      {"day.jpg", Jpeg({{city, "2024-05-17"}}), day},
      {"minute.jpg", Jpeg({{city, "2024-05-17T10:11+02:00"}}), "2024-05-17T10:11:00"},
      {"zone.jpg", Jpeg({{city, right + ".25-08:00"}}), right},
      {"movie.mov", Movie(Bytes(4, 0) + Bytes(4, kSeconds) + Bytes(8, 0)), right},
      {"long.mp4", Movie(Bytes(4, 1ull << 24) + Bytes(8, kSeconds)), right},
      {"last.mov", Bytes(4, 0) + "moov" + Atom("mvhd", Bytes(4, 0) + Bytes(8, kSeconds << 32)),
       right},
      {"never.mov", Movie(Bytes(16, 0)), ""},
      {"end.mov", Movie(Bytes(4, 1ull << 24) + Bytes(8, ~0ull)), ""},
      {"cut.mov", Movie(""), ""},
      // lengths that lead nowhere, or too far
      {"circle.mov", Atom("ftypqt  ", "") + Bytes(4, 7) + "moov" + Movie(Bytes(20, 0)), ""},
      {"far.mov", Atom("ftypqt  ", "") + Bytes(4, 0x7FFFFFFF) + "mvhd" + std::string(64, '\0'), ""},
  };
  for (size_t from = 0; from < inOrder.size(); ++from) {
    Texts left(inOrder.begin() + static_cast<std::ptrdiff_t>(from), inOrder.end());
    for (size_t i = 1; i < left.size(); ++i) left[i].second[3] = '1';  // 2021
    const std::string date = left[0].first.starts_with("Iptc") ? day : right;
    cases.push_back({"from" + std::to_string(from) + ".jpg", Jpeg(left), date});
  }
  for (const char* bad : {"0000:00:00 00:00:00", "2024:13:01 10:11:12", "2024:02:30 10:11:12",
                          "2024:05:17 10:11:60", "    :  :     :  :  ", "yesterday", ""})
    cases.push_back({"bad.jpg", Jpeg({{photo, bad}, {changed, at}}), right});
  for (const Case& one : cases)
    EXPECT_EQ(LookedAt(one.name, one.bytes).shotDate, one.date) << one.name;
}

TEST_F(PutTest, CaptionsRatingsAndKeywordsCanBeTakenAlong) {
  Write("in/iptc.jpg", Jpeg({{"Iptc.Application2.Caption", "At sea"},
                             {"Iptc.Application2.Keywords", "boats"},
                             {"Xmp.dc.subject", "sea, sun"},
                             {"Exif.Image.Rating", "9"}}));
  Write("in/xmp.jpg", Jpeg({{"Iptc.Application2.Caption", "\xE9"},
                            {"Xmp.dc.description", Repeated("\u00E9", 200)},
                            {"Xmp.xmp.Rating", "4"}}));
  Write("in/none.jpg", Jpeg({{"Xmp.xmp.Rating", "-1"}}));
  ASSERT_EQ(Put().exitCode, 0);
  EXPECT_EQ(Arrived("ModifyProps"), 0u);
  Write("in/exif.jpg", Jpeg({{"Exif.Image.ImageDescription", "new"},
                             {"Exif.Image.Rating", "3"},
                             {"Iptc.Application2.Keywords", "new"},
                             {"Xmp.dc.subject", "new"}}));
  AnswerWith(Refusal(301), "ModifyProps", [](const ClientRequest& request) {
    return request.body.find("At sea") != std::string::npos;
  });
  const Outcome failed = Put("--metadata");
  EXPECT_EQ(failed.exitCode, 1);
  EXPECT_THAT(failed.err,
              AllOf(HasSubstr("iptc.jpg: its metadata were not brought to its item: "),
                    HasSubstr("metadata of 2 files brought"), HasSubstr("and were cut")));
  AnswerWith({}, "nothing");
  for (const char* brought : {"1 file", "0 files"}) {
    const Outcome again = Put("--metadata");
    EXPECT_EQ(again.exitCode, 0);
    EXPECT_THAT(again.err, HasSubstr("metadata of " + std::string(brought) + " brought"));
  }
  EXPECT_EQ(Summary(Put("--metadata --json").out)["metadataBrought"], 0);
  for (const auto& [method, text] :
       {std::pair<const char*, std::string>("ModifyProps", "value=\"At sea\""),
        {"ModifyProps", "value=\"" + Repeated("&#233;", 159) + "\""},
        {"ModifyProps", "name=\"rating\" value=\"4\""},
        {"ModifyProps", "name=\"rating\" value=\"3\""},
        {"ModifyProps", "value=\"new\""},
        {"AddTags", "tagList=\"boats,sea  sun\""},
        {"AddTags", "tagList=\"new\""}})
    EXPECT_TRUE(WaitFor(method, text)) << text;
  service_.ClearArrived();
  Write("in/z.jpg", "new");
  EXPECT_THAT(Put("--tags late").err, HasSubstr("tags added to the items of 4 files already"));
  EXPECT_TRUE(WaitFor("UploadItems", "late"));
  EXPECT_THAT(Put("--tags late").err, Not(HasSubstr("tags added")));
  EXPECT_EQ(Arrived("AddTags"), 4u);
}

// Of 300 MiB each; all together they may take so many seconds of the processor.
TEST_F(PicturesTest, DamagedFilesCostNothing) {
  const std::string png = Picture(Exiv2::ImageType::png, {}).substr(0, 33);  // with its header
  const std::pair<const char*, std::string> cases[] = {
      {"zeros.mov", ""},
      {"content.mov", Atom("ftypqt  ", "")},
      {"text.png", png + Bytes(4, 299 << 20) + "iTXtXML:com.adobe.xmp" + Bytes(5, 0)},
      {"parts.jpg", "\xFF\xD8" + Repeated("\xFF\xE1" + Bytes(2, 2), 1 << 20)},
  };
  const std::clock_t begin = std::clock();
  for (const auto& [name, bytes] : cases) {
    fs::resize_file(Write(name, bytes), 300 << 20);
    File file{.path = (folder_ / name).string()};
    EXPECT_TRUE(Describe(file));
    file.digest = "known";
    ReadPictureFacts({&file});
    EXPECT_EQ(file.shotDate, "") << name;
  }
  EXPECT_LT(std::clock() - begin, 2 * CLOCKS_PER_SEC);
}

}  // namespace
}  // namespace kelo::host::testing
