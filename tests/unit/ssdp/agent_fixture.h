#pragma once

#include "messages.h"
#include "ssdp/ssdp_agent.h"
#include "support/fake_environment.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

// The fixture of the protocol core's tests: the agent of a device at 192.0.2.10/24 in
// a fake environment, without a network or a clock.
namespace test {

using Sent = FakeEnvironment::Sent;

inline void PrintTo(const Sent &sent, std::ostream *out)
{
    *out << "to " << sent.to << ":\n" << sent.text;
}

inline Sent ToGroup(const std::string &text)
{
    return {"multicast", text};
}

inline Sent ToPeer(const std::string &text, const std::string &to = "192.0.2.20:1900")
{
    return {to, text};
}

// The poll interval that the agent draws with the random number 5.
constexpr std::uint32_t kTickMs = 4255;
// The longest delay of a description request or answer with this interval.
constexpr std::uint32_t kLongestDelayMs = 3 * kTickMs - 1;

class AgentTest : public testing::Test
{
protected:
    using Datagrams = std::vector<Sent>;
    using Lines = std::vector<std::string>;

    AgentTest() { mAgent.SetPath("/var/www/html"); }

    void Add(const std::string &product = kCorvia)
    {
        SSDPDeviceType service = OwnService(product);
        mAgent.AddService(service);
    }

    // Starts the agent on its interface. Returns the datagrams that it sends.
    Datagrams Open()
    {
        mAgent.AddInterface(kOwnAddress, "net0", AddressOf("255.255.255.0"));
        mAgent.Start();
        return mEnvironment.TakeSent();
    }

    // Adds one service and starts the agent.
    void OpenAnnounced()
    {
        Add();
        EXPECT_EQ(Open(), (Datagrams{ToGroup(Alive(kCorvia, kCorviaFile)),
                                     ToGroup(Search("upnp:rootdevice"))}));
    }

    // Passes a datagram to the agent, and then the document's file if the datagram
    // requests one. Returns the datagrams that the agent sends at once.
    Datagrams Receive(const std::string &datagram, const std::string &from = kPeerAddress,
                      std::uint16_t port = 1900)
    {
        const sockaddr_in sender = SocketAddressOf(from, port);
        if (const auto wanted = mAgent.ParseSSDPPacket(datagram, sender, mNowMs)) {
            if (const auto document = mEnvironment.files.Read(wanted->name)) {
                mAgent.SendGETResponse(*wanted, *document, mNowMs);
            }
        }
        return mEnvironment.TakeSent();
    }

    // Passes a datagram to the agent. Returns the lines that the agent reports.
    Lines FaultsOf(const std::string &datagram, const std::string &from = kPeerAddress)
    {
        mEnvironment.TakeFaults();
        Receive(datagram, from);
        return mEnvironment.TakeFaults();
    }

    // Lets time pass and runs a tick. Returns the datagrams that the agent sends.
    Datagrams Tick(std::uint32_t elapsedMs = kTickMs)
    {
        mNowMs += elapsedMs;
        mAgent.BeginTick(elapsedMs);
        while (mAgent.SendDue()) {
        }
        mAgent.UpdateContainers(elapsedMs);
        return mEnvironment.TakeSent();
    }

    // The reply to a diagnostic command.
    std::string Ask(const std::string &command)
    {
        std::string reply;
        mAgent.ParseSSDPDiagnosticMessages(command, reply);
        return reply;
    }

    [[nodiscard]] bool Knows(const std::string &product) const
    {
        return mAgent.NodeList().count(UsnOf(product, kPeerAddress)) != 0;
    }

    FakeEnvironment mEnvironment;
    ssdp::SSDPAgent mAgent{mEnvironment};
    std::uint32_t mNowMs = 1000;
};

} // namespace test
