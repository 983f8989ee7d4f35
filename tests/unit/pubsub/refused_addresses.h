#pragma once

#include <atomic>
#include <cerrno>
#include <dlfcn.h>
#include <ifaddrs.h>

namespace test {

// The number of calls of getifaddrs() that fail from now on.
inline std::atomic<int> gRefusals{0};

} // namespace test

// Replaces the C library's function, which fails only without memory or descriptors. Only
// one source file of a test program includes this file.
int getifaddrs(ifaddrs **list) noexcept
{
    if (test::gRefusals > 0) {
        --test::gRefusals;
        errno = EMFILE;
        return -1;
    }
    static const auto kReal =
        reinterpret_cast<decltype(&getifaddrs)>(dlsym(RTLD_NEXT, "getifaddrs"));
    return kReal(list);
}
