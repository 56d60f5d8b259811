// Short memory on demand: the n-th allocation from now fails.
#pragma once

#include <cstddef>
#include <functional>

namespace kelo::testing {

// Runs `change` with its n-th allocation (from 1) failing. Whether that ended it with
// std::bad_alloc; false where it needs fewer than n.
bool FailsAtAllocation(std::size_t n, const std::function<void()>& change);

}  // namespace kelo::testing
