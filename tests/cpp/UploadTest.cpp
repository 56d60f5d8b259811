// What an upload tells of its files: before, behind its check, and when it fails.
#include <gmock/gmock.h>

#include "LibraryFixture.h"

namespace kelo::testing {
namespace {

using ::testing::HasSubstr;

class UploadTest : public LibraryTest {
 protected:
  UploadTest() {
    Open();
    // The first is there, the second is new.
    Script("CheckUploadItems",
           "<r stat=\"ok\"><items><item idx=\"1\" status=\"1\" itemId=\"I1\" />"
           "<item idx=\"2\" status=\"0\" /></items></r>");
  }

  std::string Upload(const UploadOptions& options = {}) {
    return Told([&] { return library_->Upload("", files_, options); });
  }

  std::vector<UploadFile> files_ = {{.path = folder().Write("a.jpg", "a")},
                                    {.path = folder().Write("b.jpg", "b")},
                                    {.path = folder().Path("missing")}};
};

TEST_F(UploadTest, AFailureKeepsWhatTheCheckFound) {
  const UploadOptions check{.checkDuplicates = true};
  Script("UploadItems", "<r stat=\"fail\" errcode=\"203\" />");
  EXPECT_EQ(Upload(check), "I1:4099 :4102 :4098 4102");
  EXPECT_EQ(Upload(), ":4102 :4102 :4098 4102");
  Script("UploadItems", "garbage");
  EXPECT_EQ(Upload(check), "I1:4099 :4144 :4098 4144 may be stored");
  Script("CheckUploadItems", "<r stat=\"fail\" errcode=\"401\" />");
  EXPECT_EQ(Upload(check), ":4112 :4112 :4098 4112");
  library_->Restore({}, "");
  EXPECT_EQ(Upload(), ":4116 :4116 :4098 4116");
}

TEST_F(UploadTest, TheCheckAloneSendsNothing) {
  const UploadOptions only{.checkOnly = true, .comparedDates = kKELOCheck_FileModifyDate};
  EXPECT_EQ(Upload(only), "I1:4099 : :4098 ");
  EXPECT_THAT(Requests("CheckUploadItems").at(0).body, Not(HasSubstr("fileCreateDate")));
  files_.erase(files_.begin() + 1);
  EXPECT_EQ(Upload(only), "I1:4099 :4098 ") << "nothing is left to send";
  Script("CheckUploadItems", "<r stat=\"ok\"><items></items></r>");
  EXPECT_EQ(Upload(only), ":4144 :4098 4144");
  EXPECT_TRUE(Requests("UploadItems").empty());
}

// What the host knows of a file is not looked up again.
TEST_F(UploadTest, AGivenSizeIsSent) {
  files_ = {{.path = folder().Write("c.jpg", "grown since"), .size = 5}};
  EXPECT_EQ(Upload(), ": ") << "not confirmed by this service";
  EXPECT_THAT(Requests("UploadItems").at(0).body, HasSubstr("size=\"5\""));
  EXPECT_THAT(Requests("UploadItems").at(0).body, Not(HasSubstr("since")));

  const std::string modified = "2008-05-17T10:00:00Z";
  const UploadFile gone{.path = folder().Path("gone"), .size = 5, .modifyDate = modified};
  files_ = {gone, gone};
  EXPECT_EQ(Upload({.checkOnly = true}), "I1:4099 : ");
  EXPECT_EQ(Upload(), ":4098 :4098 4098");
  files_ = {{.path = "huge", .size = 1ull << 31, .modifyDate = modified}};
  EXPECT_EQ(Upload(), ":4103 ");
  EXPECT_EQ(Requests("UploadItems").size(), 1u);
}

}  // namespace
}  // namespace kelo::testing
