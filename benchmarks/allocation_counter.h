#pragma once

#include <cstddef>

namespace bench {

// How often operator new has been called in this program.
[[nodiscard]] std::size_t Allocations();

// Bytes that operator new has given out and that are not given back, with what
// the allocator adds to each.
[[nodiscard]] std::size_t LiveBytes();

} // namespace bench
