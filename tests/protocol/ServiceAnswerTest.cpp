// What answers mean: status, error numbers, properties, dates and file formats; and the call
// identifiers.

#include "protocol/ServiceAnswer.h"

#include <gtest/gtest.h>

#include "catalogue/KELOAccessFileInfoConverter.h"
#include "controller/KELOAccessCommandController.h"
#include "protocol/Signing.h"

namespace kelo {
namespace {

TEST(ServiceAnswer, TurnsStatusIntoAResultCode) {
  const struct {
    const char* answer;
    uint32_t result;
    bool serviceError;
  } cases[] = {
      {"", 4144, false},
      {"<r stat='ok'/>", 4144, false},
      {"<r stat = \"ok\"/>", 4144, false},
      {"<r errcode=\"207\"/>", 4144, false},
      {"<r stat=\"ok", 4144, false},
      {"<r stat=\"ok\"/>", 0, false},
      // The first one anywhere counts, also without a tag, and at the end of a longer name.
      {"<r stat=\"ok\"", 0, false},
      {"<!-- stat=\"ok\" --><r stat=\"fail\" errcode=\"207\"/>", 0, false},
      {"<r laststat=\"fail\" stat=\"ok\" errcode=\"207\"/>", 4115, true},
      {"<r stat=\"OK\"/>", 4144, false},
      {"<r stat=\"ok\"><x stat=\"fail\" errcode=\"207\"/></r>", 0, false},
      {"<r stat=\"fail\" errcode=\"207\"><x stat=\"ok\"/></r>", 4115, true},
      {"<r stat=\"fail\"/>", 4144, false},
      {"<r stat=\"fail\" errcode=\"\"/>", 4144, true},
      {"<r stat=\"fail\" errcode=\"abc\"/>", 4144, true},
      {"<r stat=\"\" errcode=\"207\"/>", 4115, true},
      {"<r stat=\"fail\" errcode=\"207x\"/>", 4115, true},
  };
  for (const auto& c : cases) {
    const ServiceAnswer answer(0, c.answer);
    EXPECT_EQ(answer.Result(), c.result) << c.answer;
    EXPECT_EQ(answer.IsServiceError(), c.serviceError) << c.answer;
  }
  const std::pair<int, uint32_t> numbers[] = {
      {999, 4144}, {107, 4116}, {108, 4116}, {203, 4102}, {204, 4103}, {205, 4103},
      {206, 4103}, {208, 4101}, {301, 4112}, {302, 4115}, {311, 4112}, {312, 4115},
      {313, 4144}, {314, 4115}, {315, 4112}, {318, 4101}, {401, 4112}};
  for (const auto& [number, result] : numbers) {
    const ServiceAnswer answer(0, "<r stat=\"fail\" errcode=\"" + std::to_string(number) + "\"/>");
    EXPECT_EQ(answer.Result(), result) << number;
    EXPECT_TRUE(answer.IsServiceError()) << number;
  }
}

TEST(ServiceAnswer, AFailedTransferLeavesNoServiceError) {
  const ServiceAnswer answer(4129, "<r stat=\"fail\" errcode=\"207\"/>");
  EXPECT_EQ(answer.Result(), 4129u);
  EXPECT_FALSE(answer.IsServiceError());
}

TEST(Properties, TheFirstOfANameWins) {
  const std::string answer =
      "<property name=\"Caption\" value=\"other case\" /><propertyless name=\"caption\"/>"
      "<property name='caption'/><property\r\nxvalue=\"0\" value=\"1\" name=\"caption\" />"
      "<property name=\"caption\" value=\"2\" /><property name=\"bare\" />";
  std::string value = "before";
  EXPECT_EQ(KELOAccessCommandController::ExtractPropertyInfo(answer, "caption", value), 1u);
  EXPECT_EQ(value, "1");
  EXPECT_EQ(KELOAccessCommandController::ExtractPropertyInfo(answer, "bare", value), 1u);
  EXPECT_EQ(value, "");
  value = "before";
  EXPECT_EQ(KELOAccessCommandController::ExtractPropertyInfo(answer, "capt", value), 0u);
  EXPECT_EQ(value, "before");
}

TEST(Dates, OnlyTheColonsOfAnExifDateChange) {
  const std::pair<const char*, const char*> cases[] = {
      {"2008:05:17 10:11:12", "2008-05-17 10:11:12"},
      {"2008-05-17 10:11:12", "2008-05-17 10:11:12"},
      {"2008:05/17", "2008-05/17"},
      {"2008:05", "2008:05"},
      {"", ""},
  };
  for (const auto& [before, after] : cases) {
    std::string date = before;
    KELOAccessCommandController::ConvertDateInfoExifToUTC(date);
    EXPECT_EQ(date, after) << before;
  }
}

// Taken faster than one in a millisecond, they soon run ahead of the clock and grow by one each.
TEST(CallIdentifiers, AreStrictlyIncreasing) {
  KELOAccessCommandController controller;
  uint64_t last = 0;
  for (int i = 0; i < 20000; ++i) {
    const uint64_t id = controller.GetCallID();
    ASSERT_GT(id, last);
    if (i > 10000) ASSERT_EQ(id, last + 1);
    last = id;
  }
}

// As the service spells its types.
constexpr std::pair<const char*, std::uint32_t> kKnown[] = {{"image/jpeg", 1},
                                                            {"image/pjpeg", 1},
                                                            {"image/x-talvo-rwa", 2},
                                                            {"image/x-talvo-rwb", 3},
                                                            {"image/tiff", 4},
                                                            {"video/quicktime", 5},
                                                            {"video/x-msvideo", 6},
                                                            {"audio/x-wav", 7},
                                                            {"application/octet-stream", 0x1001},
                                                            {"application/x-unknown", 0x1002},
                                                            {"application/x-unrecognized", 0x1003}};

TEST(KELOAccessFileInfoConverter, TypesAreKnownByTheirExactSpelling) {
  const KELOAccessFileInfoConverter converter;
  for (const auto& [type, format] : kKnown)
    EXPECT_EQ(converter.ConvertFileFormatFromKELO(type), format) << type;
  for (const char* type : {"", "image", "image/JPEG", "IMAGE/JPEG", "image/jpeg; q=1",
                           " image/jpeg", "image/jpeg ", "image/png"})
    EXPECT_EQ(converter.ConvertFileFormatFromKELO(type), 4099u) << type;
}

TEST(KELOAccessFileInfoConverter, AddedTypesNeverReplaceAndLastUntilSetup) {
  KELOAccessFileInfoConverter converter;
  converter.UpdateFileFormatList("image/jpeg", 9);
  converter.UpdateFileFormatList("image/png", 8);
  EXPECT_EQ(converter.ConvertFileFormatFromKELO("image/jpeg"), 1u);
  EXPECT_EQ(converter.ConvertFileFormatFromKELO("image/png"), 8u);
  converter.SetupFileFormatList();
  EXPECT_EQ(converter.ConvertFileFormatFromKELO("image/jpeg"), 1u);
  EXPECT_EQ(converter.ConvertFileFormatFromKELO("image/png"), 4099u);
}

}  // namespace
}  // namespace kelo
