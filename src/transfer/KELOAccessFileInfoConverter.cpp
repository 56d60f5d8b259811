// The file format table.
#include "transfer/KELOAccessFileInfoConverter.h"

namespace kelo {
namespace {

struct Format {
  std::string_view mimeType;
  uint32_t number;
};

// Both JPEG spellings are 1. From 4097 on: no picture, movie or sound that the host knows.
constexpr Format kFormats[] = {
    {"image/jpeg", 1},
    {"image/pjpeg", 1},
    {"image/x-talvo-rwa", 2},
    {"image/x-talvo-rwb", 3},
    {"image/tiff", 4},
    {"video/quicktime", 5},
    {"video/x-msvideo", 6},
    {"audio/x-wav", 7},
    {"application/octet-stream", 4097},
    {"application/x-unknown", 4098},
    {"application/x-unrecognized", KELOAccessFileInfoConverter::kUnrecognized},
};

}  // namespace

KELOAccessFileInfoConverter::KELOAccessFileInfoConverter() {
  SetupFileFormatList();
}

void KELOAccessFileInfoConverter::SetupFileFormatList() {
  formats_.clear();
  for (const Format& format : kFormats) {
    UpdateFileFormatList(format.mimeType, format.number);
  }
}

void KELOAccessFileInfoConverter::UpdateFileFormatList(std::string_view mimeType, uint32_t format) {
  formats_.emplace(mimeType, format);
}

uint32_t KELOAccessFileInfoConverter::ConvertFileFormatFromKELO(std::string_view mimeType) const {
  const auto found = formats_.find(mimeType);
  return found != formats_.end() ? found->second : kUnrecognized;
}

}  // namespace kelo
