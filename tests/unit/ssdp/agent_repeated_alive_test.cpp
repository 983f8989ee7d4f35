#include "agent_fixture.h"

#include <gmock/gmock.h>

// Announcements with the same bytes as an earlier one. A device repeats its announcement
// every 15 to 24 s.

using test::kLumen;
using test::PeerDescription;
using test::PeerNotify;
using test::PeerRequest;
using test::ToPeer;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr std::uint32_t kPauseMs = 60000;
const std::string kAlive = PeerNotify("ssdp:alive", "Lumen", kLumen);

class RepeatedAlive : public test::AgentTest
{
protected:
    RepeatedAlive()
    {
        Open();
        Receive(PeerDescription("Lumen", "beta"));
        Receive(kAlive);
    }

    [[nodiscard]] const SSDPDeviceType &Lumen() const
    {
        return mAgent.NodeList().at(test::UsnOf("Lumen", test::kPeerAddress));
    }
};

} // namespace

TEST_F(RepeatedAlive, RenewsTheDeviceLikeTheFirst)
{
    const std::int32_t renewed = Lumen().timerCountdown;
    for (int turn = 0; turn < 100; ++turn) {
        Tick(kPauseMs);
        ASSERT_EQ(Lumen().timerCountdown, renewed - static_cast<std::int32_t>(kPauseMs));
        EXPECT_THAT(Receive(kAlive), IsEmpty());
        ASSERT_EQ(Lumen().timerCountdown, renewed);
    }
}

TEST_F(RepeatedAlive, OfADeviceThatLeftRequestsItsDescription)
{
    Receive(PeerNotify("ssdp:byebye", "Lumen", kLumen));
    Receive(kAlive);
    EXPECT_THAT(Tick(test::kLongestDelayMs), ElementsAre(ToPeer(PeerRequest(kLumen))));
    EXPECT_FALSE(Knows("Lumen"));
}

TEST_F(RepeatedAlive, OfADeviceThatLeftAndReturnedRenewsTheNewEntry)
{
    const std::int32_t renewed = Lumen().timerCountdown;
    Receive(PeerNotify("ssdp:byebye", "Lumen", kLumen));
    Receive(PeerDescription("Lumen", "beta"));
    Tick(kPauseMs);
    Receive(kAlive);
    EXPECT_EQ(Lumen().timerCountdown, renewed);
}

TEST_F(RepeatedAlive, RenewsItsDeviceAfterOthersHaveCome)
{
    const std::int32_t renewed = Lumen().timerCountdown;
    for (int number = 0; number < 1000; ++number) {
        Receive(PeerDescription("Talon" + std::to_string(number), "gamma"));
    }
    Tick(kPauseMs);
    Receive(kAlive);
    EXPECT_EQ(Lumen().timerCountdown, renewed);
    Tick(kPauseMs);
    Receive(kAlive);
    EXPECT_EQ(Lumen().timerCountdown, renewed);
}

TEST_F(RepeatedAlive, RequestsADescriptionThatHasBecomeOld)
{
    for (std::uint32_t time = 0; time <= ssdp::kDescriptionMaxAgeSeconds * 1000; time += kPauseMs) {
        Receive(kAlive);
        EXPECT_THAT(Tick(kPauseMs), IsEmpty());
    }
    Receive(kAlive);
    EXPECT_THAT(Tick(test::kLongestDelayMs), ElementsAre(ToPeer(PeerRequest(kLumen))));
}

TEST_F(RepeatedAlive, FromAnAddressOfThisDeviceIsIgnored)
{
    Tick(kPauseMs);
    const std::int32_t lowered = Lumen().timerCountdown;
    Receive(kAlive, test::kOwnAddress);
    EXPECT_EQ(Lumen().timerCountdown, lowered);
}

TEST_F(RepeatedAlive, WithAnotherUSNRenewsNothing)
{
    Tick(kPauseMs);
    const std::int32_t lowered = Lumen().timerCountdown;
    Receive(PeerNotify("ssdp:alive", "Lumem", kLumen));
    EXPECT_EQ(Lumen().timerCountdown, lowered);
    EXPECT_THAT(Tick(test::kLongestDelayMs), ElementsAre(ToPeer(PeerRequest(kLumen))));
}

TEST_F(RepeatedAlive, OfADeviceWithoutADescriptionRequestsItEachTime)
{
    SSDPDeviceType added = test::OwnService("TalonMx");
    added.ipAddress = test::kPeerAddress;
    added.modelNumber.clear();
    mAgent.AddService(added);
    Tick();
    mEnvironment.TakeSent();
    for (int turn = 0; turn < 3; ++turn) {
        Receive(PeerNotify("ssdp:alive", "TalonMx", kLumen));
        EXPECT_THAT(Tick(test::kLongestDelayMs), testing::Contains(ToPeer(PeerRequest(kLumen))));
    }
}

TEST_F(RepeatedAlive, UsesTheMaxAgeOfANewDescription)
{
    std::string text = PeerDescription("Lumen", "beta");
    text.insert(text.find("\r\n") + 2, "CACHE-CONTROL: max-age=1000\r\n");
    Receive(text);
    Tick(kPauseMs);
    Receive(kAlive);
    EXPECT_EQ(Lumen().timerCountdown, 2000000);
}

TEST_F(RepeatedAlive, AfterANewStartRequestsTheDescription)
{
    mAgent.Leave(false);
    Open();
    Receive(kAlive);
    EXPECT_THAT(Tick(test::kLongestDelayMs), ElementsAre(ToPeer(PeerRequest(kLumen))));
    EXPECT_FALSE(Knows("Lumen"));
}
