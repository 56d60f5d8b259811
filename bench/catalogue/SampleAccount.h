// An account of a chosen size, as the service's answer to GetHierarchy.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace kelo::bench {

struct AccountSize {
  size_t items = 100000;
  size_t albums = 1000;  // half of them in the folders, the others under the root
  size_t folders = 50;
};

// The items are spread evenly over the albums; ids come in no particular order.
std::string SampleHierarchyAnswer(const AccountSize& size);

// The service's identifier of the n-th entry: 27 characters.
std::string SampleId(char kind, uint64_t number);

}  // namespace kelo::bench
