// Faults as JSON, and the wishes to add or remove some, which are all done or none of them.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <span>

#include "devservice/faults/Faults.h"

namespace kelo::devservice {
namespace {

using Json = nlohmann::ordered_json;

// The elements of an array, or the one value; none is copied, as it may be nested without end.
std::span<const Json> ListOf(const Json& value) {
  if (!value.is_array()) return {&value, 1};
  return value.get_ref<const Json::array_t&>();
}

std::vector<Fault> FaultsToAdd(const Json& wish) {
  std::vector<Fault> faults;
  if (!wish.contains("add")) return faults;
  for (const Json& text : ListOf(wish["add"])) {
    if (!text.is_string()) throw FaultError("\"add\" is a fault's text, or an array of such texts");
    faults.push_back(ReadFault(text.get<std::string>()));
  }
  return faults;
}

std::vector<std::uint64_t> IdsToRemove(const Json& wish, const std::vector<Fault>& known) {
  std::vector<std::uint64_t> ids;
  if (!wish.contains("remove")) return ids;
  if (wish["remove"] == "all") {
    for (const Fault& fault : known) ids.push_back(fault.id);
    return ids;
  }
  for (const Json& id : ListOf(wish["remove"])) {
    if (!id.is_number_unsigned())
      throw FaultError("\"remove\" is a fault's id, an array of ids, or \"all\"");
    ids.push_back(id.get<std::uint64_t>());
    if (std::ranges::find(known, ids.back(), &Fault::id) == known.end())
      throw FaultError("there is no fault " + std::to_string(ids.back()), 404);
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

void ChangeFaults(Faults& faults, const Json& wish) {
  if (!wish.is_object()) throw FaultError("this takes a JSON object");
  for (const auto& [name, value] : wish.items())
    if (name != "add" && name != "remove")
      throw FaultError("there is \"add\" and \"remove\", and no \"" + name + "\"");
  const std::vector<Fault> added = FaultsToAdd(wish);
  for (const std::uint64_t id : IdsToRemove(wish, faults.List())) faults.Remove(id);
  for (const Fault& fault : added) faults.Add(fault);
}

}  // namespace kelo::devservice
