#pragma once

#include <cstddef>

namespace bench {

// How often operator new has been called in this program.
[[nodiscard]] std::size_t Allocations();

} // namespace bench
