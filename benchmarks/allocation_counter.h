#pragma once

#include <cstddef>

namespace bench {

// The number of calls of operator new in this program so far.
[[nodiscard]] std::size_t Allocations();

// The bytes that operator new has allocated and that are not freed yet, with the allocator's
// overhead.
[[nodiscard]] std::size_t LiveBytes();

} // namespace bench
