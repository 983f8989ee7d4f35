#include "simulation/device_random.h"
#include "simulation/report.h"
#include "simulation/scenario.h"

#include <array>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <utility>

using simulation::DatagramKind;
using simulation::Outcome;
using simulation::PlayScenario;
using simulation::Scenario;

namespace {

// Ten devices, some changes and a stranger. No rules.
const std::string kSmall = "There are 10 devices.\n"
                           "The link is wifi.\n"
                           "The clocks of 3 devices wrap.\n"
                           "At 0 s all devices start within 5 s.\n"
                           "At 60 s 10 changes happen within 60 s.\n"
                           "At 70 s a stranger plays garbage for 30 s.\n"
                           "It ends at 300 s.\n";

Scenario Read(const std::string &text)
{
    std::string error;
    Scenario scenario = simulation::ReadScenario("small", text, error);
    EXPECT_EQ(error, "");
    return scenario;
}

Outcome Play(const std::string &text, std::uint64_t seed = 1)
{
    return PlayScenario(Read(text), seed, {});
}

std::uint32_t Sent(const Outcome &outcome, DatagramKind kind)
{
    std::uint32_t sum = 0;
    for (const auto &second : outcome.figures.seconds) {
        sum += second.datagrams[static_cast<std::size_t>(kind)];
    }
    return sum;
}

std::string ErrorOf(const std::string &text)
{
    std::string error;
    static_cast<void>(simulation::ReadScenario("small", text, error));
    return error;
}

} // namespace

TEST(DeviceRandom, DrawsTheNumbersOfTheCLibraryForTheSameSeed)
{
    simulation::DeviceRandom device(1);
    for (const std::uint32_t seed : {1U, 1'700'000'000U}) {
        device.Seed(seed);
        srandom(seed);
        for (int draw = 0; draw < 1000; ++draw) {
            ASSERT_EQ(device.Draw(), static_cast<std::uint32_t>(random()));
        }
    }
}

TEST(Simulation, EqualSeedsGiveEqualTraces)
{
    EXPECT_EQ(Play(kSmall, 7).trace, Play(kSmall, 7).trace);
}

TEST(Simulation, AnotherSeedGivesAnotherTrace)
{
    EXPECT_NE(Play(kSmall, 7).trace, Play(kSmall, 8).trace);
}

// The trace does not depend on the computer that plays the scenario. Replace the value when a
// change of the devices changes their datagrams.
TEST(Simulation, TheTraceIsTheSameOnEveryComputer)
{
    EXPECT_EQ(Play(kSmall, 1).trace, 6866938430141294426U);
}

TEST(Simulation, TenDevicesThatStartTogetherListEachOther)
{
    const Outcome outcome = Play("There are 10 devices.\nThe link is wired.\nThere is no ZR1.\n"
                                 "At 0 s all devices start within 1 s.\nIt ends at 100 s.\n");
    EXPECT_EQ(outcome.figures.seconds.back().right, 100U);
    EXPECT_EQ(Sent(outcome, DatagramKind::Search), 10U);
}

TEST(Simulation, LightDevicesSendTheSameDatagramsAsDevicesWithLists)
{
    const std::string text = "There are 30 devices.\nThe link is wifi.\nThere is no ZR1.\n"
                             "At 0 s devices 1 to 29 start within 1 s.\n"
                             "At 100 s device 3 is switched off.\n"
                             "At 150 s device 3 is switched on.\n"
                             "At 200 s device 30 starts.\nIt ends at 300 s.\n";
    const Outcome whole = Play(text);
    const Outcome light = Play(text + "Only the last 2 devices keep a list.\n");
    EXPECT_EQ(light.trace, whole.trace);
    EXPECT_EQ(whole.figures.seconds.back().right, 900U);
    EXPECT_EQ(light.figures.seconds.back().right, 60U);
}

TEST(Simulation, TheAnswerOfADeviceToItsOwnSearchIsNotSentToTheNetwork)
{
    const std::string text = "The link is wired.\nThere is no ZR1.\n"
                             "At 0 s device 1 starts and is published at once.\n"
                             "At 10 s device 1 is killed.\n"
                             "At 20 s device 1 starts and is published at once.\n"
                             "It ends at 60 s.\n";
    const Outcome outcome = Play("There are 1 devices.\n" + text);
    EXPECT_EQ(Sent(outcome, DatagramKind::Search), 2U);
    EXPECT_EQ(Sent(outcome, DatagramKind::SearchAnswer), 0U);
}

TEST(Simulation, DevicesThatShareAProcessorSendAtOtherTimes)
{
    EXPECT_NE(Play(kSmall + "The devices share 1 processors.\n").trace, Play(kSmall).trace);
}

TEST(Simulation, ABrokenRuleIsReportedWithSeedDevicesAndEvents)
{
    const Outcome outcome =
        Play("There are 2 devices.\nThe link is wired.\nAt 0 s all devices start within 1 s.\n"
             "It ends at 20 s.\nEvery list is complete and correct 10 s after the last change.\n",
             3);
    EXPECT_NE(outcome.violations, 0U);
    EXPECT_NE(outcome.report.find("small, seed 3: "), std::string::npos);
    EXPECT_NE(outcome.report.find("device 1 does not list device 2 correctly"), std::string::npos);
    EXPECT_NE(outcome.report.find("device 2 sends alive of device 2"), std::string::npos);
}

TEST(Simulation, LostMulticastMakesDevicesMissTheirPeers)
{
    const std::string text = "There are 10 devices.\nThe link is wired.\nThere is no ZR1.\n"
                             "The link loses 100 % of multicast.\n"
                             "At 0 s all devices start within 1 s.\nIt ends at 100 s.\n";
    EXPECT_EQ(Play(text).figures.seconds.back().right, 10U);
}

TEST(Simulation, LostUnicastMakesDevicesMissTheirPeers)
{
    const std::string text = "There are 10 devices.\nThe link is wired.\nThere is no ZR1.\n"
                             "The link loses 100 % of unicast.\n"
                             "At 0 s all devices start within 1 s.\nIt ends at 100 s.\n";
    EXPECT_EQ(Play(text).figures.seconds.back().right, 10U);
}

TEST(Simulation, ASplitSeparatesItsTwoSides)
{
    const std::string text = "There are 10 devices.\nThe link is wired.\nThere is no ZR1.\n"
                             "At 0 s all devices start within 1 s.\nIt ends at 100 s.\n"
                             "At 1 s devices 1 to 3 are split off for 300 s.\n";
    EXPECT_EQ(Play(text).figures.seconds.back().right, 3U * 3U + 7U * 7U);
}

TEST(Simulation, ASplitEndsForADeviceThatIsOffAtItsEnd)
{
    const std::string text = "There are 10 devices.\nThe link is wired.\nThere is no ZR1.\n"
                             "At 0 s all devices start within 1 s.\n"
                             "At 50 s devices 1 to 3 are split off for 20 s.\n"
                             "At 60 s device 2 is killed.\nAt 80 s device 2 starts.\n"
                             "It ends at 200 s.\n";
    EXPECT_EQ(Play(text).figures.seconds.back().right, 100U);
}

TEST(Simulation, AStallEndsForADeviceThatIsKilledInIt)
{
    const std::string text = "There are 10 devices.\nThe link is wired.\nThere is no ZR1.\n"
                             "At 0 s all devices start within 1 s.\n"
                             "At 50 s device 2 stalls for 400 s.\n"
                             "At 60 s device 2 is killed.\nAt 80 s device 2 starts.\n"
                             "It ends at 500 s.\n"
                             "A silent device is removed within 250 s.\n";
    const Outcome outcome = Play(text);
    EXPECT_EQ(outcome.figures.seconds.back().right, 100U);
    EXPECT_EQ(outcome.violations, 0U);
}

TEST(Simulation, DuplicatedDatagramsCauseMoreDocuments)
{
    const std::string text = "There are 10 devices.\nThe link is wired.\nThere is no ZR1.\n"
                             "At 0 s all devices start within 1 s.\nIt ends at 100 s.\n";
    const Outcome once = Play(text);
    const Outcome twice = Play(text + "The link duplicates 100 %.\n");
    EXPECT_GT(Sent(twice, DatagramKind::Document), Sent(once, DatagramKind::Document) * 3 / 2);
}

TEST(Simulation, AZR1AnnouncesItselfAndItsProxyStopsWithoutAGoodbye)
{
    const std::string text = "There are 7 devices.\nThe link is wired.\n"
                             "At 0 s device 1 starts.\nAt 20 s device 1 adds device 7 for ";
    const Outcome alone = Play(text + "200 s.\nIt ends at 400 s.\n");
    EXPECT_EQ(Sent(alone, DatagramKind::Goodbye), 1U);
    const Outcome returned = Play(text + "200 s.\nAt 60 s device 7 starts.\nIt ends at 400 s.\n");
    EXPECT_EQ(Sent(returned, DatagramKind::Goodbye), 0U);
}

TEST(Simulation, TheReportOfARuleAboutOneDeviceShowsAllItsDatagrams)
{
    const Outcome outcome = Play("There are 3 devices.\nThe link is wired.\nThere is no ZR1.\n"
                                 "At 0 s all devices start within 1 s.\nIt ends at 60 s.\n"
                                 "Own services are announced at least every 20 s.\n");
    EXPECT_NE(outcome.violations, 0U);
    EXPECT_NE(outcome.report.find(" receives request of device "), std::string::npos);
    EXPECT_NE(outcome.report.find(" sends document of device "), std::string::npos);
}

TEST(Simulation, AKilledDeviceThatStaysListedTooLongBreaksARule)
{
    const std::string text = "There are 5 devices.\nThe link is wired.\n"
                             "At 0 s all devices start within 1 s.\nAt 100 s device 2 is killed.\n"
                             "It ends at 400 s.\nA silent device is removed within ";
    EXPECT_EQ(Play(text + "250 s.\n").violations, 0U);
    EXPECT_NE(Play(text + "200 s.\n").violations, 0U);
}

TEST(Simulation, ADeviceThatStaysMissingAfterAnAttackBreaksARule)
{
    const std::string text = "There are 10 devices.\nThe link is wired.\nThere is no ZR1.\n"
                             "At 0 s all devices start within 1 s.\n"
                             "At 150 s a stranger plays goodbye-in-their-name for 20 s.\n"
                             "It ends at 300 s.\n"
                             "A running device is missing from a list for at most ";
    EXPECT_EQ(Play(text + "71 s.\n").violations, 0U);
    EXPECT_NE(Play(text + "5 s.\n").violations, 0U);
}

TEST(Simulation, AGoodbyeThatDoesNotReachEveryDeviceBreaksARule)
{
    const std::string text = "There are 10 devices.\nThe link is wired.\nThere is no ZR1.\n"
                             "At 0 s all devices start within 1 s.\n"
                             "At 200 s device 2 is switched off.\nIt ends at 250 s.\n"
                             "A goodbye removes the device from every list within 20 s.\n";
    EXPECT_EQ(Play(text).violations, 0U);
    EXPECT_NE(Play(text + "The link loses 50 % of multicast.\n").violations, 0U);
}

TEST(Simulation, RareAnnouncementsBreakARule)
{
    const std::string text = "There are 3 devices.\nThe link is wired.\n"
                             "At 0 s all devices start within 1 s.\nIt ends at 200 s.\n"
                             "Own services are announced at least every ";
    EXPECT_EQ(Play(text + "36 s.\n").violations, 0U);
    EXPECT_NE(Play(text + "3 s.\n").violations, 0U);
}

TEST(Simulation, DocumentsSentAtTheEndBreakARule)
{
    const std::string text = "There are 5 devices.\nThe link is wired.\n"
                             "At 0 s all devices start within 1 s.\nIt ends at 40 s.\n"
                             "No document is sent in the last 30 s.\n";
    const Outcome outcome = Play(text);
    EXPECT_NE(outcome.violations, 0U);
    EXPECT_NE(outcome.report.find(" sends alive of device "), std::string::npos);
}

TEST(Simulation, MemoryFilledByForgedDevicesBreaksARule)
{
    const std::string text =
        "There are 3 devices.\nThe link is wired.\n"
        "At 0 s all devices start within 1 s.\n"
        "At 100 s a stranger plays forged-devices for 20 s.\n"
        "It ends at 200 s.\nThe memory at the end is at most slightly larger than at 90 s.\n";
    EXPECT_NE(Play(text).violations, 0U);
}

// A renamed device publishes its new document at its next tick. A request that arrives before is
// answered with the former name.
TEST(Simulation, AFormerNameBreaksARuleUnlessItIsAccepted)
{
    const std::string text = "There are 20 devices.\nThe link is wired.\nThere is no ZR1.\n"
                             "At 0 s devices 1 to 19 start within 5 s.\n"
                             "At 100 s device 20 starts.\n"
                             "At 110 s devices 1 to 10 are renamed.\nIt ends at 300 s.\n"
                             "Every list is complete";
    EXPECT_NE(Play(text + " and correct 90 s after the last change.\n").violations, 0U);
    EXPECT_EQ(Play(text + ", except for former names, 90 s after the last change.\n").violations,
              0U);
}

TEST(Simulation, AForgedDescriptionBreaksTheRuleThatAcceptsFormerNames)
{
    const Outcome outcome =
        Play("There are 3 devices.\nThe link is wired.\nAt 0 s all devices start within 1 s.\n"
             "At 100 s a stranger plays description-in-their-name for 5 s.\nIt ends at 250 s.\n"
             "Every list is complete, except for former names, 90 s after the last change.\n");
    EXPECT_NE(outcome.violations, 0U);
}

TEST(Simulation, AZR1WhoseAnnouncementsHaveEndedNeedsNoGoodbyeWhenSSDPIsSwitchedOff)
{
    const Outcome outcome =
        Play("There are 10 devices.\nThe link is wired.\nAt 0 s all devices start within 1 s.\n"
             "At 60 s a stranger plays alive-in-their-name for 60 s.\n"
             "At 200 s device 7 is switched off.\nIt ends at 300 s.\n");
    EXPECT_EQ(outcome.report, "");
}

TEST(Simulation, QuestionsToTheDiagnosticPortAreAnsweredWithinItsBudget)
{
    const std::string text = "The link is wired.\nAt 0 s all devices start within 1 s.\n"
                             "It ends at 200 s.\n"
                             "At 100 s a stranger plays diagnostic-questions for ";
    const Outcome some = Play("There are 3 devices.\n" + text + "0.05 s.\n");
    const Outcome flood = Play("There are 20 devices.\n" + text + "60 s.\n");
    EXPECT_EQ(Sent(some, DatagramKind::Other), 92U); // of 100: the send buffer holds no more
    EXPECT_GT(Sent(flood, DatagramKind::Other), 1000U);
    EXPECT_LT(Sent(flood, DatagramKind::Other), 100'000U); // of 120,000
    EXPECT_EQ(flood.violations, 0U);
}

TEST(Simulation, SearchesAndRequestsFromAnotherNetworkAreAnsweredWithinTheBudget)
{
    for (const auto &[attack, answer] : {std::pair{"off-link-searches", DatagramKind::SearchAnswer},
                                         std::pair{"off-link-requests", DatagramKind::Document}}) {
        const std::string text = "There are 3 devices.\nThe link is wired.\nIt ends at 200 s.\n"
                                 "At 0 s all devices start within 1 s.\n";
        const std::uint32_t without = Sent(Play(text), answer);
        const Outcome outcome = Play(text + "At 100 s a stranger plays " + attack + " for 60 s.\n");
        EXPECT_GT(Sent(outcome, answer), without + 500);
        EXPECT_LT(Sent(outcome, answer), without + 20'000); // of 120,000
        EXPECT_EQ(outcome.violations, 0U);
    }
}

TEST(Simulation, ADiagnosticReplyIsNotAnswered)
{
    const Outcome outcome =
        Play("There are 3 devices.\nThe link is wired.\nAt 0 s all devices start within 1 s.\n"
             "At 100 s a stranger plays diagnostic-replies for 10 s.\nIt ends at 200 s.\n");
    EXPECT_EQ(Sent(outcome, DatagramKind::Other), 0U);
    EXPECT_EQ(outcome.violations, 0U);
}

TEST(ReadScenario, NamesAnInvalidSentence)
{
    EXPECT_EQ(ErrorOf("There are 3 devices.\nIt ends at 5 s.\nDevices dance.\n"), "Devices dance.");
}

TEST(ReadScenario, RefusesADeviceToAddThatDoesNotExist)
{
    const std::string text = "There are 3 devices.\nIt ends at 5 s.\nAt 1 s device 1 adds device ";
    EXPECT_EQ(ErrorOf(text + "3 for 2 s.\n"), "");
    EXPECT_EQ(ErrorOf(text + "4 for 2 s.\n"), "There is no device 4 to add.");
    EXPECT_EQ(ErrorOf(text + "0 for 2 s.\n"), "At 1 s device 1 adds device 0 for 2 s.");
}

TEST(ReadScenario, RefusesAnUnknownStrangerAnUnknownLinkAndAMissingNumberOfDevices)
{
    EXPECT_EQ(ErrorOf("At 1 s a stranger plays chess for 5 s.\n"),
              "At 1 s a stranger plays chess for 5 s.");
    EXPECT_EQ(ErrorOf("The link is fibre.\n"), "The link is fibre.");
    EXPECT_EQ(ErrorOf("It ends at 5 s.\n"),
              "It must say how many devices there are, and when it ends.");
}

TEST(ReadScenario, ReadsTimesMachinesAndLengths)
{
    const Scenario scenario = Read("There are 20 devices.\nIt ends at 9.5 s.\n"
                                   "The devices share 2 processors.\n"
                                   "At 2 s devices 3 to 5 are split off for 1.5 s.\n");
    EXPECT_EQ(scenario.end, 9'500'000);
    EXPECT_EQ(scenario.processors, 2U);
    ASSERT_EQ(scenario.acts.size(), 1U);
    EXPECT_EQ(scenario.acts[0].verb, simulation::Verb::Split);
    EXPECT_EQ(scenario.acts[0].at, 2'000'000);
    EXPECT_EQ(scenario.acts[0].length, 1'500'000);
    EXPECT_EQ(scenario.acts[0].machines.first, 3U);
    EXPECT_EQ(scenario.acts[0].machines.last, 5U);
}
