#pragma once

#include <cstdint>

namespace test {

// The bytes that this thread has allocated and not freed. A program that calls this function
// counts them with an operator new of its own (live_memory.cpp), so it cannot be built with the
// thread sanitizer, which replaces operator new, too.
[[nodiscard]] std::int64_t LiveMemory();

// The largest number of these bytes since the last call of StartPeak.
void StartPeak();
[[nodiscard]] std::int64_t PeakMemory();

} // namespace test
