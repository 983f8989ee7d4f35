#pragma once

#include "messages.h"
#include "ssdp/vex_ssdp.h"
#include "support/one_processor.h"
#include "support/private_namespace.h"
#include "support/received_so_far.h"

#include <array>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <string>

// The fixture of the whole engine's tests: the engine on net0, and a peer that receives
// datagrams to the group and to its port 1900. The protocol itself is tested without a
// network (agent_fixture.h).
namespace test {

inline const std::map<std::string, std::string> kNet0{{kOwnAddress, "net0"}};

inline std::string ReadFile(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The next datagram of a socket of this host; "" if none arrives within 10 seconds.
inline std::string Receive(VEXUDPSocket &socket)
{
    std::array<char, 2000> buffer{};
    sockaddr_in sender{};
    return {buffer.data(), socket.Poll(buffer.data(), buffer.size(), sender, 10000)};
}

class EngineOnNet0
{
protected:
    EngineOnNet0()
    {
        mPeer.JoinMulticast();
        mEngine.SetPath("/var/www/html");
    }
    EngineOnNet0(const EngineOnNet0 &) = delete;
    EngineOnNet0 &operator=(const EngineOnNet0 &) = delete;
    ~EngineOnNet0() { mEngine.Close(); }

    void Add(const std::string &product = kCorvia)
    {
        SSDPDeviceType service = OwnService(product);
        mEngine.AddService(service);
    }

    // Opens the engine with one announced service, and reads the announcement and the
    // search at the peer.
    void OpenAnnounced()
    {
        Add();
        ASSERT_EQ(mEngine.Open(kNet0), 1U);
        EXPECT_EQ(mPeer.Receive(), Alive(kCorvia, kCorviaFile));
        EXPECT_EQ(mPeer.Receive(), Search("upnp:rootdevice"));
    }

    // Returns when the engine has handled all datagrams that came to its port 1900 so far.
    // REQUIRES: OpenAnnounced.
    void Settle()
    {
        PeerSocket asker;
        asker.SendTo(Search("upnp:rootdevice"), kOwnAddress, 1900);
        EXPECT_EQ(asker.Receive(), SearchAnswer(kCorvia, kCorviaFile));
    }

    // The reply to a diagnostic command.
    static std::string Ask(const std::string &command)
    {
        PeerSocket asker;
        asker.SendTo(command, kOwnAddress, 49821);
        return asker.Receive();
    }

    void ToEngine(const std::string &datagram) { mPeer.SendTo(datagram, kOwnAddress, 1900); }

    OneProcessor mOrder;
    PeerSocket mPeer{1900};
    VEX_SSDP mEngine;
};

class EngineTest : public testing::Test, protected EngineOnNet0
{
};

} // namespace test
