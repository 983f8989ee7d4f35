#include "mdns/mdns.h"

#include "fake_avahi.h"
#include "support/child.h"

#include <QLoggingCategory>
#include <QMetaMethod>
#include <cstdio>
#include <gmock/gmock.h>

namespace {

using testing::Eq;
using testing::ExitedWithCode;

const char *const kHttp = "_http._tcp";
const QStringList kTxt = {QStringLiteral("txtvers=1"), QStringLiteral("path=/")};
const char *const kAddHttp = "is_empty\n"
                             "add 'studio-a' _http._tcp 80 \"txtvers=1\" \"path=/\"\n"
                             "commit\n";

// Runs a scenario in a process of its own: all that the publisher keeps, it
// keeps for the life of the process. `out` is what was asked of Avahi.
test::Output inFreshProcess(const std::function<void()> &scenario)
{
    return test::InChild([&scenario] {
        scenario();
        std::fputs(fake::state.calls.c_str(), stdout);
    });
}

Mdns &initialised(const char *hostName = "studio-a")
{
    Mdns::getInstance()->init("0042", "Corvia 12", hostName);
    return *Mdns::getInstance();
}

Mdns &published()
{
    Mdns &mdns = initialised();
    mdns.publishMdnsEntry(kHttp, 80, kTxt);
    return mdns;
}

// As inFreshProcess, for a service that is published; what that takes is left
// out of both texts.
test::Output afterPublishing(const std::function<void(Mdns &)> &scenario)
{
    const std::string before = "avahi host/service updating to: studio-a\n";
    test::Output output = inFreshProcess([&scenario] {
        Mdns &mdns = published();
        fake::state.calls.clear();
        scenario(mdns);
    });
    EXPECT_EQ(output.err.substr(0, before.size()), before);
    output.err.erase(0, before.size());
    return output;
}

TEST(MdnsMetaObject, DeclaresThreeSignalsThenThreeSlots)
{
    const QMetaObject &meta = Mdns::staticMetaObject;
    std::vector<std::pair<QMetaMethod::MethodType, std::string>> methods;
    for (int index = meta.methodOffset(); index < meta.methodCount(); ++index) {
        const QMetaMethod method = meta.method(index);
        methods.emplace_back(method.methodType(), method.methodSignature().toStdString());
    }
    const decltype(methods) expected = {
        {QMetaMethod::Signal, "error(const char*)"},
        {QMetaMethod::Signal, "foundRegistry(char*,int,int,int)"},
        {QMetaMethod::Signal, "registryRemoved(char*,int)"},
        {QMetaMethod::Slot, "enableHost(bool)"},
        {QMetaMethod::Slot, "ipChanged()"},
        {QMetaMethod::Slot, "nameChanged(QString)"},
    };
    EXPECT_EQ(methods, expected);
}

TEST(Mdns, IsOneObjectWithoutParent)
{
    inFreshProcess([] {
        Mdns *const first = Mdns::getInstance();
        EXPECT_EQ(first, Mdns::getInstance());
        EXPECT_EQ(first->parent(), nullptr);
    });
}

TEST(Mdns, InitConnectsUnderANameMadeFromTheHostName)
{
    const test::Output output = inFreshProcess([] { initialised("2nd Studio_A"); });
    EXPECT_EQ(output.out, "client_new\n");
    EXPECT_EQ(output.err, "avahi host/service updating to: ndStudioA\n");
}

TEST(Mdns, InitTakesNoMoreOfTheHostNameThanItCanHold)
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

TEST(Mdns, FallbackNameOfALaterInitHasThoseOfTheEarlierOne)
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

TEST(Mdns, PublishesIntoANewGroup)
{
    const test::Output output = inFreshProcess([] { published(); });
    EXPECT_EQ(output.out, std::string("client_new\ngroup_new\n") + kAddHttp);
    EXPECT_EQ(output.err, "avahi host/service updating to: studio-a\n");
}

TEST(Mdns, PublishingBeforeInitWaitsForTheClient)
{
    const test::Output output = inFreshProcess([] {
        Mdns::getInstance()->publishMdnsEntry(kHttp, 80, kTxt);
        EXPECT_EQ(fake::state.calls, "");
        fake::state.firstState = AVAHI_CLIENT_S_REGISTERING;
        initialised();
        fake::clientState(AVAHI_CLIENT_S_RUNNING);
    });
    EXPECT_EQ(output.out, std::string("client_new\ngroup_new\n") + kAddHttp);
    EXPECT_EQ(output.err, "attempt to create services before init finished\n"
                          "avahi host/service updating to: studio-a\n");
}

// There is no client yet that a group could be made with.
TEST(Mdns, PassesOverRunningFromInsideTheMakingOfTheClient)
{
    const test::Output output = inFreshProcess([] {
        Mdns::getInstance()->publishMdnsEntry(kHttp, 80, kTxt);
        initialised();
        EXPECT_EQ(fake::state.calls, "client_new\n");
        Mdns::getInstance()->ipChanged();
    });
    EXPECT_EQ(output.out, std::string("client_new\ngroup_new\n") + kAddHttp);
}

TEST(Mdns, CreatesServicesOnceWhenTheClientRuns)
{
    const test::Output output =
        afterPublishing([](Mdns &) { fake::clientState(AVAHI_CLIENT_S_RUNNING); });
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "");
}

TEST(Mdns, ResetsTheGroupWhileAvahiSettlesItsHostName)
{
    for (const auto state : {AVAHI_CLIENT_S_REGISTERING, AVAHI_CLIENT_S_COLLISION}) {
        const test::Output output = afterPublishing([state](Mdns &) { fake::clientState(state); });
        EXPECT_EQ(output.out, "reset\n");
        EXPECT_EQ(output.err, "");
    }
}

TEST(Mdns, HasNoGroupToResetBeforeTheFirstService)
{
    const test::Output output = inFreshProcess([] {
        initialised();
        fake::clientState(AVAHI_CLIENT_S_REGISTERING);
        fake::clientState(AVAHI_CLIENT_S_COLLISION);
    });
    EXPECT_EQ(output.out, "client_new\n");
}

TEST(Mdns, DoesNothingWhileTheClientConnects)
{
    const test::Output output =
        afterPublishing([](Mdns &) { fake::clientState(AVAHI_CLIENT_CONNECTING); });
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "");
}

TEST(Mdns, LeavesAGroupWithServicesAlone)
{
    const test::Output output = afterPublishing([](Mdns &) { Mdns::createServices(); });
    EXPECT_EQ(output.out, "is_empty\n");
}

TEST(Mdns, PublishesTheNewestServiceFirst)
{
    const test::Output output =
        afterPublishing([](Mdns &mdns) { mdns.publishMdnsEntry("_ftp._tcp", 65535, {}); });
    EXPECT_EQ(output.out, "reset\n"
                          "is_empty\n"
                          "add 'studio-a' _ftp._tcp 65535 \n"
                          "add 'studio-a' _http._tcp 80 \"txtvers=1\" \"path=/\"\n"
                          "commit\n");
}

TEST(Mdns, PublishingTheSameTypeAndPortReplacesTheTxtStrings)
{
    const test::Output output = afterPublishing([](Mdns &mdns) {
        const std::string sameText(kHttp);
        mdns.publishMdnsEntry(sameText.c_str(), 80, {QStringLiteral("path=/\u00f6")});
    });
    EXPECT_EQ(output.out, "reset\n"
                          "is_empty\n"
                          "add 'studio-a' _http._tcp 80 \"path=/\\195\\182\"\n"
                          "commit\n");
}

TEST(Mdns, UnpublishingWithdrawsTheService)
{
    const test::Output output = afterPublishing([](Mdns &mdns) {
        mdns.publishMdnsEntry("_ftp._tcp", 21, {});
        fake::state.calls.clear();
        mdns.unpublishMdnsEntry("_ftp._tcp", 21);
    });
    EXPECT_EQ(output.out, std::string("reset\n") + kAddHttp);
}

TEST(Mdns, UnpublishingWhatIsNotThereDoesNotTouchTheGroup)
{
    const test::Output output = afterPublishing([](Mdns &mdns) {
        mdns.unpublishMdnsEntry(kHttp, 81);
        mdns.unpublishMdnsEntry("_ftp._tcp", 80);
    });
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "");
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

TEST(Mdns, NameChangedToTheCurrentNameOnlySaysSo)
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

TEST(Mdns, SlotsTakeStringBasedConnections)
{
    const test::Output output = afterPublishing([](Mdns &mdns) {
        QObject source;
        EXPECT_TRUE(QObject::connect(&source, SIGNAL(objectNameChanged(QString)), &mdns,
                                     SLOT(nameChanged(QString))));
        EXPECT_TRUE(QObject::connect(&source, SIGNAL(destroyed()), &mdns, SLOT(ipChanged())));
        source.setObjectName(QStringLiteral("studio-a"));
    });
    EXPECT_EQ(output.err, "name changed\n");
    EXPECT_EQ(output.out, std::string("reset\n") + kAddHttp);
}

TEST(Mdns, IpChangedPublishesAfresh)
{
    const test::Output output = afterPublishing([](Mdns &mdns) { mdns.ipChanged(); });
    EXPECT_EQ(output.out, std::string("reset\n") + kAddHttp);
    EXPECT_EQ(output.err, "");
}

TEST(Mdns, EnableHostDoesNothing)
{
    const test::Output output = afterPublishing([](Mdns &mdns) {
        mdns.enableHost(false);
        mdns.enableHost(true);
    });
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "");
}

TEST(Mdns, SaysWhenTheServicesAreEstablished)
{
    const test::Output output = afterPublishing([](Mdns &) {
        fake::groupState(AVAHI_ENTRY_GROUP_REGISTERING);
        fake::groupState(AVAHI_ENTRY_GROUP_UNCOMMITED);
        fake::groupState(AVAHI_ENTRY_GROUP_ESTABLISHED);
    });
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "Service 'studio-a' successfully established.\n");
}

TEST(Mdns, WorksOnTheGroupThatAvahiCalledBackAbout)
{
    const test::Output output = afterPublishing([](Mdns &) {
        AvahiEntryGroup other{&fake::state.client, fake::state.group.callback, true};
        other.callback(&other, AVAHI_ENTRY_GROUP_UNCOMMITED, nullptr);
        Mdns::createServices();
    });
    EXPECT_EQ(output.out, kAddHttp);
}

TEST(Mdns, CollisionWhileAddingRenamesWhatIsRegisteredButNotTheLogLines)
{
    const test::Output output = afterPublishing([](Mdns &mdns) {
        fake::state.addResults = {AVAHI_ERR_COLLISION, AVAHI_ERR_COLLISION};
        mdns.ipChanged();
        fake::groupState(AVAHI_ENTRY_GROUP_ESTABLISHED);
    });
    EXPECT_EQ(output.out, "reset\n"
                          "is_empty\n"
                          "add 'studio-a' _http._tcp 80 \"txtvers=1\" \"path=/\"\n"
                          "reset\n"
                          "is_empty\n"
                          "add 'studio-a #2' _http._tcp 80 \"txtvers=1\" \"path=/\"\n"
                          "reset\n"
                          "is_empty\n"
                          "add 'studio-a #3' _http._tcp 80 \"txtvers=1\" \"path=/\"\n"
                          "commit\n");
    EXPECT_EQ(output.err, "Service name collision, renaming service to 'studio-a #2'\n"
                          "Service name collision, renaming service to 'studio-a #3'\n"
                          "Service 'studio-a' successfully established.\n");
}

TEST(Mdns, CollisionOfALaterServiceRenamesAllOfThem)
{
    const test::Output output = afterPublishing([](Mdns &mdns) {
        fake::state.addResults = {0, AVAHI_ERR_COLLISION};
        mdns.publishMdnsEntry("_ftp._tcp", 21, {});
    });
    EXPECT_EQ(output.out, "reset\n"
                          "is_empty\n"
                          "add 'studio-a' _ftp._tcp 21 \n"
                          "add 'studio-a' _http._tcp 80 \"txtvers=1\" \"path=/\"\n"
                          "reset\n"
                          "is_empty\n"
                          "add 'studio-a #2' _ftp._tcp 21 \n"
                          "add 'studio-a #2' _http._tcp 80 \"txtvers=1\" \"path=/\"\n"
                          "commit\n");
}

TEST(Mdns, CollisionOfTheGroupRenamesTheLogLinesButNotWhatIsRegistered)
{
    const test::Output output = afterPublishing([](Mdns &) {
        fake::groupState(AVAHI_ENTRY_GROUP_COLLISION);
        fake::groupState(AVAHI_ENTRY_GROUP_COLLISION);
        fake::groupState(AVAHI_ENTRY_GROUP_ESTABLISHED);
    });
    EXPECT_EQ(output.out, std::string(kAddHttp) + kAddHttp) << "and no reset";
    EXPECT_EQ(output.err, "Service name collision, renaming service to 'studio-a #2'\n"
                          "Service name collision, renaming service to 'studio-a #3'\n"
                          "Service 'studio-a #3' successfully established.\n");
}

TEST(Mdns, EmitsNoneOfItsSignals)
{
    const test::Output output = afterPublishing([](Mdns &mdns) {
        int emitted = 0;
        const auto count = [&emitted] { ++emitted; };
        QObject::connect(&mdns, &Mdns::error, count);
        QObject::connect(&mdns, &Mdns::foundRegistry, count);
        QObject::connect(&mdns, &Mdns::registryRemoved, count);
        mdns.nameChanged(QStringLiteral("studio-b"));
        fake::groupState(AVAHI_ENTRY_GROUP_COLLISION);
        fake::groupState(AVAHI_ENTRY_GROUP_ESTABLISHED);
        mdns.unpublishMdnsEntry("_ftp._tcp", 21);
        EXPECT_EQ(emitted, 0);
    });
    EXPECT_EQ(output.err, "name changed\n"
                          "avahi host/service updating to: studio-b\n"
                          "Service name collision, renaming service to 'studio-b #2'\n"
                          "Service 'studio-b #2' successfully established.\n");
}

// What is replaced or removed is freed: the leak check runs when the child ends.
TEST(Mdns, KeepsNothingOfWhatWasReplaced)
{
    const test::Output output = inFreshProcess([] {
        Mdns &mdns = published();
        for (int round = 0; round < 100; ++round) {
            mdns.publishMdnsEntry(kHttp, 80, kTxt);
            mdns.publishMdnsEntry("_ftp._tcp", 21, kTxt);
            mdns.nameChanged(QStringLiteral("studio-b"));
            fake::groupState(AVAHI_ENTRY_GROUP_COLLISION);
            fake::state.addResults = {AVAHI_ERR_COLLISION};
            mdns.nameChanged(QStringLiteral("studio-c"));
            mdns.unpublishMdnsEntry("_ftp._tcp", 21);
        }
        mdns.nameChanged(QStringLiteral("studio-a"));
        fake::state.calls.clear();
        mdns.ipChanged();
    });
    EXPECT_EQ(output.out, std::string("reset\n") + kAddHttp);
}

void writeMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    EXPECT_EQ(type, QtDebugMsg);
    std::fprintf(stderr, "%s: %s\n", context.category, message.toUtf8().constData());
}

TEST(Mdns, LogsItsStepsOnceDebuggingIsSwitchedOn)
{
    const test::Output output = inFreshProcess([] {
        qInstallMessageHandler(writeMessage);
        QLoggingCategory::setFilterRules(QStringLiteral("beacond.mdns.debug=true"));
        Mdns &mdns = published();
        mdns.unpublishMdnsEntry("_ftp._tcp", 21);
        mdns.ipChanged();
    });
    EXPECT_EQ(output.err, "avahi host/service updating to: studio-a\n"
                          "beacond.mdns: publishing _http._tcp 80\n"
                          "beacond.mdns: Adding service studio-a _http._tcp\n"
                          "beacond.mdns: unpublishing _ftp._tcp 21\n"
                          "beacond.mdns: ip changed\n"
                          "beacond.mdns: Adding service studio-a _http._tcp\n");
}

TEST(Mdns, LogsThatTheClientRunsOnceDebuggingIsSwitchedOn)
{
    const test::Output output = inFreshProcess([] {
        Mdns::getInstance()->publishMdnsEntry(kHttp, 80, kTxt);
        initialised();
        qInstallMessageHandler(writeMessage);
        QLoggingCategory::setFilterRules(QStringLiteral("beacond.mdns.debug=true"));
        fake::clientState(AVAHI_CLIENT_S_RUNNING);
    });
    EXPECT_EQ(output.err, "attempt to create services before init finished\n"
                          "avahi host/service updating to: studio-a\n"
                          "beacond.mdns: client running\n"
                          "beacond.mdns: Adding service studio-a _http._tcp\n");
}

const std::string kNamed = "avahi host/service updating to: studio-a\n";

void failToConnect()
{
    fake::state.clientError = AVAHI_ERR_NO_DAEMON;
    initialised();
}

void failToMakeTheGroup()
{
    fake::state.refuseGroup = true;
    Mdns &mdns = initialised();
    fake::state.clientError = AVAHI_ERR_TOO_MANY_OBJECTS;
    mdns.publishMdnsEntry(kHttp, 80, kTxt);
}

void failToAdd()
{
    fake::state.addResults = {AVAHI_ERR_INVALID_SERVICE_NAME};
    published();
}

void failToCommit()
{
    fake::state.commitResult = AVAHI_ERR_BAD_STATE;
    published();
}

void unpublishTheLast()
{
    published().unpublishMdnsEntry(kHttp, 80);
}

void failAsClient()
{
    published();
    fake::state.clientError = AVAHI_ERR_DISCONNECTED;
    fake::clientState(AVAHI_CLIENT_FAILURE);
}

void failAsGroup()
{
    published();
    fake::state.clientError = AVAHI_ERR_INVALID_ADDRESS;
    fake::groupState(AVAHI_ENTRY_GROUP_FAILURE);
}

TEST(MdnsDeathTest, WithoutAvahiDaemonEndsTheProcess)
{
    EXPECT_EXIT(failToConnect(), ExitedWithCode(1),
                Eq(kNamed + "Failed to create client: Daemon not running\n"));
}

TEST(MdnsDeathTest, WithoutAGroupEndsTheProcess)
{
    EXPECT_EXIT(failToMakeTheGroup(), ExitedWithCode(1),
                Eq(kNamed + "avahi_entry_group_new() failed: Too many objects\n"));
}

TEST(MdnsDeathTest, AServiceThatCannotBeAddedEndsTheProcess)
{
    EXPECT_EXIT(failToAdd(), ExitedWithCode(1),
                Eq(kNamed + "Failed to add service studio-a: Invalid service name\n"));
}

TEST(MdnsDeathTest, AGroupThatCannotBeCommittedEndsTheProcess)
{
    EXPECT_EXIT(failToCommit(), ExitedWithCode(1),
                Eq(kNamed + "error committing group - Bad state\n"));
}

// Avahi commits no empty group, and that is a failure like any other.
TEST(MdnsDeathTest, UnpublishingTheLastServiceEndsTheProcess)
{
    EXPECT_EXIT(unpublishTheLast(), ExitedWithCode(1),
                Eq(kNamed + "error committing group - Is empty\n"));
}

TEST(MdnsDeathTest, AFailedClientEndsTheProcess)
{
    EXPECT_EXIT(failAsClient(), ExitedWithCode(1),
                Eq(kNamed + "Client failure: Daemon connection failed\n"));
}

TEST(MdnsDeathTest, AFailedGroupEndsTheProcess)
{
    EXPECT_EXIT(failAsGroup(), ExitedWithCode(1),
                Eq(kNamed + "Entry group failure: Invalid address\n"));
}

} // namespace
