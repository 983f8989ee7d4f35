#pragma once

#include <functional>
#include <string>

namespace test {

// All bytes that a piece of code wrote to the two standard streams, by iostreams, stdio or
// the descriptors.
struct Output
{
    std::string out;
    std::string err;
};

// Runs the code with descriptors 1 and 2 redirected. Only one call at a time. Output of
// other threads during the call is included.
Output Capture(const std::function<void()> &code);

// During a call of Capture: waits until the code has written something to standard error.
// Another thread than the code's calls this.
void AwaitCapturedErr();

} // namespace test
