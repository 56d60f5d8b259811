// Sends the control calls by libcurl with the token of the page's URL, and prints the answers.
#include "devservice/program/Ctl.h"

#include <curl/curl.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <vector>

#include "devservice/program/ControlFile.h"

namespace kelo::devservice {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view kTokenMark = "/?token=";
constexpr long kPatience = 120;  // seconds without a byte
const std::string kAccountPath = "/control/account";

struct Arguments {
  std::string file = DefaultControlFile();
  std::string url;  // instead of the file's
  std::vector<std::string> faults;
  std::vector<std::uint64_t> ids;
  std::string address;
};

size_t Append(const char* bytes, size_t size, size_t count, void* text) {
  static_cast<std::string*>(text)->append(bytes, size * count);
  return size * count;
}

struct Response {
  long status = 0;
  std::string body;
};

// A body is posted.
Response Send(const std::string& service, const std::string& path, const std::string& token,
              const std::string& body) {
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(),
                                                                 &curl_easy_cleanup);
  const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(
      curl_slist_append(nullptr, ("Authorization: Bearer " + token).c_str()), &curl_slist_free_all);
  if (!curl || !headers) throw std::bad_alloc();
  Response response;
  const auto set = [&](CURLoption option, auto value) {
    curl_easy_setopt(curl.get(), option, value);
  };
  set(CURLOPT_URL, (service + path).c_str());
  set(CURLOPT_NOPROXY, "*");
  set(CURLOPT_HTTPHEADER, headers.get());
  set(CURLOPT_WRITEFUNCTION, &Append);
  set(CURLOPT_WRITEDATA, &response.body);
  set(CURLOPT_LOW_SPEED_LIMIT, 1L);
  set(CURLOPT_LOW_SPEED_TIME, kPatience);
  if (!body.empty()) set(CURLOPT_COPYPOSTFIELDS, body.c_str());
  const CURLcode code = curl_easy_perform(curl.get());
  if (code != CURLE_OK)
    throw std::runtime_error("no answer from " + service + ": " + curl_easy_strerror(code));
  curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &response.status);
  return response;
}

Json Ask(const Arguments& arguments, const std::string& path, const std::string& body = {}) {
  const std::string url = arguments.url.empty() ? ReadControlFile(arguments.file) : arguments.url;
  const size_t mark = url.find(kTokenMark);
  if (mark == std::string::npos)
    throw std::runtime_error("not the URL of a service's page: " + url +
                             "; give the one that the service printed after 'page'");
  const std::string token = url.substr(mark + kTokenMark.size());
  const Response response = Send(url.substr(0, mark), path, token, body);
  const Json answer = Json::parse(response.body, nullptr, false);
  if (response.status == 200 && !answer.is_discarded()) return answer;
  const Json::json_pointer message("/error/message");
  throw std::runtime_error(answer.is_object() && answer.contains(message)
                               ? answer[message].get<std::string>()
                               : response.body.substr(0, response.body.find('\n')));
}

void PrintFaults(const Json& answer) {
  for (const Json& fault : answer.at("faults"))
    std::cout << fault.at("id") << "  " << fault.at("text").get<std::string>() << "  fired "
              << fault.at("fired") << "\n";
}

void ListFaults(const Arguments& arguments) {
  PrintFaults(Ask(arguments, "/control/faults"));
}

void ChangeFaults(const Arguments& arguments, const Json& wish) {
  const auto lenient = Json::error_handler_t::replace;
  const std::string body = wish.dump(-1, ' ', false, lenient);
  PrintFaults(Ask(arguments, "/control/faults", body));
}

void AddFaults(const Arguments& arguments) {
  ChangeFaults(arguments, {{"add", arguments.faults}});
}

void RemoveFaults(const Arguments& arguments) {
  ChangeFaults(arguments, {{"remove", arguments.ids.empty() ? Json("all") : Json(arguments.ids)}});
}

void PrintLog(const Arguments& arguments) {
  std::optional<std::uint64_t> end;  // as it was at first: more may come all the time
  for (std::uint64_t last = 0; !end || last < *end;) {
    const Json log = Ask(arguments, "/control/log?after=" + std::to_string(last));
    if (!end) end = log.at("last");
    if (log.at("requests").empty()) return;
    for (const Json& request : log.at("requests")) {
      std::cout << request.dump() << "\n";
      last = request.at("number");
    }
  }
}

void PrintAccount(const Arguments& arguments) {
  Json account = Ask(arguments, kAccountPath);
  if (!arguments.address.empty()) {
    const Json& all = account.at("accounts");
    const auto chosen = std::ranges::find_if(
        all, [&](const Json& each) { return each.at("address") == arguments.address; });
    if (chosen == all.end())
      throw std::runtime_error("there is no account with the address " + arguments.address);
    account = Ask(arguments, kAccountPath + "?id=" + chosen->at("id").dump());
  }
  std::cout << account.dump(2) << "\n";
}

void Reset(const Arguments& arguments) {
  Ask(arguments, "/control/reset", "{}");
}

}  // namespace

void DeclareCtl(CLI::App& app) {
  CLI::App* ctl = app.add_subcommand("ctl", "Ask a running service, and make requests fail");
  ctl->require_subcommand(1);
  const auto arguments = std::make_shared<Arguments>();
  ctl->add_option("--control-file", arguments->file, "Where the service has written its page's URL")
      ->type_name("FILE");
  ctl->add_option("--url", arguments->url, "The page's URL, as the service has printed it");
  ctl->fallthrough();  // for the commands, which inherit it: these options may stand behind them
  const auto command = [&](const char* name, const char* description, auto run) {
    CLI::App* added = ctl->add_subcommand(name, description);
    added->final_callback([arguments, run] { run(*arguments); });
    return added;
  };
  command("faults", "List the faults and how often each fired", ListFaults);
  command("add", "Add faults, and list all", AddFaults)
      ->add_option("FAULT", arguments->faults, "As METHOD:KIND[=VALUE][,times=N]")
      ->required();
  command("remove", "Remove faults, and list those that are left", RemoveFaults)
      ->add_option("NUMBER", arguments->ids, "A fault's number; without any, all are removed");
  command("log", "Print the last requests as JSON lines", PrintLog);
  command("account", "Print a whole account as JSON", PrintAccount)
      ->add_option("ADDRESS", arguments->address,
                   "Mail address of the account; without it, the first one");
  command("reset", "Empty the accounts", Reset);
  ctl->fallthrough(false);
}

}  // namespace kelo::devservice
