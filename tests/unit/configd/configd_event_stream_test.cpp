#include "configd/event_stream.h"

#include <gmock/gmock.h>

namespace configd {
namespace {

using testing::ElementsAre;
using testing::Eq;
using testing::Optional;

// Everything that a stream has to send, read in pieces of at most `size` bytes.
std::string Drain(EventStream &stream, const Values &values, std::size_t size = 4096)
{
    std::string all;
    for (std::string piece = stream.Read(values, size); !piece.empty();
         piece = stream.Read(values, size)) {
        EXPECT_LE(piece.size(), size);
        all += piece;
    }
    return all;
}

Value System(const std::string &json)
{
    return {Parameter::SystemConfig, json};
}

Value Devices(const std::string &json)
{
    return {Parameter::NetDeviceList, json};
}

const Values kValues{System(R"({"hostName":"alpha"})"), Devices("[]")};

TEST(Parameters, KeepTheirOrder)
{
    std::vector<Parameter> read;
    EXPECT_EQ(ReadParameters("24,19", read), std::nullopt);
    EXPECT_THAT(read, ElementsAre(Parameter::SystemConfig, Parameter::NetDeviceList));
    EXPECT_EQ(ReadParameters("19,24", read), std::nullopt);
    EXPECT_THAT(read, ElementsAre(Parameter::NetDeviceList, Parameter::SystemConfig));
    EXPECT_EQ(ReadParameters("24", read), std::nullopt);
    EXPECT_THAT(read, ElementsAre(Parameter::SystemConfig));
}

TEST(Parameters, RepetitionsAreIgnored)
{
    std::vector<Parameter> read;
    EXPECT_EQ(ReadParameters("24,19,24,24", read), std::nullopt);
    EXPECT_THAT(read, ElementsAre(Parameter::SystemConfig, Parameter::NetDeviceList));
}

TEST(Parameters, MustBeKnown)
{
    for (const char *list : {"25", "24,20", "24,", ",24", ",", "24 ,19", "024", "+24", "-24",
                             "0x18", "x", "24.0", "2419"}) {
        std::vector<Parameter> read{Parameter::SystemConfig};
        EXPECT_THAT(ReadParameters(list, read),
                    Optional(Eq("params has an unknown number; 24 and 19 are known")))
            << list;
        EXPECT_THAT(read, ElementsAre(Parameter::SystemConfig));
    }
}

TEST(Parameters, MustNotBeEmpty)
{
    std::vector<Parameter> read;
    EXPECT_THAT(ReadParameters("", read), Optional(Eq("params is missing or empty")));
}

TEST(Value, EventHasTheNumberTheDataAndAnEmptyLine)
{
    EXPECT_EQ(*System("{}").Event(), "event: 24\ndata: {}\n\n");
    EXPECT_EQ(*Devices("[]").Event(), "event: 19\ndata: []\n\n");
    EXPECT_EQ(System("{\"hostName\":\"alpha\"}").Json(), "{\"hostName\":\"alpha\"}");
}

TEST(EventStream, BeginsWithTheParametersInTheOrderOfTheRequest)
{
    EventStream first({Parameter::SystemConfig, Parameter::NetDeviceList});
    EXPECT_EQ(Drain(first, kValues), "event: 24\ndata: {\"hostName\":\"alpha\"}\n\n"
                                     "event: 19\ndata: []\n\n");
    EventStream second({Parameter::NetDeviceList, Parameter::SystemConfig});
    EXPECT_EQ(Drain(second, kValues), "event: 19\ndata: []\n\n"
                                      "event: 24\ndata: {\"hostName\":\"alpha\"}\n\n");
}

TEST(EventStream, SendsEachChangeOnce)
{
    EventStream stream({Parameter::SystemConfig, Parameter::NetDeviceList});
    Values values = kValues;
    EXPECT_NE(Drain(stream, values), "");
    EXPECT_EQ(Drain(stream, values), "");
    values.netDeviceList = Devices("[1]");
    EXPECT_EQ(Drain(stream, values), "event: 19\ndata: [1]\n\n");
    EXPECT_EQ(Drain(stream, values), "");
    values.systemConfig = System("{}");
    EXPECT_EQ(Drain(stream, values), "event: 24\ndata: {}\n\n");
}

TEST(EventStream, DoesNotSendOtherParameters)
{
    EventStream stream({Parameter::SystemConfig});
    Values values = kValues;
    EXPECT_EQ(Drain(stream, values), "event: 24\ndata: {\"hostName\":\"alpha\"}\n\n");
    values.netDeviceList = Devices("[1]");
    EXPECT_EQ(Drain(stream, values), "");
}

TEST(EventStream, SendsOnlyTheLatestValueToASlowReader)
{
    EventStream stream({Parameter::SystemConfig});
    Values values = kValues;
    const std::string begun = stream.Read(values, 5);
    values.systemConfig = System("1");
    values.systemConfig = System("2");
    EXPECT_EQ(begun + Drain(stream, values), "event: 24\ndata: {\"hostName\":\"alpha\"}\n\n"
                                             "event: 24\ndata: 2\n\n");
}

TEST(EventStream, DoesNotSendAChangeThatWasReverted)
{
    EventStream stream({Parameter::SystemConfig});
    Values values = kValues;
    EXPECT_NE(Drain(stream, values), "");
    values.systemConfig = System("1");
    values.systemConfig = kValues.systemConfig;
    EXPECT_EQ(Drain(stream, values), "");
}

// A value is in memory once, for any number of streams.
TEST(EventStream, SharesTheTextsThatItSends)
{
    const Values values{System("{}"), Devices(std::string(60000, ' '))};
    const auto before = values.netDeviceList.Event().use_count();
    std::vector<EventStream> streams(64, EventStream({Parameter::NetDeviceList}));
    for (EventStream &stream : streams) {
        EXPECT_EQ(stream.Read(values, 4096).size(), 4096U);
    }
    EXPECT_EQ(values.netDeviceList.Event().use_count(), before + 2 * 64); // mText and Watched::sent
}

TEST(EventStream, DoesNotDependOnTheSizeOfThePieces)
{
    for (const std::size_t size : {1U, 2U, 7U, 46U, 47U, 64U}) {
        EventStream stream({Parameter::SystemConfig, Parameter::NetDeviceList});
        EXPECT_EQ(Drain(stream, kValues, size), "event: 24\ndata: {\"hostName\":\"alpha\"}\n\n"
                                                "event: 19\ndata: []\n\n")
            << size;
    }
}

TEST(EventStream, SendsAHeartbeatIfNoEventIsWaiting)
{
    EventStream stream({Parameter::SystemConfig});
    Values values = kValues;
    EXPECT_NE(Drain(stream, values), "");
    stream.AddHeartbeat();
    EXPECT_EQ(Drain(stream, values), ":\n");
    EXPECT_EQ(Drain(stream, values), "");
    stream.AddHeartbeat();
    values.systemConfig = System("{}");
    EXPECT_EQ(Drain(stream, values), "event: 24\ndata: {}\n\n");
}

TEST(EventStream, KeepsOneHeartbeatForASlowReader)
{
    EventStream stream({Parameter::SystemConfig});
    EXPECT_NE(Drain(stream, kValues), "");
    for (int i = 0; i < 1000; ++i) {
        stream.AddHeartbeat();
    }
    EXPECT_EQ(Drain(stream, kValues), ":\n");
}

} // namespace
} // namespace configd
