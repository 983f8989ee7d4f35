#pragma once

#include <cstdint>

namespace simulation {

// The bytes that this thread has allocated and not freed. Counted by the program's own
// operator new: see live_memory.cpp.
[[nodiscard]] std::int64_t LiveMemory();

} // namespace simulation
