// Planning of uploads and the facts about local files.

#include "HostTest.h"
#include "host/names/Dates.h"
#include "host/upload/Pictures.h"
#include "host/upload/Plan.h"
#include "host/upload/Walk.h"

namespace kelo::host::testing {
namespace {

class FilesTest : public HostTest {
 protected:
  void Sized(const std::string& name, std::uint64_t size) const {
    fs::resize_file(Write(name, ""), size);
  }

  std::vector<std::size_t> RequestSizes(bool check) const {
    std::vector<std::size_t> sizes;
    std::vector<File> files = FindFiles({(folder_ / "in").string()});
    for (const auto& request : PlanUpload(files, check).requests)
      sizes.push_back(request.files.size());
    return sizes;
  }
};

TEST_F(FilesTest, RequestsAreBoundedInFilesAndBytes) {
  for (int i = 0; i < 250; ++i) Write("in/" + std::to_string(i) + ".jpg", "x");
  EXPECT_EQ(RequestSizes(true), (std::vector<std::size_t>{100, 100, 50}));
  fs::remove_all(folder_ / "in");
  Sized("in/1.mov", 40u << 20);
  Sized("in/2.mov", 30u << 20);
  Sized("in/3.mov", 200u << 20);
  Sized("in/4.mov", 24u << 20);
  Sized("in/5.mov", 40u << 20);
  EXPECT_EQ(RequestSizes(true), (std::vector<std::size_t>{1, 1, 1, 2}));
}

TEST_F(FilesTest, MemosStayWithTheirPictures) {
  for (const char* name : {"in/a.jpg", "in/b.JPG", "in/B.wav", "in/c.jpg", "in/below/b.wav"})
    Write(name, "x");
  EXPECT_EQ(RequestSizes(true), (std::vector<std::size_t>{2, 2}));  // the memo below has no picture
  EXPECT_EQ(RequestSizes(false), (std::vector<std::size_t>{5}));
}

TEST_F(FilesTest, DuplicatesAgreeInNameSizeAndDate) {
  const auto date = fs::last_write_time(Write("in/x/a.jpg", "1"));
  fs::last_write_time(Write("in/y/a.jpg", "2"), date);
  fs::last_write_time(Write("in/z/a.jpg", "1"), date + std::chrono::hours(1));
  EXPECT_EQ(RequestSizes(true), (std::vector<std::size_t>{2, 1}));  // y is behind x
}

// What no request of the library's tells shows in its record.
TEST_F(FilesTest, APictureTellsOfItself) {
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
  LookAtPictures({&file});
  Output out;
  Watched library(out, {});
  Perform(library, {.files = {&file}});
  EXPECT_EQ(library.sent.width, 480u);
  EXPECT_EQ(library.sent.height, 320u);
  EXPECT_STREQ(library.sent.shotDate, "2026-05-17T10:11:12");
}

TEST(DatesOfFilesTest, AreTakenWhateverTheyAre) {
  const std::pair<std::int64_t, std::string> cases[] = {
      {0, "1970-01-01T00:00:00Z"},
      {-1, "1969-12-31T23:59:59Z"},
      {4102444800, "2100-01-01T00:00:00Z"},
      {std::numeric_limits<std::int64_t>::max(), "9999-12-31T23:59:59Z"},
      {std::numeric_limits<std::int64_t>::min(), "0000-01-01T00:00:00Z"}};
  for (const auto& [seconds, text] : cases) EXPECT_EQ(UniversalDate(seconds), text);
}

TEST_F(FilesTest, TakesAFileNamedTwiceOnce) {
  const fs::path file = Write("in/a.jpg", "x");
  fs::create_symlink(file, folder_ / "link.jpg");
  fs::create_directory_symlink(folder_ / "in", folder_ / "in/circle");
  const auto files =
      FindFiles({file.string(), (folder_ / "in").string(), (folder_ / "link.jpg").string()});
  ASSERT_EQ(files.size(), 1u);
  EXPECT_EQ(files.front().outcome, UploadOutcome::kUndecided);
  EXPECT_FALSE(SameContent(folder_, folder_)) << "what cannot be read is no copy";
}

}  // namespace
}  // namespace kelo::host::testing
