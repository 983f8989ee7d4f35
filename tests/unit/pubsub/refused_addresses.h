#pragma once

#include <atomic>
#include <cerrno>
#include <dlfcn.h>
#include <ifaddrs.h>

namespace test {

// How often from now on the system cannot tell its addresses.
inline std::atomic<int> gRefusals{0};

} // namespace test

// In place of the C library's, which fails when memory or descriptors run out.
// Included by one source file of a test program.
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
