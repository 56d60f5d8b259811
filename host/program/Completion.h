// What may stand where a shell's user presses the tab key: commands, options, and the names of the
// account's folders, albums and items.
//
// The scripts in host/completions ask for it by `kelo __complete SHELL WORD...`; the last word is
// the one being typed. The answer's first line says what the others are: "words" or "names", or
// that the shell is to complete "files" or "folders" by itself. From bash the words come as they
// were typed and the candidates are quoted likewise; for other shells both are plain, and a
// description follows behind a tab.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/commands/Host.h"

namespace kelo::host {

// Prints the answer; nothing at all where the account cannot be asked, or does not answer soon.
// What a value stands for is known by its label in the help: ALBUM, FOLDER, PLACE, ITEM, TARGET,
// ENTRY, PATH and so on, or "one|other". Gives the exit code, which is always 0: a shell can do
// nothing about a failure.
int Complete(CLI::App& app, const CommonOptions& options, const std::vector<std::string>& words);

// The script by which this shell (bash, zsh, fish) asks for completions.
std::string_view CompletionScript(std::string_view shell);

}  // namespace kelo::host
