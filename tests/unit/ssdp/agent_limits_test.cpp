#include "agent_fixture.h"

#include <algorithm>
#include <gmock/gmock.h>

// Limits to the bytes that others can make the agent send, and to the files that they
// can make it read.

using test::Get;
using test::GetAnswer;
using test::kCorvia;
using test::kCorviaFile;
using test::PeerNotify;
using test::PeerRequest;
using test::Search;
using test::SearchAnswer;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char *kOffLink = "198.51.100.7";
constexpr std::size_t kBurst = 65536;
constexpr std::size_t kPerSecond = 16384;

class AgentLimits : public test::AgentTest
{
protected:
    AgentLimits()
    {
        OpenAnnounced();
        mEnvironment.files.documents["/var/www/html/a.xml"] = std::string(1200, 'x');
    }

    // Searches from an address until no answer comes, or until the limit is reached.
    // Returns the number of answers.
    std::size_t AnswersTo(const std::string &address, std::size_t limit = 1000)
    {
        std::size_t answers = 0;
        while (answers < limit && !Receive(Search("ssdp:all"), address).empty()) {
            ++answers;
        }
        return answers;
    }

    // The number of datagrams to an address in the next tick.
    std::size_t SentInATickTo(const std::string &address)
    {
        const Datagrams sent = Tick(0);
        return static_cast<std::size_t>(
            std::count_if(sent.begin(), sent.end(), [&address](const test::Sent &one) {
                return one.to == address + ":1900";
            }));
    }

    void RequestDocument(const std::string &address, int times)
    {
        for (int i = 0; i < times; ++i) {
            Receive(Get("/a.xml"), address);
        }
    }

    const std::size_t mAnswerSize = SearchAnswer(kCorvia, kCorviaFile).size();
    const std::size_t mDocumentSize = GetAnswer(std::string(1200, 'x')).size();
};

} // namespace

TEST_F(AgentLimits, SearchAnswersOffTheLinkAreLimitedTo64KiBAtOnceAnd16KiBASecond)
{
    std::size_t left = kBurst;
    EXPECT_EQ(AnswersTo(kOffLink), left / mAnswerSize);
    left %= mAnswerSize;
    for (const std::size_t seconds : {1U, 1U, 3U}) {
        mNowMs += static_cast<std::uint32_t>(seconds) * 1000;
        left += seconds * kPerSecond;
        EXPECT_EQ(AnswersTo(kOffLink), left / mAnswerSize);
        left %= mAnswerSize;
    }
    mNowMs += 3600000;
    EXPECT_EQ(AnswersTo(kOffLink), kBurst / mAnswerSize);
}

TEST_F(AgentLimits, AllAddressesOffTheLinkShareTheBudget)
{
    AnswersTo(kOffLink);
    EXPECT_EQ(AnswersTo("203.0.113.1"), 0U);
    EXPECT_EQ(AnswersTo("192.0.3.1"), 0U);
}

TEST_F(AgentLimits, OnTheLinkEverySearchIsAnswered)
{
    AnswersTo(kOffLink);
    EXPECT_EQ(AnswersTo("192.0.2.1"), 1000U);
    EXPECT_EQ(AnswersTo("192.0.2.254"), 1000U);
}

TEST_F(AgentLimits, WithoutANetmaskEverySearchSpendsTheBudget)
{
    mAgent.Leave(false);
    Add();
    mAgent.AddInterface(test::kOwnAddress, "net0", in_addr{});
    mAgent.Start();
    mEnvironment.TakeSent();
    EXPECT_EQ(AnswersTo("192.0.2.1"), kBurst / mAnswerSize);
}

TEST_F(AgentLimits, DescriptionsSpendTheSameBudget)
{
    mEnvironment.random = 0;
    RequestDocument(kOffLink, 1000);
    // A file is read only if at least 1500 bytes of the budget are left.
    const std::size_t answers = (kBurst - 1500) / mDocumentSize + 1;
    EXPECT_EQ(SentInATickTo(kOffLink), answers);
    EXPECT_EQ(mEnvironment.files.reads, static_cast<int>(answers));
    EXPECT_EQ(AnswersTo(kOffLink), (kBurst - answers * mDocumentSize) / mAnswerSize);
    mNowMs += 1000;
    RequestDocument(kOffLink, 1000);
    EXPECT_GE(SentInATickTo(kOffLink), (kPerSecond - 1500) / mDocumentSize);
}

TEST_F(AgentLimits, OnTheLinkEveryDescriptionIsSent)
{
    mEnvironment.random = 0;
    AnswersTo(kOffLink);
    RequestDocument("192.0.2.1", 1000);
    EXPECT_EQ(SentInATickTo("192.0.2.1"), 1000U);
}

TEST_F(AgentLimits, FileIsReadOnlyWhenTheAnswerHasRoom)
{
    RequestDocument("192.0.2.66", 1024); // fills the queue of answers
    EXPECT_EQ(mEnvironment.files.reads, 1024);
    EXPECT_THAT(mEnvironment.faults, IsEmpty());
    RequestDocument("192.0.2.66", 100);
    EXPECT_EQ(mEnvironment.files.reads, 1024);
    EXPECT_THAT(
        mEnvironment.faults,
        ElementsAre("SendGETResponse: Too many delayed responses, dropping what comes more"));
    RequestDocument("192.0.2.30", 1);
    EXPECT_EQ(mEnvironment.files.reads, 1025);
}
