// Finds what the word being typed stands for, and collects the candidates.
#include "host/program/Completion.h"

#include <fmt/format.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <sstream>

#include "commandline/Help.h"
#include "host/account/AccountTree.h"
#include "host/account/EntryPaths.h"
#include "host/program/ShellWords.h"

namespace kelo::host {
namespace {

constexpr unsigned kPatienceSeconds = 4;

struct Completions {
  const char* kind = "words";
  std::vector<Offer> candidates;
};

// The word being typed: the value of an option, or an argument of a command.
struct TypedPlace {
  CLI::App* command = nullptr;  // null: none is named yet
  CLI::Option* option = nullptr;
  size_t arguments = 0;        // of the command before this word
  bool onlyArguments = false;  // behind "--"
};

class LineReader {
 public:
  explicit LineReader(CLI::App& app) : app_(app) {}

  // Reads a word that is complete.
  void Pass(const std::string& word) {
    if (place_.option != nullptr) {
      Take(word);
    } else if (!place_.onlyArguments && word == "--") {
      place_.onlyArguments = true;
    } else if (!place_.onlyArguments && word.starts_with('-')) {
      const size_t end = word.find('=');
      place_.option = ValuedOption(word.substr(0, end));
      if (place_.option != nullptr && end != std::string::npos) Take(word.substr(end + 1));
    } else if (place_.command == nullptr) {
      place_.command = const_cast<CLI::App*>(FindCommand(app_, word));
      lost_ = lost_ || place_.command == nullptr;
    } else {
      ++place_.arguments;
    }
  }

  // The option of that name that takes a value.
  CLI::Option* ValuedOption(const std::string& name) const {
    for (CLI::App* level : {place_.command, &app_}) {
      CLI::Option* option = level == nullptr ? nullptr : level->get_option_no_throw(name);
      if (option != nullptr) return option->get_expected_max() > 0 ? option : nullptr;
    }
    return nullptr;
  }

  const TypedPlace& At() const { return place_; }
  // No command of ours: nothing is known about what follows.
  bool Lost() const { return lost_; }

 private:
  // Options such as --profile say whose account is asked, so they are taken as in a run.
  void Take(const std::string& value) {
    CLI::Option* option = std::exchange(place_.option, nullptr);
    if (app_.get_option_no_throw(option->get_name()) != option) return;
    option->add_result(value);
    option->run_callback();
  }

  CLI::App& app_;
  TypedPlace place_;
  bool lost_ = false;
};

void TakeFromEnvironment(CLI::App& app) {
  for (CLI::Option* option : app.get_options()) {
    const char* value = std::getenv(option->get_envname().c_str());
    if (value == nullptr || option->get_envname().empty() || option->count() > 0) continue;
    option->add_result(value);
    option->run_callback();
  }
}

void AddCommands(const CLI::App& app, const std::string& begun, Completions& answer) {
  for (const CLI::App* command : ListedCommands(app))
    if (command->get_name().starts_with(begun))
      answer.candidates.push_back({command->get_name(), command->get_description()});
}

void AddOptions(const CLI::App& level, const std::string& begun, Completions& answer) {
  for (const CLI::Option* option : ListedOptions(level))
    for (const std::string& name : option->get_lnames())
      if (("--" + name).starts_with(begun))
        answer.candidates.push_back({"--" + name, option->get_description()});
}

// Of "one|other".
void AddChoices(const std::string& label, const std::string& begun, Completions& answer) {
  std::istringstream choices(label);
  for (std::string choice; std::getline(choices, choice, '|');)
    if (choice.starts_with(begun)) answer.candidates.push_back({choice, ""});
}

// The argument that the word at this place would be.
const CLI::Option* Argument(const TypedPlace& place) {
  size_t at = place.arguments;
  for (const CLI::Option* option : ListedOptions(*place.command)) {
    if (!option->get_positional()) break;
    const auto most = static_cast<size_t>(option->get_items_expected_max());
    if (at < most) return option;
    at -= most;
  }
  return nullptr;
}

std::vector<Offer> NamesOf(const CommonOptions& options, Kind kinds, const std::string& begun) {
  // Nobody waits long for a tab key: after this time there is no answer.
  std::signal(SIGALRM, [](int) { ::_exit(0); });
  ::alarm(kPatienceSeconds);
  try {
    CommonOptions once = options;
    once.persistence.retries = 0u;
    Host host(once);
    return EntryPaths(host.Loaded(), kinds, begun);
  } catch (const std::exception&) {
    return {};
  }
}

// The labels of values that name an entry of the account.
struct EntryLabel {
  std::string_view label;
  Kind kinds;
};
constexpr EntryLabel kEntryLabels[] = {
    {"FOLDER", Kind::Folder}, {"ALBUM", kAlbums}, {"PLACE", Kind::Folder | kAlbums},
    {"ENTRY", kAnyKind},      {"ITEM", kAnyKind}, {"TARGET", kAnyKind},
};

// Values of an option or argument, by the label that it has in the help.
Completions Values(const CLI::App& app, const CommonOptions& options, const CLI::Option& option,
                   const std::string& begun) {
  const std::string label = ValueName(option);
  if (label == "PATH" || label == "FILE") return {.kind = "files", .candidates = {}};
  if (label == "DIR") return {.kind = "folders", .candidates = {}};
  const auto* entry = std::ranges::find(kEntryLabels, label, &EntryLabel::label);
  if (entry != std::end(kEntryLabels)) return {"names", NamesOf(options, entry->kinds, begun)};
  if (label == "PATH|TARGET") return {"files", NamesOf(options, kAnyKind, begun)};
  Completions answer;
  if (label == "COMMAND") AddCommands(app, begun, answer);
  if (label.find('|') != label.npos) AddChoices(label, begun, answer);
  return answer;
}

Completions Find(CLI::App& app, const CommonOptions& options,
                 const std::vector<std::string>& words) {
  LineReader walk(app);
  for (size_t at = 0; at + 1 < words.size(); ++at) walk.Pass(words[at]);
  TakeFromEnvironment(app);
  const TypedPlace& place = walk.At();
  const std::string& begun = words.back();
  if (walk.Lost()) return {};
  if (place.option != nullptr) return Values(app, options, *place.option, begun);
  Completions answer;
  if (!place.onlyArguments && begun.starts_with('-')) {
    const size_t end = begun.find('=');
    const CLI::Option* option = walk.ValuedOption(begun.substr(0, end));
    if (end != std::string::npos) {
      if (option == nullptr) return {};
      answer = Values(app, options, *option, begun.substr(end + 1));
      for (Offer& one : answer.candidates) one.text.insert(0, begun, 0, end + 1);
      return answer;
    }
    if (place.command != nullptr) AddOptions(*place.command, begun, answer);
    AddOptions(app, begun, answer);
  } else if (place.command == nullptr) {
    AddCommands(app, begun, answer);
  } else if (const CLI::Option* option = Argument(place)) {
    answer = Values(app, options, *option, begun);
  }
  return answer;
}

}  // namespace

int Complete(CLI::App& app, const CommonOptions& options, const std::vector<std::string>& words) {
  if (words.empty()) return 0;
  const bool bash = words.front() == "bash";
  std::vector<std::string> typed(words.begin() + 1, words.end());
  if (typed.empty()) typed.emplace_back();
  const ShellWords plain = bash ? FromBash(typed) : ShellWords{typed, {}, {}};
  const Completions answer = Find(app, options, plain.words);
  fmt::print("{}\n", answer.kind);
  for (const Offer& one : answer.candidates)
    if (bash)
      fmt::print("{}\n", ForBash(one.text, plain));
    else
      fmt::print("{}\t{}\n", one.text, one.about);
  return 0;
}

}  // namespace kelo::host
