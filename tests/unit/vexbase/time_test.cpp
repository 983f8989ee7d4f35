#include "support/child.h"
#include "vexbase/vex_time.h"

#include <ctime>
#include <fstream>
#include <gtest/gtest.h>
#include <sched.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Two to the power of 32 milliseconds, in full seconds, rounded up.
constexpr long kWrapSeconds = 4'294'968;

std::uint64_t MonotonicMs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::uint64_t(now.tv_sec) * 1000U + std::uint64_t(now.tv_nsec) / 1'000'000U;
}

// Gives the children of this process a monotonic clock that starts at `seconds`. Returns
// false if the system does not allow it.
bool SetChildrensClock(long seconds)
{
    const uid_t user = geteuid();
    if (unshare(CLONE_NEWTIME | (user != 0 ? CLONE_NEWUSER : 0)) != 0) {
        return false;
    }
    if (user != 0) {
        std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
    }
    const auto offset = seconds - static_cast<long>(MonotonicMs() / 1000U);
    std::ofstream offsets("/proc/self/timens_offsets");
    offsets << "monotonic " << offset << " 0" << std::flush;
    return offsets.good();
}

} // namespace

TEST(VEXTime, CountsTheMillisecondsOfTheMonotonicClock)
{
    const auto before = static_cast<std::uint32_t>(MonotonicMs());
    const std::uint32_t now = VEXTime::GetSystemTime();
    const auto after = static_cast<std::uint32_t>(MonotonicMs());
    EXPECT_LE(now - before, after - before);
}

TEST(VEXTime, DoesNotGoBack)
{
    std::uint32_t last = VEXTime::GetSystemTime();
    for (int i = 0; i < 10000; ++i) {
        const std::uint32_t now = VEXTime::GetSystemTime();
        ASSERT_LT(now - last, 60000U); // a step back would give a large number
        last = now;
    }
}

TEST(VEXTime, WrapsTo0After2ToThe32Milliseconds)
{
    const test::Output output = test::InChild([] {
        if (!SetChildrensClock(kWrapSeconds)) {
            std::fputs("refused", stdout);
            return;
        }
        const pid_t child = fork();
        if (child == 0) {
            const std::uint32_t now = VEXTime::GetSystemTime();
            const bool wrapped = MonotonicMs() >= (std::uint64_t(1) << 32U) && now < 60000U;
            _exit(wrapped ? 0 : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    });
    if (output.out == "refused") {
        GTEST_SKIP() << "the system does not allow time namespaces";
    }
}
