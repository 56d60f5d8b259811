// kelo-devservice in processes of its own: runs to the end, and a service that goes on.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

#include "devservice/DevService.h"
#include "devservice/files/Descriptor.h"
#include "support/TemporaryFolder.h"

namespace kelo::devservice {

struct Ended {
  int exitCode = -1;  // 128 + signal when a signal ended it
  std::string out;
  std::string err;
};

// One process.
class ServiceProcess {
 public:
  // `terminal` is where its messages go, if not into a file.
  explicit ServiceProcess(const std::vector<std::string>& arguments,
                          const std::string& terminal = {});
  ~ServiceProcess() { End(SIGKILL); }
  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;

  // Waits until it has told how to reach it, and reads that; false where it ended before.
  bool IsServing();
  Ended Wait();
  Ended End(int signal);

  std::string url;
  std::string page;
  std::string key;
  Service::Account account;

 private:
  // Reads what it says; false where it ended without saying this.
  bool ReadUntil(std::string_view text);

  const TemporaryFolder output_;
  Descriptor out_;
  std::string said_;
  pid_t process_ = -1;
};

}  // namespace kelo::devservice
