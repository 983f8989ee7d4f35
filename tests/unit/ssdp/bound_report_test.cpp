#include "ssdp/flood_limits.h"

#include "support/fake_environment.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;

namespace {

const std::string kLine = "SendGETResponse: Too many responses, dropping what comes more";

class BoundReportTest : public testing::Test
{
protected:
    // Notes that the container is full. Returns the lines that this writes.
    std::vector<std::string> Full()
    {
        report.NoteFull(environment);
        return environment.TakeFaults();
    }

    test::FakeEnvironment environment;
    ssdp::BoundReport report{"SendGETResponse", "responses"};
};

} // namespace

TEST_F(BoundReportTest, WritesOneLineWhenTheContainerIsFull)
{
    EXPECT_THAT(Full(), ElementsAre(kLine));
    EXPECT_TRUE(Full().empty());
    EXPECT_TRUE(Full().empty());
}

TEST_F(BoundReportTest, WritesALineAgainAfterTheContainerWasMostlyEmpty)
{
    Full();
    report.NoteMostlyEmpty();
    EXPECT_THAT(Full(), ElementsAre(kLine));
    EXPECT_TRUE(Full().empty());
}

TEST_F(BoundReportTest, ContainersAreReportedIndependently)
{
    Full();
    ssdp::BoundReport other("SendGETRequest", "requests");
    other.NoteFull(environment);
    EXPECT_THAT(environment.TakeFaults(),
                ElementsAre("SendGETRequest: Too many requests, dropping what comes more"));
}
