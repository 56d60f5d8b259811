// `kelo-devservice ctl`: the other side of a running service's control calls, which asks it from
// the shell.
#pragma once

namespace CLI {
class App;
}

namespace kelo::devservice {

// Declares `ctl` and its commands. They run while the command line is read, and throw
// std::runtime_error where the service cannot be reached or refuses.
void DeclareCtl(CLI::App& app);

}  // namespace kelo::devservice
