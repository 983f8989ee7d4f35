#include "ssdp/engine_environment.h"

#include "formats/ssdp_protocol.h"
#include "support/addresses.h"

#include <gtest/gtest.h>
#include <string>

using ssdp::EngineEnvironment;
using ssdp::Urgency;

namespace {

// Sends datagrams to a host that does not exist, until the send buffer has no more room for
// this urgency. Returns how many found room.
int Fill(EngineEnvironment &environment, Urgency urgency)
{
    constexpr int kTooMany = 100000;
    const sockaddr_in nowhere = test::SocketAddressOf("192.0.2.99", formats::kPort);
    int sent = 0;
    while (sent < kTooMany && environment.SendTo(nowhere, std::string(1000, 'x'), urgency)) {
        ++sent;
    }
    return sent;
}

} // namespace

TEST(EngineEnvironment, RequestsLeaveRoomInTheSendBufferForAnswers)
{
    VEXUDPSocket socket;
    ASSERT_EQ(socket.Open("", formats::kPort), vexbase::kSuccess);
    EngineEnvironment environment(socket);
    EXPECT_GT(Fill(environment, Urgency::Request), 1);
    EXPECT_GT(Fill(environment, Urgency::Answer), 1);
    EXPECT_EQ(Fill(environment, Urgency::Request), 0);
}
