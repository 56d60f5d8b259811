// What answers mean: status, error numbers, absent and empty attributes, properties; and the texts
// of requests.

#include "protocol/ServiceAnswer.h"

#include <gtest/gtest.h>

#include "interface/KELOAccessCommandController.h"
#include "protocol/RequestDocument.h"
#include "protocol/Signing.h"
#include "text/StringInfo.h"

namespace kelo {
namespace {

TEST(ServiceAnswer, TurnsStatusIntoAResultCode) {
  struct Case {
    const char* answer;
    uint32_t result;
    bool serviceError;
  };
  const Case cases[] = {
      {"", 4144, false},
      {"no markup at all", 4144, false},
      {"<r stat='ok'/>", 4144, false},
      {"<r stat = \"ok\"/>", 4144, false},
      {"<r errcode=\"207\"/>", 4144, false},
      {"<r stat=\"ok", 4144, false},
      {"<r stat=\"ok\"/>", 0, false},
      {"<r stat=\"OK\"/>", 4144, false},
      {"<r stat=\"fail\"/>", 4144, false},
      {"<r stat=\"fail\" errcode=\"\"/>", 4144, true},
      {"<r stat=\"fail\" errcode=\"999\"/>", 4144, true},
      {"<r stat=\"fail\" errcode=\"abc\"/>", 4144, true},
      {"<r stat=\"\" errcode=\"207\"/>", 4115, true},
      {"<r stat=\"fail\" errcode=\"207x\"/>", 4115, true},
      {"<r stat=\"fail\" errcode=\"107\"/>", 4116, true},
      {"<r stat=\"fail\" errcode=\"108\"/>", 4116, true},
      {"<r stat=\"fail\" errcode=\"203\"/>", 4102, true},
      {"<r stat=\"fail\" errcode=\"204\"/>", 4103, true},
      {"<r stat=\"fail\" errcode=\"205\"/>", 4103, true},
      {"<r stat=\"fail\" errcode=\"206\"/>", 4103, true},
      {"<r stat=\"fail\" errcode=\"208\"/>", 4101, true},
      {"<r stat=\"fail\" errcode=\"301\"/>", 4112, true},
      {"<r stat=\"fail\" errcode=\"302\"/>", 4115, true},
      {"<r stat=\"fail\" errcode=\"311\"/>", 4112, true},
      {"<r stat=\"fail\" errcode=\"312\"/>", 4115, true},
      {"<r stat=\"fail\" errcode=\"313\"/>", 4144, true},
      {"<r stat=\"fail\" errcode=\"314\"/>", 4115, true},
      {"<r stat=\"fail\" errcode=\"315\"/>", 4112, true},
      {"<r stat=\"fail\" errcode=\"318\"/>", 4101, true},
      {"<r stat=\"fail\" errcode=\"401\"/>", 4112, true},
  };
  for (const Case& c : cases) {
    const ServiceAnswer answer(0, c.answer);
    EXPECT_EQ(answer.Result(), c.result) << c.answer;
    EXPECT_EQ(answer.IsServiceError(), c.serviceError) << c.answer;
  }
}

TEST(ServiceAnswer, TellsAbsentFromEmpty) {
  const ServiceAnswer answer(0, "<r stat=\"ok\" name=\"\" />");
  EXPECT_EQ(answer.Attribute("name"), "");
  EXPECT_FALSE(answer.Attribute("count").has_value());
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

TEST(RequestText, NothingInAValueEndsItsAttribute) {
  const std::pair<const char*, const char*> cases[] = {
      {"", ""},
      {"a1 ~!#$%()*+,-./:;=?@[\\]^_`{|}\t", "a1 ~!#$%()*+,-./:;=?@[\\]^_`{|}\t"},
      {"\" x=\"<&'>\r\n", "&quot; x=&quot;&lt;&amp;&apos;&gt;&#13;&#10;"},
      {"e\xCC\x81\xF0\x9F\x98\x80", "&#233;&#55357;&#56832;"},
      {"bad\xFF\"", "bad\xFF&quot;"},
  };
  for (const auto& [value, written] : cases) {
    std::string out;
    AppendAttribute(out, "n", value);
    EXPECT_EQ(out, std::string(" n=\"") + written + "\"");
  }
  std::string out;
  AppendAttribute(out, "n", uint64_t{0xFFFFFFFFFFFFFFFF});
  AppendConvertedAttribute(out, "m", "&lt;");
  EXPECT_EQ(out, " n=\"18446744073709551615\" m=\"&lt;\"");
}

TEST(Numbers, AreTheLeadingDigitsModulo2To64) {
  const std::pair<const char*, uint64_t> cases[] = {{"", 0},
                                                    {"x1", 0},
                                                    {"-1", 0},
                                                    {" 1", 0},
                                                    {"0", 0},
                                                    {"12ab", 12},
                                                    {"007", 7},
                                                    {"4294967296", uint64_t{1} << 32},
                                                    {"18446744073709551615", UINT64_MAX},
                                                    {"18446744073709551616", 0},
                                                    {"18446744073709551617", 1}};
  for (const auto& [text, number] : cases) EXPECT_EQ(StringToULL(text), number) << text;
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

TEST(RequestTimeout, GrowsByAMinuteForEach5000) {
  const std::pair<uint32_t, uint32_t> cases[] = {{0, 60},      {1, 60},           {4999, 60},
                                                 {5000, 120},  {12000, 180},      {19999, 240},
                                                 {20000, 300}, {0xFFFFFFFFu, 300}};
  for (const auto& [size, seconds] : cases) {
    EXPECT_EQ(DecideTimeoutSetting(size), seconds) << size;
  }
}

TEST(CallIdentifiers, FollowTheClockUnlessItStandsOrGoesBack) {
  const struct {
    uint64_t last;
    double seconds;
    uint64_t next;
  } cases[] = {{0, 0.0079, 7}, {7, 0.0079, 8}, {9, 0.0079, 10}, {7, 1e9, 1000000000000},
               {0, 0, 1},      {0, -0.5, 1},   {1, -1e12, 2},   {10, -0.001, 11}};
  for (const auto& c : cases) {
    EXPECT_EQ(NextCallID(c.last, c.seconds), c.next) << c.last << " at " << c.seconds;
  }
}

// Taken faster than one in a millisecond, they soon run ahead of the clock and grow by one each.
TEST(CallIdentifiers, AreStrictlyIncreasing) {
  KELOAccessCommandController controller;
  uint64_t last = 0;
  for (int i = 0; i < 20000; ++i) {
    const uint64_t id = controller.GetCallID();
    ASSERT_GT(id, last);
    if (i > 10000) {
      ASSERT_EQ(id, last + 1);
    }
    last = id;
  }
}

}  // namespace
}  // namespace kelo
