#include "configd/net_device.h"

#include <gmock/gmock.h>

namespace configd {
namespace {

const std::string kOne = R"([{"name":"net0","activeParams":{"address":"192.0.2.10"},)"
                         R"("status":{"interfaceSetupState":"Complete","connected":true}}])";

const std::string kNameFault = "/0/name: must be 1 to 63 bytes of UTF-8, without control "
                               "characters (C0, C1, DEL) and without < > & \"";

// kOne with part replaced by other.
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

TEST(NetDevices, AreWrittenOnOneLineInAFixedOrder)
{
    EXPECT_EQ(NetDevicesText({{"net0", "192.0.2.10", SetupState::Complete, true}}), kOne);
    EXPECT_EQ(NetDevicesText({}), "[]");
}

TEST(NetDevices, AreReadAsWritten)
{
    EXPECT_EQ(Again(kOne), kOne);
    EXPECT_EQ(Again("[]"), "[]");
    const std::string two =
        NetDevicesText({{"a", "", SetupState::Idle, false},
                        {"b", "192.0.2.255", SetupState::Failed, true},
                        {"\xC3\xBC\\", "0.0.0.0", SetupState::Preparing, false}});
    EXPECT_EQ(Again(two), two);
}

TEST(NetDevices, AreReadInAnyOrderOfTheMembers)
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

TEST(NetDevices, AreWrittenAsUtf8EvenIfAnInterfaceNameIsNot)
{
    EXPECT_EQ(NetDevicesText({{"a\xFF", "", SetupState::Idle, false}}),
              "[{\"name\":\"a\xEF\xBF\xBD\",\"activeParams\":{\"address\":\"\"},"
              "\"status\":{\"interfaceSetupState\":\"Idle\",\"connected\":false}}]");
}

TEST(NetDevices, AreStoredWithOneLineForEachDevice)
{
    EXPECT_EQ(StoredNetDevicesText({}), "[]\n");
    const std::string one = kOne.substr(1, kOne.size() - 2);
    const NetDevice device{"net0", "192.0.2.10", SetupState::Complete, true};
    EXPECT_EQ(StoredNetDevicesText({device}), "[\n    " + one + "\n]\n");
    EXPECT_EQ(StoredNetDevicesText({device, device}), "[\n    " + one + ",\n    " + one + "\n]\n");
    EXPECT_EQ(Again(StoredNetDevicesText({device, device})), '[' + one + ',' + one + ']');
}

TEST(NetDevices, MustBeAnArrayOfObjects)
{
    EXPECT_EQ(Refused("{}"), "must be an array");
    EXPECT_EQ(Refused("null"), "must be an array");
    EXPECT_EQ(Refused("[5]"), "/0: must be an object");
    EXPECT_EQ(Refused("[[]]"), "/0: must be an object");
    EXPECT_EQ(Refused(kOne.substr(0, kOne.size() - 1)), "line 1, column 118: malformed JSON");
}

TEST(NetDevices, MustHaveEveryMember)
{
    EXPECT_EQ(Refused("[{}]"), "/0: name is missing");
    EXPECT_EQ(Refused(With(R"("address":"192.0.2.10")", "")),
              "/0: activeParams/address is missing");
    EXPECT_EQ(Refused(With(R"(,"connected":true)", "")), "/0: status/connected is missing");
    EXPECT_EQ(Refused(With(R"("interfaceSetupState":"Complete",)", "")),
              "/0: status/interfaceSetupState is missing");
}

TEST(NetDevices, MustHaveNoOtherMember)
{
    EXPECT_EQ(Refused(With(R"("name")", R"("x":1,"name")")), "/0/x: unknown member");
    EXPECT_EQ(Refused(With(R"("address")", R"("gateway":"","address")")),
              "/0/activeParams/gateway: unknown member");
    EXPECT_EQ(Refused(With(R"("connected")", R"("speed":1,"connected")")),
              "/0/status/speed: unknown member");
    // A slash in a name does not make it a path.
    EXPECT_EQ(Refused(With(R"("status":{)", R"("status/connected":true,"status":{)")),
              "/0/status?connected: unknown member");
}

TEST(NetDevices, MustHaveTheRightTypes)
{
    EXPECT_EQ(Refused(With(R"("net0")", "0")), kNameFault);
    EXPECT_EQ(Refused(With(R"("net0")", "[]")), kNameFault);
    EXPECT_EQ(Refused(With(R"("192.0.2.10")", "null")),
              "/0/activeParams/address: must be an IPv4 address or empty");
    EXPECT_EQ(Refused(With(R"("Complete")", "2")),
              "/0/status/interfaceSetupState: must be Idle, Preparing, Complete or Failed");
    EXPECT_EQ(Refused(With("true", "1")), "/0/status/connected: must be true or false");
    EXPECT_EQ(Refused(With(R"({"address":"192.0.2.10"})", "[]")),
              "/0/activeParams: must be an object");
}

TEST(NetDevices, MustHaveValidNames)
{
    EXPECT_EQ(Refused(With("net0", "")), kNameFault);
    EXPECT_EQ(Refused(With("net0", "net\\u0085")), kNameFault);
    EXPECT_EQ(Refused(With("net0", std::string(64, 'a'))), kNameFault);
    const std::string longest = With("net0", std::string(63, 'a'));
    EXPECT_EQ(Again(longest), longest);
}

TEST(NetDevices, MustHaveAValidAddressOrNone)
{
    for (const char *address :
         {"192.0.2", "192.0.2.256", "net0", "2001:db8::1", " 192.0.2.10", "192.0.2.10\\u0000"}) {
        EXPECT_EQ(Refused(With("192.0.2.10", address)),
                  "/0/activeParams/address: must be an IPv4 address or empty")
            << address;
    }
}

TEST(NetDevices, MustHaveAKnownState)
{
    for (const char *state : {"", "complete", "Completed"}) {
        EXPECT_EQ(Refused(With("Complete", state)),
                  "/0/status/interfaceSetupState: must be Idle, Preparing, Complete or Failed")
            << state;
    }
}

TEST(NetDevices, AreRefusedIfOneIsInvalid)
{
    EXPECT_EQ(Refused(With("}}]", "}},{}]")), "/1: name is missing");
}

} // namespace
} // namespace configd
