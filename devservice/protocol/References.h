// Texts as the protocol writes them: pure ASCII, markup as entity references, everything else as
// numeric references of UTF-16 units (so a character beyond the first plane takes two).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kelo::devservice {

// UTF-8 to references. Bytes that are not UTF-8 become U+FFFD.
std::string EncodeReferences(std::string_view utf8);

// The text of an attribute value. Nothing when a reference is malformed or unknown, a surrogate
// stands alone, or the bytes are not UTF-8.
std::optional<std::string> DecodeReferences(std::string_view value);

}  // namespace kelo::devservice
