// Tells of the names that mean no single entry, in words or in JSON.
#include "host/account/FindEach.h"

#include "host/names/Failure.h"

namespace kelo::host {
namespace {

void TellNotFound(Output& out, const std::string& named, const Failure& failure) {
  if (!out.IsJson()) return out.Problem(failure.what());
  out.Result("", {{"id", nullptr},
                  {"named", named},
                  {"outcome", "notFound"},
                  {"error", {{"code", kKELOResult_BadParameter}, {"message", failure.what()}}}});
}

}  // namespace

std::vector<Item> FindEach(Library& library, const std::vector<std::string>& wanted,
                           Item (*find)(Library&, const std::string&)) {
  std::vector<Item> found;
  for (const std::string& named : wanted) {
    try {
      found.push_back(find(library, named));
    } catch (const Failure& failure) {
      TellNotFound(library.Out(), named, failure);
    }
  }
  return found;
}

}  // namespace kelo::host
