// Faults as JSON, and the wishes to add or remove some, which are all done or none of them.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <span>

#include "devservice/faults/Faults.h"

namespace kelo::devservice {
namespace {

using Json = nlohmann::ordered_json;

Reply JsonReply(int status, const Json& json) {
  Reply reply;
  reply.status = status;
  // What came in may be no UTF-8 and is repeated in messages.
  reply.body = json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
  reply.headers.emplace_back("Content-Type", "application/json");
  return reply;
}

Reply Refusal(int status, const std::string& message) {
  return JsonReply(status, {{"error", {{"message", message}}}});
}

// The elements of an array, or the one value; none is copied, as it may be nested without end.
std::span<const Json> ListOf(const Json& value) {
  if (!value.is_array()) return {&value, 1};
  return value.get_ref<const Json::array_t&>();
}

std::vector<Fault> FaultsToAdd(const Json& request) {
  std::vector<Fault> faults;
  if (!request.contains("add")) return faults;
  for (const Json& text : ListOf(request["add"])) {
    if (!text.is_string()) throw FaultError("\"add\" is a fault's text, or an array of such texts");
    faults.push_back(ReadFault(text.get<std::string>()));
  }
  return faults;
}

std::vector<std::uint64_t> IdsToRemove(const Json& request, const Faults& faults) {
  std::vector<std::uint64_t> ids;
  if (!request.contains("remove")) return ids;
  if (request["remove"] == "all") {
    for (const Fault& fault : faults.List()) ids.push_back(fault.id);
    return ids;
  }
  for (const Json& id : ListOf(request["remove"])) {
    if (!id.is_number_unsigned())
      throw FaultError("\"remove\" is a fault's id, an array of ids, or \"all\"");
    ids.push_back(id.get<std::uint64_t>());
  }
  return ids;
}

}  // namespace

Json FaultsJson(const Faults& faults) {
  Json list = Json::array();
  for (const Fault& fault : faults.List()) {
    list.push_back({{"id", fault.id},
                    {"text", FaultText(fault)},
                    {"method", fault.method},
                    {"kind", KindName(fault.kind)},
                    {"value", fault.value},
                    {"times", fault.times},
                    {"fired", fault.fired}});
  }
  return list;
}

Reply HandleFaults(Faults& faults, std::string_view body) {
  const Json request = Json::parse(body, nullptr, false);
  if (!request.is_object()) return Refusal(400, "this takes a JSON object");
  for (const auto& [name, value] : request.items())
    if (name != "add" && name != "remove")
      return Refusal(400, "there is \"add\" and \"remove\", and no \"" + name + "\"");
  try {
    const std::vector<Fault> added = FaultsToAdd(request);
    const std::vector<std::uint64_t> removed = IdsToRemove(request, faults);
    const std::vector<Fault> known = faults.List();
    for (const std::uint64_t id : removed)
      if (std::ranges::find(known, id, &Fault::id) == known.end())
        return Refusal(404, "there is no fault " + std::to_string(id));
    for (const std::uint64_t id : removed) faults.Remove(id);
    for (const Fault& fault : added) faults.Add(fault);
  } catch (const FaultError& error) {
    return Refusal(400, error.what());
  }
  return JsonReply(200, {{"faults", FaultsJson(faults)}});
}

}  // namespace kelo::devservice
