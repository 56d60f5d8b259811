// The file format table as the service spells its types.
#include "protocol/KELOAccessFileInfoConverter.h"

#include <gtest/gtest.h>

namespace kelo {
namespace {

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

TEST(KELOAccessFileInfoConverter, KnownAndUnknownTypes) {
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
