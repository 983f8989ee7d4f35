#include "fresh_mdns.h"
#include "support/allocated.h"

#include <QMetaMethod>

namespace {

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

// There is no client yet to make a group with.
TEST(Mdns, IgnoresRunningWhileTheClientIsBeingMade)
{
    const test::Output output = inFreshProcess([] {
        Mdns::getInstance()->publishMdnsEntry(kHttp, 80, kTxt);
        initialised();
        EXPECT_EQ(fake::state.calls, "client_new\n");
        Mdns::getInstance()->ipChanged();
    });
    EXPECT_EQ(output.out, std::string("client_new\ngroup_new\n") + kAddHttp);
}

TEST(Mdns, DoesNotChangeAGroupWithServicesWhenTheClientRuns)
{
    const test::Output output =
        afterPublishing([](Mdns &) { fake::clientState(AVAHI_CLIENT_S_RUNNING); });
    EXPECT_EQ(output.out, "is_empty\n");
    EXPECT_EQ(output.err, "");
}

TEST(Mdns, ResetsTheGroupWhileAvahiChangesItsHostName)
{
    for (const auto state : {AVAHI_CLIENT_S_REGISTERING, AVAHI_CLIENT_S_COLLISION}) {
        const test::Output output = afterPublishing([state](Mdns &) { fake::clientState(state); });
        EXPECT_EQ(output.out, "reset\n");
        EXPECT_EQ(output.err, "");
    }
}

TEST(Mdns, PublishesAgainWhenAvahiHasChangedItsHostName)
{
    for (const auto state : {AVAHI_CLIENT_S_REGISTERING, AVAHI_CLIENT_S_COLLISION}) {
        const test::Output output = afterPublishing([state](Mdns &) {
            fake::clientState(state);
            fake::clientState(AVAHI_CLIENT_S_RUNNING);
            fake::clientState(AVAHI_CLIENT_S_RUNNING);
        });
        EXPECT_EQ(output.out, std::string("reset\n") + kAddHttp + "is_empty\n");
        EXPECT_EQ(output.err, "");
    }
}

TEST(Mdns, PublishesUnderTheNameThatWasSetWhileAvahiChangedItsHostName)
{
    const test::Output output = afterPublishing([](Mdns &mdns) {
        fake::clientState(AVAHI_CLIENT_S_COLLISION);
        fake::clientState(AVAHI_CLIENT_S_REGISTERING);
        mdns.sanitizeAndSetHostService("studio-b");
        fake::clientState(AVAHI_CLIENT_S_RUNNING);
    });
    EXPECT_EQ(output.out, "reset\n"
                          "reset\n"
                          "is_empty\n"
                          "add 'studio-b' _http._tcp 80 \"txtvers=1\" \"path=/\"\n"
                          "commit\n");
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

TEST(Mdns, DoesNotChangeAGroupWithServices)
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
                          "add 'studio-a' _http._tcp 80 \"path=/\u00f6\"\n"
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

TEST(Mdns, UnpublishingAMissingServiceDoesNotTouchTheGroup)
{
    const test::Output output = afterPublishing([](Mdns &mdns) {
        mdns.unpublishMdnsEntry(kHttp, 81);
        mdns.unpublishMdnsEntry("_ftp._tcp", 80);
    });
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "");
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

TEST(Mdns, IpChangedPublishesAgain)
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

TEST(Mdns, WritesALineWhenTheServicesAreEstablished)
{
    const test::Output output = afterPublishing([](Mdns &) {
        fake::groupState(AVAHI_ENTRY_GROUP_REGISTERING);
        fake::groupState(AVAHI_ENTRY_GROUP_UNCOMMITED);
        fake::groupState(AVAHI_ENTRY_GROUP_ESTABLISHED);
    });
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "Service 'studio-a' successfully established.\n");
}

TEST(Mdns, UsesTheGroupOfTheLastCallback)
{
    const test::Output output = afterPublishing([](Mdns &) {
        AvahiEntryGroup other{&fake::state.client, fake::state.group.callback, true};
        other.callback(&other, AVAHI_ENTRY_GROUP_UNCOMMITED, nullptr);
        Mdns::createServices();
    });
    EXPECT_EQ(output.out, kAddHttp);
}

TEST(Mdns, CollisionWhileAddingChangesTheRegisteredNameButNotTheLogLines)
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

TEST(Mdns, CollisionOfTheGroupChangesTheLogLinesButNotTheRegisteredName)
{
    const test::Output output = afterPublishing([](Mdns &) {
        fake::groupState(AVAHI_ENTRY_GROUP_COLLISION);
        fake::groupState(AVAHI_ENTRY_GROUP_COLLISION);
        fake::groupState(AVAHI_ENTRY_GROUP_ESTABLISHED);
    });
    EXPECT_EQ(output.out, std::string(kAddHttp) + kAddHttp) << "without a reset";
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

// With the address sanitizer, Allocated does not count; the leak sanitizer runs when the child
// ends.
TEST(Mdns, FreesReplacedNamesAndServices)
{
    const test::Output output = inFreshProcess([] {
        Mdns &mdns = published();
        const auto replaceTimes = [&mdns](int times) {
            for (int round = 0; round < times; ++round) {
                mdns.publishMdnsEntry(kHttp, 80, kTxt);
                mdns.publishMdnsEntry("_ftp._tcp", 21, kTxt);
                mdns.nameChanged(QStringLiteral("studio-b"));
                fake::groupState(AVAHI_ENTRY_GROUP_COLLISION);
                fake::state.addResults = {AVAHI_ERR_COLLISION};
                mdns.nameChanged(QStringLiteral("studio-c"));
                mdns.unpublishMdnsEntry("_ftp._tcp", 21);
                fake::state.calls.clear();
            }
        };
        replaceTimes(2);
        const std::size_t before = test::Allocated();
        replaceTimes(100);
        EXPECT_LT(test::Allocated(), before + 1000);
        mdns.nameChanged(QStringLiteral("studio-a"));
        fake::state.calls.clear();
        mdns.ipChanged();
    });
    EXPECT_EQ(output.out, std::string("reset\n") + kAddHttp);
}

} // namespace
