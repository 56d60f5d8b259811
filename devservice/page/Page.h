// The page that shows the service: one document with its style and scripts, built in.
#pragma once

#include <string>
#include <string_view>

namespace kelo::devservice {

// `nonce` marks the style and the scripts as the page's own, for its content security policy.
std::string PageText(std::string_view nonce);

}  // namespace kelo::devservice
