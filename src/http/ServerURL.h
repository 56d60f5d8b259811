// The base URLs of the service, from a small local file or built in.
//
// The file may have any layout: a URL is the text between the first two double quotes behind its
// key. It is read afresh each time, so a change takes effect with the next request.
#pragma once

#include <string>
#include <string_view>

namespace kelo {

struct ServerURLEntry {
  std::string_view key;
  std::string_view defaultURL;  // without a trailing slash
};

inline constexpr ServerURLEntry kKELOServer{"kKELO_URLofKELOServer", "http://api.talvo.example"};
inline constexpr ServerURLEntry kGAServer{"kKELO_URLofGAServer", "http://www.talvo.example"};

// The URL as the file gives it, taken as it stands, or the default where the file has none.
std::string ServerURL(const ServerURLEntry& entry);

}  // namespace kelo
