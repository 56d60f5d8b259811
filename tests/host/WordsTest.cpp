// What the program says about itself: help, hints, suggestions.
#include <gmock/gmock.h>

#include "KeloProcess.h"
#include "host/Suggest.h"

namespace kelo::host::testing {
namespace {

TEST(SuggestTest, TakesTheNearestNameAndNoFarOne) {
  const std::vector<std::string> known = {"put",    "get",   "mkdir", "mkalbum", "Harbour",
                                          "桜の庭", "Äpfel", "q",     ""};
  const std::pair<std::string, std::string> cases[] = {{"pt", "put"},
                                                       {"puut", "put"},
                                                       {"gte", "get"},
                                                       {"GETT", "get"},
                                                       {"mkalbm", "mkalbum"},
                                                       {"mkdri", "mkdir"},
                                                       {"hrabuor", "Harbour"},
                                                       {"桜の店", "桜の庭"},
                                                       {"äpfle", "Äpfel"},
                                                       {"upload", ""},
                                                       {"Harb", ""},
                                                       {"xyz", ""},
                                                       {"x", ""},
                                                       {"", ""},
                                                       {"\xff\xfe", ""}};
  for (const auto& [wanted, closest] : cases)
    EXPECT_EQ(Closest(wanted, known).value_or(""), closest) << wanted;
  EXPECT_EQ(Closest("ab", {"ac", "aab", "ab"}), "ab");
}

}  // namespace
}  // namespace kelo::host::testing
