#include "http_client.h"
#include "service.h"

#include "support/private_namespace.h"

#include <fcntl.h>
#include <gtest/gtest.h>

// Socket activation as systemd does it: the socket is descriptor 3, and the environment
// has LISTEN_PID and LISTEN_FDS.
namespace test {
namespace {

const std::string kSystem = "/api/v1/system";
const std::string kAlpha = R"({"hostName":"alpha"})";

class ConfigActivation : public ConfigFolder
{
protected:
    ConfigActivation() : ConfigFolder(kAlpha) {}
};

enum class Variables { Valid, OtherProcess, NoDescriptor };

// A function that runs the program with descriptor as descriptor 3.
std::function<int()> Activated(int descriptor, Variables variables = Variables::Valid)
{
    return [descriptor, variables] {
        const int pid = variables == Variables::OtherProcess ? getppid() : getpid();
        setenv("LISTEN_PID", std::to_string(pid).c_str(), 1);
        setenv("LISTEN_FDS", variables == Variables::NoDescriptor ? "0" : "1", 1);
        dup2(descriptor, 3);
        close(descriptor);
        return Program({})();
    };
}

// A copy of the socket on a number of 100 or more: descriptor 3 may be in use by the test.
vexbase::FileDescriptor Hold(vexbase::FileDescriptor socket)
{
    return vexbase::FileDescriptor(fcntl(socket.Descriptor(), F_DUPFD, 100));
}

std::string AnswerOf(Connection &connection)
{
    const Answer answer = ReadHeader(connection);
    return answer.status + ' ' + connection.ReadBytes(kAlpha.size());
}

TEST_F(ConfigActivation, AnswersOnThePassedSocket)
{
    const auto held = Hold(configd::OpenListeningSocket(8080));
    LiveChild child(Activated(held.Descriptor()));
    ASSERT_TRUE(child.WaitForOut(Service::kStarted));
    EXPECT_EQ(Ask("GET", kSystem).body, kAlpha);
    child.Signal(SIGTERM);
    EXPECT_EQ(child.WaitForEnd(), 0);
    EXPECT_EQ(child.Err(), "");
}

// Clients are not refused before the first start or between two runs, and no other
// program can take the port.
TEST_F(ConfigActivation, KeepsThePortWhileTheServiceDoesNotRun)
{
    const auto held = Hold(configd::OpenListeningSocket(8080));
    for (int i = 0; i < 2; ++i) {
        Connection early;
        early.Send(RequestText("GET", kSystem, ""));
        EXPECT_THROW(static_cast<void>(configd::OpenListeningSocket(8080)), std::system_error);
        LiveChild child(Activated(held.Descriptor()));
        EXPECT_EQ(AnswerOf(early), "200 OK " + kAlpha);
        child.Signal(SIGKILL);
        EXPECT_EQ(child.WaitForEnd(), 128 + SIGKILL);
    }
}

TEST_F(ConfigActivation, PrintsThePortOfThePassedSocket)
{
    const auto held = Hold(configd::OpenListeningSocket(8099));
    LiveChild child(Activated(held.Descriptor()));
    EXPECT_TRUE(child.WaitForOut("beacon-configd: listening on 127.0.0.1:8099\n"));
}

TEST_F(ConfigActivation, IgnoresDescriptor3UnlessItWasPassedToThisProcess)
{
    const auto held = Hold(configd::OpenListeningSocket(8099));
    for (const Variables variables : {Variables::OtherProcess, Variables::NoDescriptor}) {
        LiveChild child(Activated(held.Descriptor(), variables));
        ASSERT_TRUE(child.WaitForOut(Service::kStarted));
        EXPECT_EQ(Ask("GET", kSystem).body, kAlpha);
        child.Signal(SIGTERM);
        EXPECT_EQ(child.WaitForEnd(), 0);
    }
}

TEST_F(ConfigActivation, RefusesADescriptorThatIsNotAListeningLoopbackSocket)
{
    const vexbase::FileDescriptor file = Hold(vexbase::FileDescriptor(open("/dev/null", O_RDONLY)));
    const vexbase::FileDescriptor unbound =
        Hold(vexbase::FileDescriptor(socket(AF_INET, SOCK_STREAM, 0)));
    const vexbase::FileDescriptor any =
        Hold(vexbase::FileDescriptor(socket(AF_INET, SOCK_STREAM, 0)));
    ASSERT_EQ(listen(any.Descriptor(), 1), 0); // on every address
    for (const vexbase::FileDescriptor *wrong : {&file, &unbound, &any}) {
        LiveChild child(Activated(wrong->Descriptor()));
        EXPECT_EQ(child.WaitForEnd(), 2);
        EXPECT_EQ(child.Out(), "");
        EXPECT_EQ(child.Err(), "beacon-configd: descriptor 3 is not a TCP socket listening on "
                               "127.0.0.1\n");
    }
}

} // namespace
} // namespace test
