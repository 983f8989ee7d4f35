#include "configd/event_stream.h"

#include <array>
#include <gmock/gmock.h>

namespace configd {
namespace {

using testing::ElementsAre;
using testing::Eq;
using testing::Optional;

// All that a stream has to send, taken size bytes at a time.
std::string Drain(EventStream &stream, const Values &values, std::size_t size = 4096)
{
    std::string all;
    std::string buffer(size, '\0');
    while (const std::size_t got = stream.Read(values, buffer.data(), size)) {
        all.append(buffer, 0, got);
    }
    return all;
}

const Values kValues{R"({"hostName":"alpha"})", "[]"};

TEST(Parameters, AreReadInTheOrderNamed)
{
    std::vector<Parameter> read;
    EXPECT_EQ(ReadParameters("24,19", read), std::nullopt);
    EXPECT_THAT(read, ElementsAre(Parameter::SystemConfig, Parameter::NetDeviceList));
    EXPECT_EQ(ReadParameters("19,24", read), std::nullopt);
    EXPECT_THAT(read, ElementsAre(Parameter::NetDeviceList, Parameter::SystemConfig));
    EXPECT_EQ(ReadParameters("24", read), std::nullopt);
    EXPECT_THAT(read, ElementsAre(Parameter::SystemConfig));
}

TEST(Parameters, NamedTwiceCountOnce)
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
                    Optional(Eq("params names an unknown parameter; 24 and 19 are known")))
            << list;
        EXPECT_THAT(read, ElementsAre(Parameter::SystemConfig));
    }
}

TEST(Parameters, MustBeNamed)
{
    std::vector<Parameter> read;
    EXPECT_THAT(ReadParameters("", read), Optional(Eq("params names no parameter")));
}

TEST(EventText, IsTheNumberTheDataAndAnEmptyLine)
{
    EXPECT_EQ(EventText(Parameter::SystemConfig, "{}"), "event: 24\ndata: {}\n\n");
    EXPECT_EQ(EventText(Parameter::NetDeviceList, "[]"), "event: 19\ndata: []\n\n");
}

TEST(EventStream, BeginsWithTheParametersInTheOrderNamed)
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
    values.netDeviceList = "[1]";
    EXPECT_EQ(Drain(stream, values), "event: 19\ndata: [1]\n\n");
    EXPECT_EQ(Drain(stream, values), "");
    values.systemConfig = "{}";
    EXPECT_EQ(Drain(stream, values), "event: 24\ndata: {}\n\n");
}

TEST(EventStream, SendsNothingOfAParameterNotNamed)
{
    EventStream stream({Parameter::SystemConfig});
    Values values = kValues;
    EXPECT_EQ(Drain(stream, values), "event: 24\ndata: {\"hostName\":\"alpha\"}\n\n");
    values.netDeviceList = "[1]";
    EXPECT_EQ(Drain(stream, values), "");
}

TEST(EventStream, GivesALateReaderTheLatestValueOnly)
{
    EventStream stream({Parameter::SystemConfig});
    Values values = kValues;
    std::array<char, 5> begun{};
    EXPECT_EQ(stream.Read(values, begun.data(), begun.size()), 5U);
    values.systemConfig = "1";
    values.systemConfig = "2";
    EXPECT_EQ(std::string(begun.data(), begun.size()) + Drain(stream, values),
              "event: 24\ndata: {\"hostName\":\"alpha\"}\n\n"
              "event: 24\ndata: 2\n\n");
}

TEST(EventStream, SendsNothingOfAChangeThatWasTakenBack)
{
    EventStream stream({Parameter::SystemConfig});
    Values values = kValues;
    EXPECT_NE(Drain(stream, values), "");
    values.systemConfig = "1";
    values.systemConfig = kValues.systemConfig;
    EXPECT_EQ(Drain(stream, values), "");
}

TEST(EventStream, IsTheSameInPiecesOfAnySize)
{
    for (const std::size_t size : {1U, 2U, 7U, 46U, 47U, 64U}) {
        EventStream stream({Parameter::SystemConfig, Parameter::NetDeviceList});
        EXPECT_EQ(Drain(stream, kValues, size), "event: 24\ndata: {\"hostName\":\"alpha\"}\n\n"
                                                "event: 19\ndata: []\n\n")
            << size;
    }
}

TEST(EventStream, SendsACommentWhenToldAndNothingElseIsToBeSent)
{
    EventStream stream({Parameter::SystemConfig});
    Values values = kValues;
    EXPECT_NE(Drain(stream, values), "");
    stream.AddComment();
    EXPECT_EQ(Drain(stream, values), ":\n");
    EXPECT_EQ(Drain(stream, values), "");
    stream.AddComment();
    values.systemConfig = "{}";
    EXPECT_EQ(Drain(stream, values), "event: 24\ndata: {}\n\n");
}

TEST(EventStream, KeepsOneCommentForAReaderThatIsLate)
{
    EventStream stream({Parameter::SystemConfig});
    EXPECT_NE(Drain(stream, kValues), "");
    for (int i = 0; i < 1000; ++i) {
        stream.AddComment();
    }
    EXPECT_EQ(Drain(stream, kValues), ":\n");
}

} // namespace
} // namespace configd
