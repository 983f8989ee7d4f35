#pragma once

#include "support/capture.h"

#include <functional>

namespace test {

// Runs code in a child process, a copy of this one, and returns its output on the standard
// streams. What the code changes in global state does not affect other tests. The test fails if an
// expectation in the code fails, if the child does not end normally, or if a sanitizer reports an
// error. REQUIRES: no other thread runs.
Output InChild(const std::function<void()> &code);

} // namespace test
