#include "beaconctl/udp_client.h"

#include <cerrno>
#include <gtest/gtest.h>

// In place of the system's: a machine that has no sockets.
extern "C" int socket(int /*domain*/, int /*type*/, int /*protocol*/) noexcept
{
    errno = EMFILE;
    return -1;
}

TEST(UdpClient, ReportsWhyItsSocketCouldNotBeOpenedWhateverFailsAfterwards)
{
    UdpClient client;
    errno = ENODEV;
    EXPECT_EQ(client.Send("gn", *ParseAddress("127.0.0.1", 49821)), EMFILE);
}
