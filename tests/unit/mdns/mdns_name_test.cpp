#include "fresh_mdns.h"

namespace {

TEST(Mdns, InitConnectsUnderANameMadeFromTheHostName)
{
    const test::Output output = inFreshProcess([] { initialised("2nd Studio_A"); });
    EXPECT_EQ(output.out, "client_new\n");
    EXPECT_EQ(output.err, "avahi host/service updating to: ndStudioA\n");
}

TEST(Mdns, InitCutsALongHostName)
{
    const test::Output output = inFreshProcess([] { initialised(std::string(300, 'a').c_str()); });
    EXPECT_EQ(output.err, "avahi host/service updating to: " + std::string(255, 'a') + "\n");
}

TEST(Mdns, FallbackNameOfTheFirstInitHasNoProductAndNoSerialNumber)
{
    for (const char *nothing : {"--", ""}) {
        const test::Output output = inFreshProcess([nothing] { initialised(nothing); });
        EXPECT_EQ(output.err, "avahi host/service updating to: vex--\n");
    }
}

TEST(Mdns, FallbackNameOfALaterInitHasTheEarlierProductAndSerialNumber)
{
    const test::Output output = inFreshProcess([] {
        fake::state.firstState = AVAHI_CLIENT_S_REGISTERING;
        initialised();
        Mdns::getInstance()->init("4711", "Lumen", "--");
        Mdns::getInstance()->sanitizeAndSetHostService("--");
    });
    EXPECT_EQ(output.err, "avahi host/service updating to: studio-a\n"
                          "avahi host/service updating to: vex-Corvia 12-0042\n"
                          "avahi host/service updating to: vex-Lumen-4711\n");
}

TEST(Mdns, Keeps31BytesOfSerialNumberAndProductName)
{
    const test::Output output = inFreshProcess([] {
        const std::string serial(40, 's');
        const std::string product(40, 'p');
        Mdns::getInstance()->init(serial.c_str(), product.c_str(), "studio-a");
        Mdns::getInstance()->sanitizeAndSetHostService("--");
    });
    EXPECT_EQ(output.err, "avahi host/service updating to: studio-a\n"
                          "avahi host/service updating to: vex-" +
                              std::string(31, 'p') + "-" + std::string(31, 's') + "\n");
}

TEST(Mdns, NameChangedPublishesUnderTheNewName)
{
    const test::Output output =
        afterPublishing([](Mdns &mdns) { mdns.nameChanged(QStringLiteral("9 Studio \u00f6B")); });
    EXPECT_EQ(output.out, "reset\n"
                          "is_empty\n"
                          "add 'StudioB' _http._tcp 80 \"txtvers=1\" \"path=/\"\n"
                          "commit\n");
    EXPECT_EQ(output.err, "name changed\n"
                          "avahi host/service updating to: StudioB\n");
}

TEST(Mdns, NameChangedToNothingUsesProductAndSerialNumber)
{
    const test::Output output =
        afterPublishing([](Mdns &mdns) { mdns.nameChanged(QStringLiteral("--")); });
    EXPECT_EQ(output.out, "reset\n"
                          "is_empty\n"
                          "add 'vex-Corvia 12-0042' _http._tcp 80 \"txtvers=1\" \"path=/\"\n"
                          "commit\n");
    EXPECT_EQ(output.err, "name changed\n"
                          "avahi host/service updating to: vex-Corvia 12-0042\n");
}

TEST(Mdns, NameChangedToTheCurrentNameOnlyWritesALine)
{
    const test::Output output =
        afterPublishing([](Mdns &mdns) { mdns.nameChanged(QStringLiteral("studio-a")); });
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "name changed\n");
}

TEST(Mdns, NameChangedBeforeInitLeavesThePublishingForLater)
{
    const test::Output output =
        inFreshProcess([] { Mdns::getInstance()->nameChanged(QStringLiteral("studio-b")); });
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "name changed\n"
                          "avahi host/service updating to: studio-b\n"
                          "attempt to create services before init finished\n");
}

} // namespace
