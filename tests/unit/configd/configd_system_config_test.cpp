#include "configd/system_config.h"

#include <gmock/gmock.h>

namespace configd {
namespace {

using nlohmann::json;
using testing::Eq;
using testing::Optional;

json Config()
{
    return {{"hostName", "alpha"}, {"ssdpEnable", true}};
}

// What a patch makes of the configuration above.
std::string Patched(const std::string &patch)
{
    json config = Config();
    EXPECT_EQ(PatchSystemConfig(patch, config), std::nullopt);
    return config.dump();
}

// The fault of a patch, which leaves the configuration as it was.
std::string Refused(const std::string &patch)
{
    json config = Config();
    const auto fault = PatchSystemConfig(patch, config);
    EXPECT_EQ(config, Config());
    return fault.value_or("no fault");
}

TEST(SystemConfig, IsReadWithEitherMemberAbsent)
{
    for (const char *text : {"{}", R"({"hostName":"alpha"})", R"({"ssdpEnable":false})",
                             R"({"hostName":"alpha","ssdpEnable":true})"}) {
        json config;
        EXPECT_EQ(ReadSystemConfig(text, config), std::nullopt) << text;
        EXPECT_EQ(config.dump(), text);
    }
}

TEST(SystemConfig, StoredTextsMustBeWhatTheServiceWrites)
{
    json config = Config();
    EXPECT_THAT(ReadSystemConfig("{\"hostName\":\n null}", config),
                Optional(Eq("line 1, column 2: hostName must be a text of at most 255 bytes "
                            "without control characters")));
    EXPECT_THAT(ReadSystemConfig("{\n\"ssdpEnable\": 1}", config),
                Optional(Eq("line 2, column 1: ssdpEnable must be true or false")));
    EXPECT_THAT(ReadSystemConfig("{\"ssdp\": true}", config),
                Optional(Eq("line 1, column 2: unknown member")));
    EXPECT_THAT(ReadSystemConfig("[]", config),
                Optional(Eq("line 1, column 1: must be an object")));
    EXPECT_THAT(ReadSystemConfig("", config), Optional(Eq("line 1, column 1: malformed JSON")));
    EXPECT_EQ(config, Config());
}

TEST(SystemConfigPatch, ReplacesTheMembersGivenAndKeepsTheOthers)
{
    EXPECT_EQ(Patched("{}"), R"({"hostName":"alpha","ssdpEnable":true})");
    EXPECT_EQ(Patched(R"({"hostName":"beta"})"), R"({"hostName":"beta","ssdpEnable":true})");
    EXPECT_EQ(Patched(R"({"ssdpEnable":false})"), R"({"hostName":"alpha","ssdpEnable":false})");
    EXPECT_EQ(Patched(R"({"ssdpEnable":false,"hostName":""})"),
              R"({"hostName":"","ssdpEnable":false})");
}

TEST(SystemConfigPatch, RemovesAMemberGivenAsNull)
{
    EXPECT_EQ(Patched(R"({"hostName":null})"), R"({"ssdpEnable":true})");
    EXPECT_EQ(Patched(R"({"hostName":null,"ssdpEnable":null})"), "{}");
}

TEST(SystemConfigPatch, AddsAMemberThatWasAbsent)
{
    json config = json::object();
    EXPECT_EQ(PatchSystemConfig(R"({"ssdpEnable":false})", config), std::nullopt);
    EXPECT_EQ(config.dump(), R"({"ssdpEnable":false})");
    EXPECT_EQ(PatchSystemConfig(R"({"hostName":null})", config), std::nullopt);
    EXPECT_EQ(config.dump(), R"({"ssdpEnable":false})");
}

TEST(SystemConfigPatch, IsRefusedAsAWholeForOneWrongType)
{
    const std::string name =
        "hostName must be a text of at most 255 bytes without control characters";
    EXPECT_EQ(Refused(R"({"ssdpEnable":false,"hostName":5})"), "line 1, column 21: " + name);
    EXPECT_EQ(Refused(R"({"hostName":{"a":null}})"), "line 1, column 2: " + name);
    EXPECT_EQ(Refused(R"({"hostName":"a\r\nb"})"), "line 1, column 2: " + name);
    EXPECT_EQ(Refused(R"({"hostName":")" + std::string(256, 'a') + "\"}"),
              "line 1, column 2: " + name);
    EXPECT_EQ(Refused(R"({"hostName":"beta","ssdpEnable":"false"})"),
              "line 1, column 20: ssdpEnable must be true or false");
}

TEST(SystemConfigPatch, IsRefusedForAnUnknownMemberEvenAsNull)
{
    EXPECT_EQ(Refused(R"({"hostName":"beta","hostname":"b"})"),
              "line 1, column 20: unknown member");
    EXPECT_EQ(Refused(R"({"other":null})"), "line 1, column 2: unknown member");
}

TEST(SystemConfigPatch, IsRefusedUnlessItIsAnObject)
{
    EXPECT_EQ(Refused("null"), "line 1, column 1: must be an object");
    EXPECT_EQ(Refused("[]"), "line 1, column 1: must be an object");
    EXPECT_EQ(Refused("\"alpha\""), "line 1, column 1: must be an object");
    EXPECT_EQ(Refused("{\"hostName\":"), "line 1, column 13: malformed JSON");
}

TEST(FactorySystemConfig, MakesTheDeviceVisibleUnderTheSystemsHostName)
{
    EXPECT_EQ(FactorySystemConfig("studio-a").dump(),
              R"({"hostName":"studio-a","ssdpEnable":true})");
}

TEST(FactorySystemConfig, LeavesOutAHostNameThatNobodyCouldSet)
{
    EXPECT_EQ(FactorySystemConfig("a\nb").dump(), R"({"ssdpEnable":true})");
    EXPECT_EQ(FactorySystemConfig(std::string(256, 'a')).dump(), R"({"ssdpEnable":true})");
}

TEST(FactorySystemConfig, BearsAHostNameThatIsNoUtf8)
{
    EXPECT_EQ(FactorySystemConfig("a\xFF").dump(),
              "{\"hostName\":\"a\xEF\xBF\xBD\",\"ssdpEnable\":true}");
}

} // namespace
} // namespace configd
