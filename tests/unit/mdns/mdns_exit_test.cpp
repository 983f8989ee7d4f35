#include "fresh_mdns.h"

#include <gmock/gmock.h>

namespace {

using testing::Eq;
using testing::ExitedWithCode;

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

// Avahi refuses to commit an empty group, which is a failure like the others.
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
