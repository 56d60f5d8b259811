// Control calls by HTTP.
#include "devservice/program/Ctl.h"

#include <httplib.h>
#include <sys/stat.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

#include "devservice/files/PrivateFiles.h"

namespace kelo::devservice {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr std::string_view kTokenMark = "/?token=";

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

struct Place {
  std::string file = DefaultControlFile();
  std::string url;
};

std::string PageUrl(const Place& place) {
  if (!place.url.empty()) return place.url;
  struct stat status {};
  if (stat(place.file.c_str(), &status) != 0)
    throw std::runtime_error("no service runs here: there is no file " + place.file);
  // Anybody may have put it into a folder that all share.
  if (status.st_uid != geteuid()) throw std::runtime_error(place.file + " is somebody else's");
  const std::string text = ReadFile(place.file);
  return text.substr(0, text.find('\n'));
}

Json Ask(const Place& place, const std::string& verb, const std::string& path,
         const std::string& body = {}) {
  const std::string url = PageUrl(place);
  const std::size_t mark = url.find(kTokenMark);
  if (mark == std::string::npos)
    throw std::runtime_error("not the URL of a service's page: " + url);
  httplib::Client client(url.substr(0, mark));
  httplib::Request request;
  request.method = verb;
  request.path = path;
  request.body = body;
  request.headers = {{"Authorization", "Bearer " + url.substr(mark + kTokenMark.size())}};
  const httplib::Result result = client.send(request);
  if (!result)
    throw std::runtime_error("no answer from " + url.substr(0, mark) + ": " +
                             httplib::to_string(result.error()));
  const Json answer = Json::parse(result->body, nullptr, false);
  if (result->status == 200 && !answer.is_discarded()) return answer;
  const Json::json_pointer message("/error/message");
  throw std::runtime_error(answer.is_object() && answer.contains(message)
                               ? answer[message].get<std::string>()
                               : result->body.substr(0, result->body.find('\n')));
}

void PrintFaults(const Json& answer) {
  for (const Json& fault : answer.at("faults"))
    std::cout << fault.at("id") << "  " << fault.at("text").get<std::string>() << "  fired "
              << fault.at("fired") << "\n";
}

void PrintLog(const Place& place) {
  std::uint64_t last = 0;
  for (;;) {
    const Json log = Ask(place, "GET", "/control/log?after=" + std::to_string(last));
    if (log.at("requests").empty()) return;
    for (const Json& request : log.at("requests")) {
      std::cout << request.dump() << "\n";
      last = request.at("number");
    }
  }
}

struct Arguments {
  Place place;
  std::vector<std::string> faults;
  std::vector<std::uint64_t> ids;
};

}  // namespace

fs::path DefaultControlFile() {
  const char* folder = std::getenv("XDG_RUNTIME_DIR");
  if (folder && *folder) return fs::path(folder) / "kelo-devservice.url";
  return fs::temp_directory_path() / ("kelo-devservice-" + std::to_string(geteuid()) + ".url");
}

ControlFile::ControlFile(fs::path path, std::string url)
    : path_(std::move(path)), url_(std::move(url)) {
  fs::remove(path_);  // a link of somebody else's would be followed
  MakePrivateFile(path_);
  if (!(std::ofstream(path_) << url_ << "\n").flush())
    throw std::runtime_error("cannot write " + path_.string());
}

ControlFile::~ControlFile() {
  std::error_code ignored;
  if (ReadFile(path_) == url_ + "\n") fs::remove(path_, ignored);
}

void DeclareCtl(CLI::App& app) {
  CLI::App* ctl = app.add_subcommand("ctl", "ask the service that runs");
  ctl->require_subcommand(1);
  const auto arguments = std::make_shared<Arguments>();
  Place& place = arguments->place;
  ctl->add_option("--control-file", place.file, "where the service has written its page's URL")
      ->type_name("FILE")
      ->capture_default_str();
  ctl->add_option("--url", place.url, "the page's URL, as the service has printed it");
  ctl->add_subcommand("faults", "list the faults and how often each fired")
      ->final_callback(
          [arguments] { PrintFaults(Ask(arguments->place, "GET", "/control/faults")); });
  CLI::App* add = ctl->add_subcommand("add", "add faults: METHOD:KIND[=VALUE][,times=N]");
  add->add_option("FAULT", arguments->faults)->required();
  add->final_callback([arguments] {
    const Json body = {{"add", arguments->faults}};
    const auto lenient = Json::error_handler_t::replace;
    PrintFaults(
        Ask(arguments->place, "POST", "/control/faults", body.dump(-1, ' ', false, lenient)));
  });
  CLI::App* remove =
      ctl->add_subcommand("remove", "remove faults by their number; all without one");
  remove->add_option("NUMBER", arguments->ids);
  remove->final_callback([arguments] {
    const Json body = {{"remove", arguments->ids.empty() ? Json("all") : Json(arguments->ids)}};
    PrintFaults(Ask(arguments->place, "POST", "/control/faults", body.dump()));
  });
  ctl->add_subcommand("log", "print the last requests as JSON lines")->final_callback([arguments] {
    PrintLog(arguments->place);
  });
  ctl->add_subcommand("account", "print the whole account as JSON")->final_callback([arguments] {
    std::cout << Ask(arguments->place, "GET", "/control/account").dump(2) << "\n";
  });
  ctl->add_subcommand("reset", "empty the accounts")->final_callback([arguments] {
    Ask(arguments->place, "POST", "/control/reset", "{}");
  });
}

}  // namespace kelo::devservice
