#include "agent_fixture.h"
#include "support/records.h"

#include <gmock/gmock.h>

// Received description documents.

using test::kLumen;
using test::kPeerAddress;
using test::PeerDescription;
using test::PeerNotify;
using test::UsnOf;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class AgentDescriptions : public test::AgentTest
{
protected:
    AgentDescriptions() { Open(); }

    [[nodiscard]] const SSDPDeviceType &Node(const std::string &usn) const
    {
        return mAgent.NodeList().at(usn);
    }

    // The record that a document with these elements and headers makes.
    const SSDPDeviceType &Read(const std::string &elements, const std::string &headers = "")
    {
        Receive("HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\n" + headers +
                "<friendlyName>beta</friendlyName><UDN>uuid:1-2</UDN>" + elements + "\r\n\r\n");
        return Node("uuid:1-2");
    }

    std::string ModelNumber(const std::string &name, const std::string &number)
    {
        const SSDPDeviceType &device =
            Read("<modelName>" + name + "</modelName><modelNumber>" + number + "</modelNumber>");
        EXPECT_EQ(device.boardID, device.modelNumber);
        return device.modelNumber;
    }
};

} // namespace

TEST_F(AgentDescriptions, DescriptionAddsTheDeviceWithTheseFields)
{
    Receive(PeerDescription("Lumen", "beta"));
    SSDPDeviceType expected;
    expected.productName = "Lumen";
    expected.modelName = "Lumen";
    expected.modelNumber = "0x10660001";
    expected.modelDescription = "4K encoder";
    expected.ipAddress = kPeerAddress;
    expected.hostName = "beta";
    expected.instance = "0";
    expected.boardID = "0x10660001";
    expected.usn = UsnOf("Lumen", kPeerAddress);
    expected.maxAge = "120";
    expected.timerPeriod = 120000;
    expected.timerCountdown = 240000;
    ASSERT_EQ(mAgent.NodeList().size(), 1U);
    EXPECT_EQ(AllFields(mAgent.NodeList().begin()->second), AllFields(expected));
    EXPECT_TRUE(mAgent.Changed());
}

TEST_F(AgentDescriptions, LaterDescriptionReplacesAnEarlierOne)
{
    Receive(PeerDescription("Lumen", "beta"));
    Receive(PeerDescription("Lumen", "delta"));
    EXPECT_EQ(mAgent.NodeList().size(), 1U);
    EXPECT_EQ(Node(UsnOf("Lumen", kPeerAddress)).hostName, "delta");
}

TEST_F(AgentDescriptions, DeviceIsForgottenAfterItsGoodbye)
{
    Receive(PeerDescription("Lumen", "beta"));
    Receive(PeerNotify("ssdp:byebye", "Lumen", kLumen));
    EXPECT_FALSE(Knows("Lumen"));
}

TEST_F(AgentDescriptions, DeviceIsForgottenWhenItIsSilentForTwiceItsMaxAge)
{
    Receive(PeerDescription("Lumen", "beta"));
    Tick(119999);
    EXPECT_TRUE(Knows("Lumen"));
    Receive(PeerNotify("ssdp:alive", "Lumen", kLumen)); // lives for 240 s from now
    Tick(119999);
    EXPECT_TRUE(Knows("Lumen"));
    Tick(120001);
    EXPECT_FALSE(Knows("Lumen"));
}

TEST_F(AgentDescriptions, ModelNumberThatBeginsWith0x1IsKept)
{
    EXPECT_EQ(ModelNumber("Lumen", "0x10650001"), "0x10650001");
    EXPECT_EQ(ModelNumber("No Such Model", "0x1"), "0x1");
    EXPECT_EQ(ModelNumber("ZR2 ", "0x1anything"), "0x1anything");
}

TEST_F(AgentDescriptions, OtherModelNumbersAndThoseOfAZR2ComeFromTheModelName)
{
    EXPECT_EQ(ModelNumber("ZR2", "0x10650001"), "0x10680002");
    EXPECT_EQ(ModelNumber("Lumen", "0x2"), "0x10660001");
    EXPECT_EQ(ModelNumber("Lumen", "0X10650001"), "0x10660001");
    EXPECT_EQ(ModelNumber("Lumen", ""), "0x10660001");
    EXPECT_EQ(ModelNumber("Lumen", "0x"), "0x10660001");
    EXPECT_EQ(ModelNumber("corvia-12 PLUS", "7"), "0x10650002");
    EXPECT_EQ(ModelNumber("No Such Model", "7"), "0xffffffff");
}

TEST_F(AgentDescriptions, DeviceLivesForTwiceTheMaxAgeOfTheResponse)
{
    const SSDPDeviceType &device = Read("", "CACHE-CONTROL: max-age=300\r\n");
    EXPECT_EQ(device.maxAge, "300");
    EXPECT_EQ(device.timerPeriod, 300000U);
    EXPECT_EQ(device.timerCountdown, 600000);
}

TEST_F(AgentDescriptions, MaxAgeBelow120SecondsIsReplacedBy120To129Seconds)
{
    const SSDPDeviceType &device = Read("", "CACHE-CONTROL: max-age=119\r\n");
    EXPECT_EQ(device.maxAge, "125");
    EXPECT_EQ(device.timerPeriod, 125000U);
    EXPECT_EQ(device.timerCountdown, 250000);
}

TEST_F(AgentDescriptions, LargeMaxAgeDoesNotOverflowTheCountdown)
{
    const SSDPDeviceType &device = Read("", "CACHE-CONTROL: max-age=99999999999999999999\r\n");
    EXPECT_EQ(device.timerPeriod, 1073741000U);
    EXPECT_EQ(device.timerCountdown, 2147482000);
}

TEST_F(AgentDescriptions, ANewNameIsKnownAfterTwentyMinutesThoughTheGoodbyeWasLost)
{
    Receive(PeerDescription("Lumen", "beta"));
    Datagrams requests;
    while (mNowMs < 20 * 60 * 1000) {
        EXPECT_EQ(Receive(PeerNotify("ssdp:alive", "Lumen", kLumen)), Datagrams{});
        for (const test::Sent &sent : Tick()) {
            requests.push_back(sent);
            Receive(PeerDescription("Lumen", "gamma"));
        }
    }
    EXPECT_EQ(requests, (Datagrams{test::ToPeer(test::PeerRequest(kLumen))}));
    EXPECT_EQ(Node(UsnOf("Lumen", kPeerAddress)).hostName, "gamma");
}
