// Small helpers for the library's records: fixed text fields, lent texts.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "KELOAccess.hpp"

namespace kelo::host {

// Copies text into a fixed field, cut and terminated.
void CopyText(char* field, std::size_t width, std::string_view text);
template <std::size_t N>
void CopyText(char (&field)[N], std::string_view text) {
  CopyText(field, N, text);
}

// A text lent to the library for one command; `text` must outlive it.
tagKELO_StringInfo LentText(const std::string& text);

// A command record with an argument, and one with a target id as well. A target that does not fit
// throws Failure: a cut one could name something else.
tagCommandControlInfo Record(void* data, std::uint32_t count = 0);
tagCommandControlInfo Targeted(std::string_view target, void* data, std::uint32_t count = 0);

// Throws CommandFailure unless the code is 0.
void Check(std::string_view doing, std::uint32_t code, std::uint32_t command);

}  // namespace kelo::host
