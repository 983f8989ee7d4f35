#include "mdns/avahi_qt_poll.h"
#include "mdns/mdns.h"

#include <gmock/gmock.h>

// Replaces the library's function, which never returns null.
const AvahiPoll *avahi_qt_poll_get()
{
    return nullptr;
}

TEST(MdnsDeathTest, WithoutAPollTableEndsTheProcess)
{
    EXPECT_EXIT(Mdns::getInstance()->init("0042", "Corvia 12", "studio-a"),
                testing::ExitedWithCode(1), testing::Eq("failed to get poll\n"));
}
