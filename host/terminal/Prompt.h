// Asks the person at the terminal for a line, seen or unseen.
#pragma once

#include <string>
#include <string_view>

namespace kelo::host {

// Whether there is a person to ask: standard input and standard error are a terminal.
bool CanAsk();

// The line that is typed, without its end; a secret one is not seen. Throws Failure when the input
// ends. The terminal is as before in any case; after a signal, Interrupt sees to it.
std::string Ask(std::string_view question, bool secret);

}  // namespace kelo::host
