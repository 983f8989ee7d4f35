#include "ssdp/bound_report.h"

#include "support/capture.h"

#include <gtest/gtest.h>

namespace {

enum class Fill { mostlyEmpty, room, full };

std::string ErrorsOf(BoundReport &report, Fill fill)
{
    const bool room = fill != Fill::full;
    const test::Output output =
        test::Capture([&] { EXPECT_EQ(report.Admit(room, fill == Fill::mostlyEmpty), room); });
    EXPECT_EQ(output.out, "");
    return output.err;
}

const std::string kLine = "SendGETResponse: Too many responses, dropping what comes more\n";

} // namespace

TEST(BoundReport, SaysNothingAsLongAsThereIsRoom)
{
    BoundReport report("SendGETResponse", "responses");
    EXPECT_EQ(ErrorsOf(report, Fill::mostlyEmpty), "");
    EXPECT_EQ(ErrorsOf(report, Fill::mostlyEmpty), "");
}

TEST(BoundReport, TellsOnceThatTheBoundIsMet)
{
    BoundReport report("SendGETResponse", "responses");
    EXPECT_EQ(ErrorsOf(report, Fill::full), kLine);
    EXPECT_EQ(ErrorsOf(report, Fill::full), "");
    EXPECT_EQ(ErrorsOf(report, Fill::full), "");
}

TEST(BoundReport, SaysNothingAgainWhenThereIsALittleRoomForAWhile)
{
    BoundReport report("SendGETResponse", "responses");
    EXPECT_EQ(ErrorsOf(report, Fill::full), kLine);
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(ErrorsOf(report, Fill::room), "");
        EXPECT_EQ(ErrorsOf(report, Fill::full), "");
    }
}

TEST(BoundReport, TellsAgainAfterTheContainerWasMostlyEmpty)
{
    BoundReport report("SendGETResponse", "responses");
    EXPECT_EQ(ErrorsOf(report, Fill::full), kLine);
    EXPECT_EQ(ErrorsOf(report, Fill::mostlyEmpty), "");
    EXPECT_EQ(ErrorsOf(report, Fill::full), kLine);
    EXPECT_EQ(ErrorsOf(report, Fill::full), "");
}

TEST(BoundReport, OfEachContainerStandsByItself)
{
    BoundReport report("SendGETResponse", "responses");
    BoundReport other("SendGETRequest", "requests");
    EXPECT_EQ(ErrorsOf(report, Fill::full), kLine);
    EXPECT_EQ(ErrorsOf(other, Fill::full),
              "SendGETRequest: Too many requests, dropping what comes more\n");
}
