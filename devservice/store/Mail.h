// What the service keeps of a mail instead of sending it.
#pragma once

#include <string>
#include <vector>

namespace kelo::devservice {

// A mail that was sent by sharing an album.
struct Mail {
  std::string albumId;
  std::vector<std::string> recipients;
  std::string subject;
  std::string body;
  bool gpsRemoved = false;
};

// A mail as a text of several lines, for people.
std::string DescribeMail(const Mail& mail);

}  // namespace kelo::devservice
