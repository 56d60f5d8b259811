// The table of the service's MIME types and the format numbers that the host sees.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace kelo {

// Const calls from any thread; one thread at a time otherwise.
class KELOAccessFileInfoConverter {
 public:
  KELOAccessFileInfoConverter();
  virtual ~KELOAccessFileInfoConverter() = default;

  // Restores exactly the known types.
  void SetupFileFormatList();

  // Adds a type; one that is already there keeps its number.
  void UpdateFileFormatList(std::string_view mimeType, uint32_t format);

  // The number of a type, compared byte for byte; kKELOFormat_Unrecognized for any other text.
  uint32_t ConvertFileFormatFromKELO(std::string_view mimeType) const;

 private:
  std::map<std::string, uint32_t, std::less<>> formats_;
};

}  // namespace kelo
