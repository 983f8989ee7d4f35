#include "beaconctl/status_text.h"

#include <gtest/gtest.h>

using namespace beaconctl;

namespace {

const StatusReport kReport{
    Health::Degraded,
    {{"daemon", Severity::Fine, "process 77", ""},
     {"configuration", Severity::Fault, "name \"a\x1b[2J\xff\"", "Start it."},
     {"receive buffer", Severity::Notice, "small", "Raise the limit."},
     {"product", Severity::Unknown, "not visible for this user", ""}}};

} // namespace

TEST(StatusText, HasALineForEachFindingAndTheAdviceBelowIt)
{
    EXPECT_EQ(StatusText(kReport), "beacond on this device: degraded\n"
                                   "\n"
                                   "ok     daemon          process 77\n"
                                   "FAULT  configuration   name \"a\\x1b[2J\\xff\"\n"
                                   "                       -> Start it.\n"
                                   "note   receive buffer  small\n"
                                   "                       -> Raise the limit.\n"
                                   "?      product         not visible for this user\n");
}

TEST(StatusText, NamesTheHealth)
{
    EXPECT_EQ(StatusText({Health::Healthy, {}}), "beacond on this device: healthy\n\n");
    EXPECT_EQ(StatusText({Health::NotRunning, {}}), "beacond on this device: not running\n\n");
}

TEST(StatusText, ShortensLongTexts)
{
    const std::string text =
        StatusText({Health::Healthy, {{"daemon", Severity::Fine, std::string(9000, 'n'), ""}}});
    EXPECT_EQ(text.substr(text.size() - 501), std::string(497, 'n') + "...\n");
    EXPECT_LT(text.size(), 600U);
}

TEST(StatusJson, IsOneLineWithWholeTexts)
{
    EXPECT_EQ(StatusJson(kReport),
              "{\"checks\":["
              "{\"check\":\"daemon\",\"state\":\"ok\",\"text\":\"process 77\"},"
              "{\"advice\":\"Start it.\",\"check\":\"configuration\",\"state\":\"fault\","
              "\"text\":\"name \\\"a\\u001b[2J\xef\xbf\xbd\\\"\"},"
              "{\"advice\":\"Raise the limit.\",\"check\":\"receive buffer\",\"state\":\"note\","
              "\"text\":\"small\"},"
              "{\"check\":\"product\",\"state\":\"unknown\","
              "\"text\":\"not visible for this user\"}],"
              "\"status\":\"degraded\"}\n");
}
