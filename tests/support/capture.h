#pragma once

#include <functional>
#include <string>

namespace test {

// What a piece of code wrote to the two standard streams, byte for byte,
// through whichever of iostreams, stdio or the descriptors it did so.
struct Output
{
    std::string out;
    std::string err;
};

// Runs the code with descriptors 1 and 2 redirected. One at a time; what other
// threads write meanwhile is caught too.
Output Capture(const std::function<void()> &code);

} // namespace test
