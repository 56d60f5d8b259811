// What stands in a request line, and where a redirect leads. Both are made here from the URLs'
// text, byte for byte: what libcurl would leave of an empty query or of dots depends on its
// version.
#include <algorithm>
#include <string>
#include <string_view>

#include "platform/URLLoadingCurl.h"

namespace kelo {
namespace {

// Where the path of a well-formed URL begins, or what follows in its place.
size_t PathAt(std::string_view url) {
  return std::min(url.find_first_of("/?#", url.find("://") + 3), url.size());
}

// The text with every byte percent-encoded that has no place in a URL.
std::string Encoded(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string encoded;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte > 0x20 && byte < 0x7f)
      encoded += c;
    else
      encoded.append({'%', kDigits[byte >> 4], kDigits[byte & 15]});
  }
  return encoded;
}

// The folder in which a path stands, "/" at least, with a relative path behind it. The steps at its
// beginning are walked.
std::string Beside(std::string_view path, std::string_view relative) {
  std::string folder(path.substr(0, path.rfind('/') + 1));
  if (folder.empty()) folder = "/";
  for (;;) {
    const size_t length = std::min(relative.find_first_of("/?#"), relative.size());
    const std::string_view step = relative.substr(0, length);
    if (step != "." && step != "..") return folder.append(relative);
    if (step == ".." && folder.size() > 1) folder.resize(folder.rfind('/', folder.size() - 2) + 1);
    relative.remove_prefix(length + (relative.substr(length).starts_with('/') ? 1 : 0));
  }
}

}  // namespace

std::string RequestTarget(const std::string& url, bool forProxy) {
  std::string target = url.substr(0, url.find('#'));
  target.erase(0, PathAt(target));
  if (!target.starts_with('/')) target.insert(0, 1, '/');
  return forProxy ? OriginOfURL(url) + target : target;
}

std::string RedirectTarget(std::string_view url, std::string_view location) {
  std::string there = Encoded(location);
  const size_t mark = there.find_first_of(":/?#");
  if (mark != std::string::npos && there[mark] == ':') return there;  // behind a scheme
  url = url.substr(0, url.find('#'));
  if (there.starts_with("//")) return std::string(url.substr(0, url.find(':') + 1)) + there;
  const std::string_view origin = url.substr(0, PathAt(url));
  if (there.starts_with('/')) return std::string(origin) + there;
  if (there.starts_with('#')) return std::string(url);
  url = url.substr(0, url.find('?'));
  if (there.starts_with('?')) return std::string(url) + there;
  return std::string(origin) + Beside(url.substr(origin.size()), there);
}

}  // namespace kelo
