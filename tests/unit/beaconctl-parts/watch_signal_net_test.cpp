#include "beaconctl/commands.h"
#include "support/live_child.h"
#include "support/private_namespace.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace beaconctl;

namespace {

int gSignal = 0;

} // namespace

// Replaces the system's function: a signal arrives just before the program waits for the
// answer.
extern "C" ssize_t sendto(int descriptor, const void *data, size_t size, int flags,
                          const sockaddr *destination, socklen_t length)
{
    const ssize_t sent = syscall(SYS_sendto, descriptor, data, size, flags, destination, length);
    raise(gSignal);
    return sent;
}

TEST(RunWatch, EndsOnASignalThatArrivesJustBeforeItWaits)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        test::LiveChild watch([signal] {
            gSignal = signal;
            Arguments arguments;
            arguments.host = test::kPeerAddress; // nobody answers there
            arguments.timeout = std::chrono::hours(1);
            return static_cast<int>(RunWatch(arguments, false, false)) + 100;
        });
        EXPECT_EQ(watch.WaitForEnd(), kFailed);
        EXPECT_EQ(watch.Out() + watch.Err(), "");
    }
}
