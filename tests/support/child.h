#pragma once

#include "support/capture.h"

#include <functional>

namespace test {

// Runs code in a child process, a copy of this one, and gives back what it
// wrote to the standard streams. Whatever the code under test keeps for the
// life of a process is fresh there and gone afterwards. Expectations inside the
// code count: the test fails unless they all hold and the child ends in order,
// sanitizers content.
// REQUIRES: no other thread runs.
Output InChild(const std::function<void()> &code);

} // namespace test
