// The order of names that people expect, the same on every machine: case and accents count after
// the letters, and 2 comes before 10.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "KELOAccess.hpp"

namespace kelo::host {

class NameOrder {
 public:
  // Throws Failure where the data of the Unicode library is missing.
  NameOrder();
  ~NameOrder();
  NameOrder(const NameOrder&) = delete;
  NameOrder& operator=(const NameOrder&) = delete;

  // Bytes that compare as the entry's name does.
  std::string KeyOf(const Item& entry) const;
  // The root album, then folders, then albums, then items, each by name. Equal names stay in the
  // service's order.
  void Sort(std::vector<Item>& entries) const;

 private:
  class Collation;
  std::unique_ptr<Collation> collation_;
};

}  // namespace kelo::host
