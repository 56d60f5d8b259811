// Runs the program `kelo` as a person's shell would, with a home of its own, against a service
// inside the test.
#pragma once

#include <gmock/gmock.h>
#include <spawn.h>
#include <sys/types.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "devservice/DevService.h"
#include "support/TemporaryFolder.h"

namespace kelo::host::testing {

// What nearly every test here says.
namespace fs = std::filesystem;
using devservice::LoggedRequest;
using devservice::Reply;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsSupersetOf;
using ::testing::Not;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

// The answer of a service that refuses a request.
Reply Refusal(int number);

struct Outcome {
  int exitCode = -1;  // 128 + signal when a signal ended it
  std::string out;
  std::string err;
};

// As the first argument: kelo is process 1 of a namespace of its own, as in a container,
// where that is permitted.
constexpr const char* kContained = "contained";

// One running kelo. Its output is read to the end by Wait.
class KeloProcess {
 public:
  // With pipes, and nothing to read. `output` is a file for standard output instead; "": it is
  // closed, as is standard input.
  KeloProcess(const std::vector<std::string>& arguments,
              const std::vector<std::string>& environment, const char* output = nullptr);
  // On a terminal of so many columns, which is its standard input, output and error, and from which
  // typed control characters become signals. All that it shows is Outcome::err, "\r\n" and all.
  KeloProcess(const std::vector<std::string>& arguments,
              const std::vector<std::string>& environment, int columns);
  ~KeloProcess();
  KeloProcess(const KeloProcess&) = delete;
  KeloProcess& operator=(const KeloProcess&) = delete;

  // Reads standard error until it holds `text` behind its first `from` bytes; false when it ends
  // first.
  bool ReadErrorUntil(const std::string& text, std::size_t from = 0);
  const std::string& ErrorSoFar() const { return errorSoFar_; }
  void Signal(int signal) const;
  // For a terminal.
  void Type(const std::string& keys) const;
  bool ShowsWhatIsTyped() const;
  void Resize(int columns) const;
  Outcome Wait();

 private:
  void Start(const std::vector<std::string>& arguments, const std::vector<std::string>& environment,
             posix_spawn_file_actions_t& actions, short flags);

  pid_t process_ = -1;
  int out_ = -1;
  int err_ = -1;
  std::string errorSoFar_;
};

// A service, a temporary folder with a home in it, and kelo logged in or not.
class HostTest : public ::testing::Test {
 protected:
  explicit HostTest(const devservice::Service::Options& options = {}) : service_(options) {}
  std::vector<std::string> Environment() const { return EnvironmentOf(service_); }
  std::vector<std::string> EnvironmentOf(const devservice::Service& service) const;
  // Without the variables that begin so.
  std::vector<std::string> EnvironmentWithout(const std::string& beginning) const;
  Outcome Kelo(const std::vector<std::string>& arguments) const;
  // Logs in and expects success.
  void LogIn() const;
  // Creates a file below the folder, with the folders on the way.
  std::filesystem::path Write(const std::string& name, const std::string& content) const {
    return temporary_.Write(name, content);
  }
  std::size_t Arrived(const std::string& method) const;
  // The service tells of this account from now on; `other` answers what else it likes.
  void TellAccount(const std::string& elements, const devservice::Script& other = {});
  // The lines of an output in JSON.
  static std::vector<nlohmann::json> Objects(const std::string& lines);
  // The names in a folder below the test's, sorted.
  std::vector<std::string> Names(const std::string& folder) const;

  const TemporaryFolder temporary_;
  const std::filesystem::path folder_ = temporary_.Path();
  devservice::Service service_;
};

}  // namespace kelo::host::testing
