#pragma once

#include <cstdint>

namespace simulation {

// The bytes that this thread has allocated and not freed, counted by the operator new in
// live_memory.cpp.
[[nodiscard]] std::int64_t LiveMemory();

} // namespace simulation
