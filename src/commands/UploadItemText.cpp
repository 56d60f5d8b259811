// The display name of an upload, and whether it is that of a voice memo.
#include "commands/UploadItemText.h"

#include "controller/HostRecord.h"
#include "protocol/RequestDocument.h"
#include "text/CFTPSStringData.h"

namespace kelo {
namespace {

std::string LastComponent(const std::string& path) {
  size_t separator = path.rfind('/');
  if (separator == std::string::npos) separator = path.rfind('\\');
  return separator == std::string::npos ? path : path.substr(separator + 1);
}

}  // namespace

std::string DisplayName(const tagKELO_LoadInfo& record) {
  std::string name = KELOStringInfoToString(record.fileName);
  if (name.empty()) name = LastComponent(KELOStringInfoToString(record.filePath));
  return TextAsReferences(name);
}

bool IsSoundFile(std::string_view displayName) {
  constexpr uint32_t kExtensionLength = 4;
  CFTPSStringData name;
  name.InitWithUtf8(displayName);
  const uint32_t length = name.GetLengthChar();
  if (length <= kExtensionLength) return false;
  CFTPSStringData extension;
  extension.InitWithUtf8(".wav");
  return FTPSStringDataCmpi(FTPSStringDataInc(name, length - kExtensionLength), extension) == 0;
}

}  // namespace kelo
