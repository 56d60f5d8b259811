// Looking up a header.
#include "devservice/http/Message.h"

#include <strings.h>

namespace kelo::devservice {

std::string LoggedRequest::Header(std::string_view name) const {
  const std::string wanted(name);
  for (const auto& [header, value] : headers)
    if (strcasecmp(header.c_str(), wanted.c_str()) == 0) return value;
  return {};
}

}  // namespace kelo::devservice
