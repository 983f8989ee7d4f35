#include "configd/net_device.h"

#include <gmock/gmock.h>

namespace configd {
namespace {

const std::string kOne = R"([{"name":"net0","activeParams":{"address":"192.0.2.10"},)"
                         R"("status":{"interfaceSetupState":"Complete","connected":true}}])";

// The text above with another one in the place of a part of it.
std::string With(const std::string &part, const std::string &other)
{
    std::string text = kOne;
    return text.replace(text.find(part), part.size(), other);
}

std::string Refused(const std::string &text)
{
    std::vector<NetDevice> devices(1);
    const auto fault = ReadNetDevices(text, devices);
    EXPECT_EQ(devices.size(), 1U);
    EXPECT_EQ(devices[0].name, "");
    return fault.value_or("no fault");
}

// Reads a text and writes it again.
std::string Again(const std::string &text)
{
    std::vector<NetDevice> devices;
    EXPECT_EQ(ReadNetDevices(text, devices), std::nullopt);
    return NetDevicesText(devices);
}

TEST(NetDevices, AreWrittenOnOneLineInTheOrderClientsKnow)
{
    EXPECT_EQ(NetDevicesText({{"net0", "192.0.2.10", SetupState::Complete, true}}), kOne);
    EXPECT_EQ(NetDevicesText({}), "[]");
}

TEST(NetDevices, ReadBackAsWritten)
{
    EXPECT_EQ(Again(kOne), kOne);
    EXPECT_EQ(Again("[]"), "[]");
    const std::string two =
        NetDevicesText({{"a", "", SetupState::Idle, false},
                        {"b", "192.0.2.255", SetupState::Failed, true},
                        {"\xC3\xBC\"\\", "0.0.0.0", SetupState::Preparing, false}});
    EXPECT_EQ(Again(two), two);
}

TEST(NetDevices, ReadWhateverTheOrderOfTheMembers)
{
    EXPECT_EQ(Again(R"([ {"status":{"connected":true,"interfaceSetupState":"Complete"},
                         "activeParams":{"address":"192.0.2.10"}, "name":"net0"} ])"),
              kOne);
}

TEST(NetDevices, AreWrittenWithEachState)
{
    for (const char *state : {"Idle", "Preparing", "Complete", "Failed"}) {
        const std::string text = With("Complete", state);
        EXPECT_EQ(Again(text), text);
    }
}

TEST(NetDevices, AreWrittenAsUtf8WhateverTheInterfaceIsCalled)
{
    EXPECT_EQ(NetDevicesText({{"a\xFF", "", SetupState::Idle, false}}),
              "[{\"name\":\"a\xEF\xBF\xBD\",\"activeParams\":{\"address\":\"\"},"
              "\"status\":{\"interfaceSetupState\":\"Idle\",\"connected\":false}}]");
}

TEST(NetDevices, MustBeAnArrayOfObjects)
{
    EXPECT_EQ(Refused("{}"), "line 1, column 1: must be an array");
    EXPECT_EQ(Refused("null"), "line 1, column 1: must be an array");
    EXPECT_EQ(Refused("[5]"), "line 1, column 2: must be an object");
    EXPECT_EQ(Refused(kOne.substr(0, kOne.size() - 1)), "line 1, column 118: malformed JSON");
}

TEST(NetDevices, MustHaveEveryMember)
{
    EXPECT_EQ(Refused("[{}]"), "line 1, column 2: name is missing");
    EXPECT_EQ(Refused(With(R"("address":"192.0.2.10")", "")),
              "line 1, column 17: address is missing");
    EXPECT_EQ(Refused(With(R"(,"connected":true)", "")), "line 1, column 57: connected is missing");
    EXPECT_EQ(Refused(With(R"("interfaceSetupState":"Complete",)", "")),
              "line 1, column 57: interfaceSetupState is missing");
}

TEST(NetDevices, MustHaveNoOtherMember)
{
    EXPECT_EQ(Refused(With(R"("name")", R"("x":1,"name")")), "line 1, column 3: unknown member");
    EXPECT_EQ(Refused(With(R"("address")", R"("gateway":"","address")")),
              "line 1, column 33: unknown member");
    EXPECT_EQ(Refused(With(R"("connected")", R"("speed":1,"connected")")),
              "line 1, column 100: unknown member");
}

TEST(NetDevices, MustHaveTheRightTypes)
{
    const std::string text = " must be a text of at most 255 bytes without control characters";
    EXPECT_EQ(Refused(With(R"("net0")", "0")), "line 1, column 3: name" + text);
    EXPECT_EQ(Refused(With(R"("192.0.2.10")", "null")), "line 1, column 33: address" + text);
    EXPECT_EQ(Refused(With(R"("Complete")", "2")), "line 1, column 67: interfaceSetupState" + text);
    EXPECT_EQ(Refused(With("true", "1")), "line 1, column 100: connected must be true or false");
    EXPECT_EQ(Refused(With(R"({"address":"192.0.2.10"})", "[]")),
              "line 1, column 17: must be an object");
}

TEST(NetDevices, MustHaveAnAddressThatIsOneOrEmpty)
{
    for (const char *address : {"192.0.2", "192.0.2.256", "net0", "2001:db8::1", " 192.0.2.10"}) {
        EXPECT_EQ(Refused(With("192.0.2.10", address)),
                  "line 1, column 33: address must be an IPv4 address or empty")
            << address;
    }
}

TEST(NetDevices, MustHaveAKnownState)
{
    for (const char *state : {"", "complete", "Completed"}) {
        EXPECT_EQ(Refused(With("Complete", state)),
                  "line 1, column 67: interfaceSetupState must be Idle, Preparing, Complete or "
                  "Failed")
            << state;
    }
}

TEST(NetDevices, AreReadAllOrNone)
{
    EXPECT_EQ(Refused(With("}}]", "}},{}]")), "line 1, column 119: name is missing");
}

} // namespace
} // namespace configd
