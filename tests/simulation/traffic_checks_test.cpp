#include "formats/ssdp_protocol.h"
#include "simulation/machine.h"
#include "simulation/traffic_checks.h"

#include <gtest/gtest.h>
#include <string>

using simulation::kSecond;
using simulation::MakeDatagram;
using simulation::SocketAddress;

namespace {

class NoSurroundings final : public simulation::Surroundings
{
public:
    bool Send(simulation::Machine & /*machine*/, bool /*multicast*/,
              const sockaddr_in & /*destination*/, std::string_view /*text*/,
              simulation::Micros /*at*/, int /*sparedPercent*/) override
    {
        return true;
    }
    void Reply(const simulation::Machine & /*machine*/, const sockaddr_in & /*destination*/,
               std::string_view /*text*/, simulation::Micros /*at*/) override
    {
    }
    void WakeAt(const simulation::Machine & /*machine*/, simulation::Micros /*at*/,
                std::uint32_t /*run*/) override
    {
    }
    [[nodiscard]] simulation::Micros FreeProcessorAt(simulation::Micros now) const override
    {
        return now;
    }
    void UseProcessor(simulation::Micros /*until*/) override {}
    void HandleBatchAt(const simulation::Machine & /*machine*/, simulation::Micros /*at*/,
                       std::uint32_t /*run*/) override
    {
    }
};

// The replies of one machine, which starts at 0 s.
class DiagnosticReplies : public testing::Test
{
protected:
    DiagnosticReplies() { mChecks.NoteStart(mMachine, 0); }

    static simulation::Scenario OneDevice()
    {
        simulation::Scenario scenario;
        scenario.devices = 1;
        return scenario;
    }

    void Reply(std::size_t bytes, std::uint16_t port, simulation::Micros at)
    {
        const auto datagram =
            MakeDatagram(std::string(bytes, 'x'), SocketAddress(1, formats::kDiagnosticPort),
                         SocketAddress(2, port), false, 0);
        mChecks.NoteReply(mMachine, *datagram, at);
    }

    const simulation::Scenario mScenario = OneDevice();
    simulation::Violations mViolations;
    simulation::TrafficChecks mChecks{mScenario, mViolations};
    NoSurroundings mSurroundings;
    simulation::Machine mMachine{{}, mSurroundings, 1, "studio-a"};
};

} // namespace

TEST_F(DiagnosticReplies, ToADiagnosticPortAreAViolation)
{
    Reply(1, 40000, 0);
    EXPECT_EQ(mViolations.Count(), 0U);
    Reply(1, formats::kDiagnosticPort, 0);
    ASSERT_EQ(mViolations.Count(), 1U);
    EXPECT_EQ(mViolations.First()[0].text, "device 1 replies to a diagnostic port");
}

TEST_F(DiagnosticReplies, BeyondTheBudgetAreAViolation)
{
    Reply(1'048'576 + 262'144, 40000, 0);
    Reply(262'144, 40000, kSecond);
    EXPECT_EQ(mViolations.Count(), 0U);
    Reply(1, 40000, kSecond);
    ASSERT_EQ(mViolations.Count(), 1U);
    EXPECT_EQ(mViolations.First()[0].text, "device 1 has sent 1572865 bytes of diagnostic replies");
}
