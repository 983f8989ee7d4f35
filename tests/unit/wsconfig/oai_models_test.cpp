#include "wsconfig/configuration.h"
#include "wsconfig/oai_models.h"

#include <QJsonDocument>
#include <gtest/gtest.h>

using namespace OpenAPI;

namespace {

OAINetDevice Device(const char *json)
{
    return OAINetDevice(QJsonDocument::fromJson(json).object());
}

void ExpectNothingSet(const OAISystemConfig &config)
{
    EXPECT_FALSE(config.is_host_name_Set());
    EXPECT_EQ(config.getHostName(), QString());
    EXPECT_FALSE(config.is_ssdp_enable_Set());
    EXPECT_FALSE(config.isSsdpEnable());
}

void ExpectNothingSet(const OAINetDevice &device)
{
    EXPECT_EQ(device.getStatus().getInterfaceSetupState().asJson(), QString());
    EXPECT_FALSE(device.getStatus().isConnected());
    EXPECT_EQ(device.getActiveParams().getAddress(), QString());
    EXPECT_FALSE(device.getActiveParams().is_address_Set());
    EXPECT_FALSE(device.getStatus().is_interface_setup_state_Set());
    EXPECT_FALSE(device.getStatus().is_connected_Set());
}

} // namespace

TEST(OAISystemConfig, ReadsBothMembers)
{
    const OAISystemConfig config(QStringLiteral(R"({"hostName":"studio-a","ssdpEnable":true})"));
    EXPECT_TRUE(config.is_host_name_Set());
    EXPECT_EQ(config.getHostName(), QStringLiteral("studio-a"));
    EXPECT_TRUE(config.is_ssdp_enable_Set());
    EXPECT_TRUE(config.isSsdpEnable());
}

TEST(OAISystemConfig, AnEmptyNameAndFalseAreSet)
{
    const OAISystemConfig config(QStringLiteral(R"({"hostName":"","ssdpEnable":false})"));
    EXPECT_TRUE(config.is_host_name_Set());
    EXPECT_EQ(config.getHostName(), QString());
    EXPECT_TRUE(config.is_ssdp_enable_Set());
    EXPECT_FALSE(config.isSsdpEnable());
}

TEST(OAISystemConfig, EitherMemberMayBeAbsent)
{
    const OAISystemConfig name(QStringLiteral(R"({"hostName":"alpha"})"));
    EXPECT_TRUE(name.is_host_name_Set());
    EXPECT_FALSE(name.is_ssdp_enable_Set());
    const OAISystemConfig enable(QStringLiteral(R"({"ssdpEnable":true})"));
    EXPECT_FALSE(enable.is_host_name_Set());
    EXPECT_TRUE(enable.is_ssdp_enable_Set());
}

TEST(OAISystemConfig, NamesAreReadAsUnicode)
{
    const OAISystemConfig config(QString::fromUtf8("{\"hostName\":\"caf\xC3\xA9-\\u00e9\"}"));
    EXPECT_EQ(config.getHostName(), QString::fromUtf8("caf\xC3\xA9-\xC3\xA9"));
}

TEST(OAISystemConfig, MembersOfAWrongTypeAreNotSet)
{
    for (const char *wrong : {"null", "7", "[]", "{}"}) {
        SCOPED_TRACE(wrong);
        ExpectNothingSet(OAISystemConfig(
            QStringLiteral(R"({"hostName":%1,"ssdpEnable":%1})").arg(QLatin1String(wrong))));
    }
    ExpectNothingSet(OAISystemConfig(QStringLiteral(R"({"hostName":true,"ssdpEnable":"true"})")));
}

TEST(OAISystemConfig, OtherTextThanAnObjectSetsNothing)
{
    for (const char *text : {"", "{", R"({"hostName":"a")", R"(["hostName"])", "null", "garbage"}) {
        SCOPED_TRACE(text);
        ExpectNothingSet(OAISystemConfig(QString::fromUtf8(text)));
    }
    ExpectNothingSet(OAISystemConfig());
}

TEST(OAINetDevice, ReadsStateConnectionAndAddress)
{
    const OAINetDevice device =
        Device(R"({"name":"net0","activeParams":{"address":"192.0.2.10"},)"
               R"("status":{"interfaceSetupState":"Complete","connected":true}})");
    EXPECT_EQ(device.getStatus().getInterfaceSetupState().asJson(), QStringLiteral("Complete"));
    EXPECT_TRUE(device.getStatus().isConnected());
    EXPECT_EQ(device.getActiveParams().getAddress(), QStringLiteral("192.0.2.10"));
}

TEST(OAINetDevice, AbsentMembersReadAsEmptyOrFalse)
{
    ExpectNothingSet(OAINetDevice());
    ExpectNothingSet(Device("{}"));
    ExpectNothingSet(Device(R"({"activeParams":{},"status":{}})"));
}

TEST(OAINetDevice, MembersOfAWrongTypeReadAsEmptyOrFalse)
{
    ExpectNothingSet(Device(R"({"activeParams":[],"status":"Complete"})"));
    ExpectNothingSet(Device(R"({"activeParams":{"address":{"a":1}},)"
                            R"("status":{"interfaceSetupState":2,"connected":1}})"));
    ExpectNothingSet(Device(R"({"activeParams":{"address":null},)"
                            R"("status":{"interfaceSetupState":null,"connected":"true"}})"));
}

TEST(OAIInterfaceSetupState, HasItsNameWithoutQuotes)
{
    for (const char *name : {"Idle", "Preparing", "Complete", "Failed"}) {
        EXPECT_EQ(OAIInterfaceSetupState(QLatin1String(name)).asJson(), QLatin1String(name));
    }
}

TEST(OAIInterfaceSetupState, AnyOtherTextIsNotSet)
{
    for (const char *name : {"", "complete", "COMPLETE", "Complete ", "\"Complete\"", "Broken"}) {
        EXPECT_EQ(OAIInterfaceSetupState(QLatin1String(name)).asJson(), QString()) << name;
    }
    EXPECT_EQ(OAIInterfaceSetupState().asJson(), QString());
}

TEST(ConfigurationNames, AndNumbersAreThoseOfTheServicesContract)
{
    using configuration::SetupState;
    EXPECT_STREQ(NameOf(SetupState::Idle), "Idle");
    EXPECT_STREQ(NameOf(SetupState::Preparing), "Preparing");
    EXPECT_STREQ(NameOf(SetupState::Complete), "Complete");
    EXPECT_STREQ(NameOf(SetupState::Failed), "Failed");
    EXPECT_EQ(configuration::kNetDeviceList, 19);
    EXPECT_EQ(configuration::kSystemConfig, 24);
}
