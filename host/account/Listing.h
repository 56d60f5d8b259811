// A listing of entries: a line or a JSON object each, in the service's order or in another one.
// Records are large, so none is kept.
#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "KELOAccess.hpp"
#include "host/terminal/Output.h"

namespace kelo::host {

enum class ListingKey { kService, kName, kShot, kUpload };

// Names as a person sorts them: case and accents count after the letters, and 2 comes before 10.
// By shot or upload, what has no such date goes by its last change, which an item's line marks with
// a "~"; what has none comes last.
// Equal entries stay in the service's order. `reverse` turns all of that round.
struct SortOrder {
  ListingKey key = ListingKey::kService;
  bool reverse = false;
};

class Listing {
 public:
  Listing(Output& out, SortOrder order);
  ~Listing();
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;

  void Add(const Item& entry);
  // Tells the entries that are not told yet. Whether there was any.
  bool Finish();

 private:
  class NameKeys;
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
  std::unique_ptr<NameKeys> nameKeys_;
  std::vector<Row> rows_;
  fmt::memory_buffer lines_;  // on their way, since each by itself would be a system call
  bool empty_ = true;
};

}  // namespace kelo::host
