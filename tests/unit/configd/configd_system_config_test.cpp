#include "configd/system_config.h"

#include <gmock/gmock.h>

namespace configd {
namespace {

using testing::Eq;
using testing::Optional;

const std::string kHostNameFault = "/hostName: must be 1 to 63 bytes of UTF-8, without control "
                                   "characters (C0, C1, DEL) and without < > & \"";

SystemConfig Config()
{
    return {"alpha", true};
}

// The configuration above after a patch.
std::string Patched(const std::string &patch)
{
    SystemConfig config = Config();
    EXPECT_EQ(PatchSystemConfig(patch, config), std::nullopt);
    return SystemConfigText(config);
}

// The fault of a patch, which must leave the configuration unchanged.
std::string Refused(const std::string &patch)
{
    SystemConfig config = Config();
    const auto fault = PatchSystemConfig(patch, config);
    EXPECT_TRUE(config == Config());
    return fault.value_or("no fault");
}

TEST(SystemConfig, IsReadWithEitherMemberAbsent)
{
    for (const char *text : {"{}", R"({"hostName":"alpha"})", R"({"ssdpEnable":false})",
                             R"({"hostName":"alpha","ssdpEnable":true})"}) {
        SystemConfig config;
        EXPECT_EQ(ReadSystemConfig(text, config), std::nullopt) << text;
        EXPECT_EQ(SystemConfigText(config), text);
    }
}

TEST(SystemConfig, IsRefusedIfTheStoredTextIsInvalid)
{
    SystemConfig config = Config();
    EXPECT_THAT(ReadSystemConfig("{\"hostName\":\n null}", config), Optional(Eq(kHostNameFault)));
    EXPECT_THAT(ReadSystemConfig("{\n\"ssdpEnable\": 1}", config),
                Optional(Eq("/ssdpEnable: must be true or false")));
    EXPECT_THAT(ReadSystemConfig("{\"ssdp\": true}", config),
                Optional(Eq("/ssdp: unknown member")));
    EXPECT_THAT(ReadSystemConfig("[]", config), Optional(Eq("must be an object")));
    EXPECT_THAT(ReadSystemConfig("", config), Optional(Eq("line 1, column 1: malformed JSON")));
    EXPECT_TRUE(config == Config());
}

TEST(SystemConfig, ReadingReplacesAllMembers)
{
    SystemConfig config = Config();
    EXPECT_EQ(ReadSystemConfig("{}", config), std::nullopt);
    EXPECT_EQ(SystemConfigText(config), "{}");
}

TEST(SystemConfig, IsStoredWithIndents)
{
    EXPECT_EQ(StoredSystemConfigText(Config()),
              "{\n    \"hostName\": \"alpha\",\n    \"ssdpEnable\": true\n}\n");
    EXPECT_EQ(StoredSystemConfigText({}), "{}\n");
}

TEST(SystemConfigPatch, ReplacesItsMembersAndKeepsTheOthers)
{
    EXPECT_EQ(Patched("{}"), R"({"hostName":"alpha","ssdpEnable":true})");
    EXPECT_EQ(Patched(R"({"hostName":"beta"})"), R"({"hostName":"beta","ssdpEnable":true})");
    EXPECT_EQ(Patched(R"({"ssdpEnable":false})"), R"({"hostName":"alpha","ssdpEnable":false})");
    EXPECT_EQ(Patched(R"({"ssdpEnable":false,"hostName":"b"})"),
              R"({"hostName":"b","ssdpEnable":false})");
    EXPECT_EQ(Patched(R"({"hostName":"b","hostName":"c"})"), // the last one counts
              R"({"hostName":"c","ssdpEnable":true})");
}

TEST(SystemConfigPatch, RemovesAMemberThatIsNull)
{
    EXPECT_EQ(Patched(R"({"hostName":null})"), R"({"ssdpEnable":true})");
    EXPECT_EQ(Patched(R"({"hostName":null,"ssdpEnable":null})"), "{}");
}

TEST(SystemConfigPatch, AddsAMemberThatWasAbsent)
{
    SystemConfig config;
    EXPECT_EQ(PatchSystemConfig(R"({"ssdpEnable":false})", config), std::nullopt);
    EXPECT_EQ(SystemConfigText(config), R"({"ssdpEnable":false})");
    EXPECT_EQ(PatchSystemConfig(R"({"hostName":null})", config), std::nullopt);
    EXPECT_EQ(SystemConfigText(config), R"({"ssdpEnable":false})");
}

TEST(SystemConfigPatch, IsRefusedIfOneMemberHasAWrongType)
{
    EXPECT_EQ(Refused(R"({"ssdpEnable":false,"hostName":5})"), kHostNameFault);
    EXPECT_EQ(Refused(R"({"hostName":{"a":null}})"), kHostNameFault);
    EXPECT_EQ(Refused(R"({"hostName":[]})"), kHostNameFault);
    EXPECT_EQ(Refused(R"({"hostName":"beta","ssdpEnable":"false"})"),
              "/ssdpEnable: must be true or false");
    EXPECT_EQ(Refused(R"({"ssdpEnable":[true]})"), "/ssdpEnable: must be true or false");
}

TEST(SystemConfigPatch, RefusesInvalidHostNames)
{
    EXPECT_EQ(Refused(R"({"hostName":""})"), kHostNameFault);
    EXPECT_EQ(Refused(R"({"hostName":"a\r\nb"})"), kHostNameFault);
    EXPECT_EQ(Refused(R"({"hostName":"a\u0085b"})"), kHostNameFault);
    EXPECT_EQ(Refused(R"({"hostName":"a&b"})"), kHostNameFault);
    EXPECT_EQ(Refused(R"({"hostName":")" + std::string(64, 'a') + "\"}"), kHostNameFault);
}

TEST(SystemConfigPatch, RefusesUnknownMembersEvenIfNull)
{
    EXPECT_EQ(Refused(R"({"hostName":"beta","hostname":"b"})"), "/hostname: unknown member");
    EXPECT_EQ(Refused(R"({"other":null})"), "/other: unknown member");
    EXPECT_EQ(Refused(R"({"":1})"), "/: unknown member");
    EXPECT_EQ(Refused(R"({"hostName/":"b"})"), "/hostName?: unknown member");
}

TEST(SystemConfigPatch, IsRefusedUnlessItIsAnObject)
{
    for (const char *patch : {"null", "[]", "\"alpha\"", "1", "true"}) {
        EXPECT_EQ(Refused(patch), "must be an object") << patch;
    }
    EXPECT_EQ(Refused("{\"hostName\":"), "line 1, column 13: malformed JSON");
}

TEST(FactorySystemConfig, HasTheSystemsHostNameAndSsdpSwitchedOn)
{
    EXPECT_EQ(SystemConfigText(FactorySystemConfig("studio-a")),
              R"({"hostName":"studio-a","ssdpEnable":true})");
}

TEST(FactorySystemConfig, OmitsAnInvalidHostName)
{
    EXPECT_EQ(SystemConfigText(FactorySystemConfig("a\nb")), R"({"ssdpEnable":true})");
    EXPECT_EQ(SystemConfigText(FactorySystemConfig(std::string(64, 'a'))),
              R"({"ssdpEnable":true})");
}

TEST(FactorySystemConfig, ReplacesBytesOfTheHostNameThatAreNotUtf8)
{
    EXPECT_EQ(SystemConfigText(FactorySystemConfig("a\xFF")),
              "{\"hostName\":\"a\xEF\xBF\xBD\",\"ssdpEnable\":true}");
}

} // namespace
} // namespace configd
