// A listing of entries: a line or a JSON object each, in the order in which they come or in
// another. Records are large, so none is kept.
#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "KELOAccess.hpp"
#include "host/account/NameOrder.h"
#include "host/terminal/Output.h"

namespace kelo::host {

enum class ListingKey { kGiven, kName, kShot, kUpload };

// By shot or upload, what has no such date goes by its last change, which an item's line marks with
// a "~"; what has none comes last.
// Equal entries stay in the order in which they come. `reverse` turns all of that round.
struct SortOrder {
  ListingKey key = ListingKey::kGiven;
  bool reverse = false;
};

class Listing {
 public:
  Listing(Output& out, SortOrder order);

  void Add(const Item& entry);
  // Tells the entries that are not told yet. Whether there was any.
  bool Finish();

 private:
  struct Row {
    std::int64_t date = 0;
    std::string name;  // as a key of the collation
    std::string line;
    Json object;
  };

  Row RowOf(const Item& entry) const;
  void Tell(const Row& row);
  void Flush();

  Output& out_;
  const SortOrder order_;
  std::optional<NameOrder> names_;  // where they sort
  std::vector<Row> rows_;
  fmt::memory_buffer lines_;  // on their way, since each by itself would be a system call
  bool empty_ = true;
};

}  // namespace kelo::host
