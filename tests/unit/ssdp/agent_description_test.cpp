#include "ssdp/ssdp_agent.h"

#include "support/fake_environment.h"
#include "support/records.h"

#include <gtest/gtest.h>
#include <string>

// The record that a description response makes.

namespace {

class AgentDescription : public testing::Test
{
protected:
    AgentDescription()
    {
        agent.AddInterface("192.0.2.10", "net0", test::AddressOf("255.255.255.0"));
    }

    // The record of a response with these headers and elements.
    SSDPDeviceType Described(const std::string &headers, const std::string &elements)
    {
        const std::string response = "HTTP/1.1 200 OK\r\nCONTENT-LANGUAGE: en\r\n" + headers +
                                     "<friendlyName>studio-b</friendlyName><UDN>uuid:1-2</UDN>" +
                                     elements + "\r\n\r\n";
        EXPECT_FALSE(agent.ParseSSDPPacket(response, test::SocketAddressOf("192.0.2.20", 1900), 0));
        const auto node = agent.NodeList().find("uuid:1-2");
        EXPECT_NE(node, agent.NodeList().end());
        return node == agent.NodeList().end() ? SSDPDeviceType() : node->second;
    }

    std::string ModelNumber(const std::string &name, const std::string &number)
    {
        const SSDPDeviceType device = Described(
            "", "<modelName>" + name + "</modelName><modelNumber>" + number + "</modelNumber>");
        EXPECT_EQ(device.boardID, device.modelNumber);
        return device.modelNumber;
    }

    test::FakeEnvironment environment;
    ssdp::SSDPAgent agent{environment};
};

} // namespace

TEST_F(AgentDescription, AModelNumberThatBeginsWith0x1IsKept)
{
    EXPECT_EQ(ModelNumber("Lumen", "0x10650001"), "0x10650001");
    EXPECT_EQ(ModelNumber("No Such Model", "0x1"), "0x1");
    EXPECT_EQ(ModelNumber("ZR2 ", "0x1anything"), "0x1anything");
}

TEST_F(AgentDescription, AnyOtherModelNumberAndThatOfAZR2ComesFromTheModelsName)
{
    EXPECT_EQ(ModelNumber("ZR2", "0x10650001"), "0x10680002");
    EXPECT_EQ(ModelNumber("Lumen", "0x2"), "0x10660001");
    EXPECT_EQ(ModelNumber("Lumen", "0X10650001"), "0x10660001");
    EXPECT_EQ(ModelNumber("Lumen", ""), "0x10660001");
    EXPECT_EQ(ModelNumber("Lumen", "0x"), "0x10660001");
    EXPECT_EQ(ModelNumber("corvia-12 PLUS", "7"), "0x10650002");
    EXPECT_EQ(ModelNumber("No Such Model", "7"), "0xffffffff");
}

TEST_F(AgentDescription, WithoutAMaxAgeTheEntryLivesTwice120Seconds)
{
    SSDPDeviceType expected;
    expected.hostName = "studio-b";
    expected.usn = "uuid:1-2";
    expected.instance = "2";
    expected.modelNumber = "0xffffffff"; // the board of no model name
    expected.boardID = "0xffffffff";
    expected.maxAge = "120";
    expected.timerPeriod = 120000;
    expected.timerCountdown = 240000;
    EXPECT_EQ(AllFields(Described("", "")), AllFields(expected));
}

TEST_F(AgentDescription, AMaxAgeOfTheResponseCounts)
{
    const SSDPDeviceType device = Described("CACHE-CONTROL: max-age=300\r\n", "");
    EXPECT_EQ(device.timerPeriod, 300000U);
    EXPECT_EQ(device.timerCountdown, 600000);
}

TEST_F(AgentDescription, NoMaxAgeOverflowsTheCountdown)
{
    const SSDPDeviceType device = Described("CACHE-CONTROL: max-age=99999999999999999999\r\n", "");
    EXPECT_EQ(device.timerPeriod, 1073741000U);
    EXPECT_EQ(device.timerCountdown, 2147482000);
}
