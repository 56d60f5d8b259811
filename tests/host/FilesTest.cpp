// Planning of uploads and the facts about local files.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "KeloProcess.h"
#include "host/library/ResultText.h"
#include "host/upload/UploadPlan.h"

namespace kelo::host::testing {
namespace {

class FilesTest : public HostTest {
 protected:
  void Sized(const std::string& name, std::uint64_t size) const {
    fs::resize_file(Write(name, ""), size);
  }

  std::vector<std::size_t> BatchSizes(bool checked) const {
    std::vector<std::size_t> sizes;
    for (const auto& batch : PlanUpload({(folder_ / "in").string()}, {.checked = checked}).batches)
      sizes.push_back(batch.files.size());
    return sizes;
  }
};

TEST_F(FilesTest, BatchesAreBoundedInFilesAndBytes) {
  for (int i = 0; i < 250; ++i) Write("in/" + std::to_string(i) + ".jpg", "x");
  EXPECT_EQ(BatchSizes(true), (std::vector<std::size_t>{100, 100, 50}));
  fs::remove_all(folder_ / "in");
  Sized("in/1.mov", 40u << 20);
  Sized("in/2.mov", 30u << 20);
  Sized("in/3.mov", 200u << 20);
  Sized("in/4.mov", 24u << 20);
  Sized("in/5.mov", 40u << 20);
  EXPECT_EQ(BatchSizes(true), (std::vector<std::size_t>{1, 1, 1, 2}));
}

TEST_F(FilesTest, MemosStayWithTheirPictures) {
  for (const char* name : {"in/a.jpg", "in/b.JPG", "in/B.wav", "in/c.jpg", "in/below/b.wav"})
    Write(name, "x");
  EXPECT_EQ(BatchSizes(true), (std::vector<std::size_t>{2, 2}));  // the memo below has no picture
  EXPECT_EQ(BatchSizes(false), (std::vector<std::size_t>{5}));
}

TEST_F(FilesTest, TakesAFileNamedTwiceOnce) {
  const fs::path file = Write("in/a.jpg", "x");
  fs::create_symlink(file, folder_ / "link.jpg");
  fs::create_directory_symlink(folder_ / "in", folder_ / "in/circle");
  const UploadPlan plan =
      PlanUpload({file.string(), (folder_ / "in").string(), (folder_ / "link.jpg").string()});
  EXPECT_EQ(plan.FileCount(), 1u);
  EXPECT_TRUE(plan.refused.empty());
}

TEST_F(FilesTest, RefusesWhatIsNoFile) {
  ASSERT_EQ(::mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  for (const std::string& path :
       {(folder_ / "pipe").string(), std::string("/dev/null"), (folder_ / "none").string()})
    EXPECT_THROW(DescribeFile(path), Failure) << path;
}

TEST_F(FilesTest, DatesAreThoseOfTheFileInUniversalTime) {
  const fs::path file = Write("a.jpg", "x");
  const timespec times[2] = {{0, 0}, {1'211'019'072, 500}};
  ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
  const LocalFile facts = DescribeFile(file);
  EXPECT_EQ(facts.modifyDate, "2008-05-17T10:11:12Z");
  EXPECT_EQ(facts.createDate, facts.modifyDate);
}

}  // namespace
}  // namespace kelo::host::testing
