#include "ssdp/bound_report.h"

#include "support/capture.h"

#include <gtest/gtest.h>

namespace {

std::string ErrorsOf(BoundReport &report, bool room)
{
    const test::Output output = test::Capture([&] { EXPECT_EQ(report.Admit(room), room); });
    EXPECT_EQ(output.out, "");
    return output.err;
}

const std::string kLine = "SendGETResponse: Too many responses, dropping what comes more\n";

} // namespace

TEST(BoundReport, SaysNothingAsLongAsThereIsRoom)
{
    BoundReport report("SendGETResponse", "responses");
    EXPECT_EQ(ErrorsOf(report, true), "");
    EXPECT_EQ(ErrorsOf(report, true), "");
}

TEST(BoundReport, TellsOnceThatTheBoundIsMet)
{
    BoundReport report("SendGETResponse", "responses");
    EXPECT_EQ(ErrorsOf(report, false), kLine);
    EXPECT_EQ(ErrorsOf(report, false), "");
    EXPECT_EQ(ErrorsOf(report, false), "");
}

TEST(BoundReport, TellsAgainOnlyAfterTheBoundWasLeft)
{
    BoundReport report("SendGETResponse", "responses");
    EXPECT_EQ(ErrorsOf(report, false), kLine);
    EXPECT_EQ(ErrorsOf(report, true), "");
    EXPECT_EQ(ErrorsOf(report, false), kLine);
    EXPECT_EQ(ErrorsOf(report, false), "");
}

TEST(BoundReport, OfEachContainerStandsByItself)
{
    BoundReport report("SendGETResponse", "responses");
    BoundReport other("SendGETRequest", "requests");
    EXPECT_EQ(ErrorsOf(report, false), kLine);
    EXPECT_EQ(ErrorsOf(other, false),
              "SendGETRequest: Too many requests, dropping what comes more\n");
}
