// The program kelo-devservice in a process of its own.
#pragma once

#include "devservice/Client.h"
#include "support/Process.h"

namespace kelo::devservice {

class ServiceProcess : public Process {
 public:
  explicit ServiceProcess(std::vector<std::string> words, int columns = 0)
      : Process((words.insert(words.begin(), KELO_DEVSERVICE), words), {.columns = columns}) {}

  // Waits until it has told how to reach it, and reads that; false where it ended before.
  bool IsServing() {
    if (!ReadOutputUntil("kKELO_URLofKELOServer = ")) return false;
    const auto value = [&](const std::string& name) {
      const std::string rest = Between(OutputSoFar(), name, "\n").at(0);
      return rest.substr(rest.find_first_not_of(' '));
    };
    url = value("URL ");
    page = value("page ");
    key = value("key ");
    account = {"", value("token "), value("secret ")};
    return true;
  }
  Outcome End(int signal) {
    Signal(signal);
    return Wait();
  }

  std::string url;
  std::string page;
  std::string key;
  Service::Account account;
};

}  // namespace kelo::devservice
