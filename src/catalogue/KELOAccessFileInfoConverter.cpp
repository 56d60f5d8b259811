// The file formats that the library knows, each with its MIME type and the number that hosts see.
#include "catalogue/KELOAccessFileInfoConverter.h"

#include "KELOAccess.h"

namespace kelo {
namespace {

struct Format {
  std::string_view mimeType;
  uint32_t number;
};

// From kKELOFormat_Binary on: no picture, movie or sound that the host knows.
constexpr Format kFormats[] = {
    {"image/jpeg", kKELOFormat_JPEG},
    {"image/pjpeg", kKELOFormat_JPEG},
    {"image/x-talvo-rwa", kKELOFormat_RawA},
    {"image/x-talvo-rwb", kKELOFormat_RawB},
    {"image/tiff", kKELOFormat_TIFF},
    {"video/quicktime", kKELOFormat_QuickTime},
    {"video/x-msvideo", kKELOFormat_AVI},
    {"audio/x-wav", kKELOFormat_WAV},
    {"application/octet-stream", kKELOFormat_Binary},
    {"application/x-unknown", kKELOFormat_Unknown},
    {"application/x-unrecognized", kKELOFormat_Unrecognized},
};

}  // namespace

KELOAccessFileInfoConverter::KELOAccessFileInfoConverter() {
  SetupFileFormatList();
}

void KELOAccessFileInfoConverter::SetupFileFormatList() {
  formats_.clear();
  for (const Format& format : kFormats) UpdateFileFormatList(format.mimeType, format.number);
}

void KELOAccessFileInfoConverter::UpdateFileFormatList(std::string_view mimeType, uint32_t format) {
  formats_.emplace(mimeType, format);
}

uint32_t KELOAccessFileInfoConverter::ConvertFileFormatFromKELO(std::string_view mimeType) const {
  const auto found = formats_.find(mimeType);
  return found != formats_.end() ? found->second : uint32_t{kKELOFormat_Unrecognized};
}

}  // namespace kelo
