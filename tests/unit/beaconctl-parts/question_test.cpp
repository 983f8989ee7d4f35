#include "beaconctl/sources.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace beaconctl;

namespace {

bool gHasSockets = false;

} // namespace

// These replace the system's functions: either no socket can be opened, or none can be bound.
extern "C" int socket(int /*domain*/, int /*type*/, int /*protocol*/) noexcept
{
    errno = EMFILE;
    return gHasSockets ? dup(0) : -1;
}

extern "C" int bind(int /*descriptor*/, const sockaddr * /*local*/, socklen_t /*length*/) noexcept
{
    errno = EADDRINUSE;
    return -1;
}

TEST(Question, ReportsWhyItsSocketCannotBeOpened)
{
    Question question;
    EXPECT_EQ(question.Send("gn", *ParseAddress("127.0.0.1", 49821)), EMFILE);
}

TEST(Question, ReportsWhyItsSocketCannotBeBound)
{
    gHasSockets = true;
    Question question;
    EXPECT_EQ(question.Send("gn", *ParseAddress("127.0.0.1", 49821)), EADDRINUSE);
}
