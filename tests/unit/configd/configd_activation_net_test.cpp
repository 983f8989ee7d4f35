#include "http_client.h"
#include "service.h"

#include "support/private_namespace.h"

#include <fcntl.h>
#include <gtest/gtest.h>

// A socket handed over as systemd does it: as descriptor 3, with LISTEN_PID and
// LISTEN_FDS in the environment.
namespace test {
namespace {

const std::string kSystem = "/api/v1/system";
const std::string kAlpha = R"({"hostName":"alpha"})";

class ConfigActivation : public ConfigFolder
{
protected:
    ConfigActivation() : ConfigFolder(kAlpha) {}
};

enum class Says { NothingWrong, OfAnotherProcess, OfNoDescriptor };

// What runs the program with a descriptor handed over.
std::function<int()> Activated(int descriptor, Says says = Says::NothingWrong)
{
    return [descriptor, says] {
        const int pid = says == Says::OfAnotherProcess ? getppid() : getpid();
        setenv("LISTEN_PID", std::to_string(pid).c_str(), 1);
        setenv("LISTEN_FDS", says == Says::OfNoDescriptor ? "0" : "1", 1);
        dup2(descriptor, 3);
        close(descriptor);
        return Program({})();
    };
}

// What systemd holds: far from descriptor 3, which the tests' streams have.
configd::Descriptor Hold(configd::Descriptor socket)
{
    return configd::Descriptor(fcntl(socket.Number(), F_DUPFD, 100));
}

std::string AnswerOf(Connection &connection)
{
    const Answer answer = ReadHeader(connection);
    return answer.status + ' ' + connection.ReadBytes(kAlpha.size());
}

TEST_F(ConfigActivation, AnswersOnTheSocketHandedOver)
{
    const auto held = Hold(configd::OpenListeningSocket(8080));
    LiveChild child(Activated(held.Number()));
    ASSERT_TRUE(child.WaitForOut(Service::kStarted));
    EXPECT_EQ(Ask("GET", kSystem).body, kAlpha);
    child.Signal(SIGTERM);
    EXPECT_EQ(child.WaitForEnd(), 0);
    EXPECT_EQ(child.Err(), "");
}

// A client is not refused before the first start nor between two, and nobody else
// can have the port.
TEST_F(ConfigActivation, KeepsThePortWhileTheServiceDoesNotRun)
{
    const auto held = Hold(configd::OpenListeningSocket(8080));
    for (int i = 0; i < 2; ++i) {
        Connection early;
        early.Send(RequestText("GET", kSystem, ""));
        EXPECT_THROW(static_cast<void>(configd::OpenListeningSocket(8080)), std::system_error);
        LiveChild child(Activated(held.Number()));
        EXPECT_EQ(AnswerOf(early), "200 OK " + kAlpha);
        child.Signal(SIGKILL);
        EXPECT_EQ(child.WaitForEnd(), 128 + SIGKILL);
    }
}

TEST_F(ConfigActivation, NamesThePortHandedOver)
{
    const auto held = Hold(configd::OpenListeningSocket(8099));
    LiveChild child(Activated(held.Number()));
    EXPECT_TRUE(child.WaitForOut("beacon-configd: listening on 127.0.0.1:8099\n"));
}

TEST_F(ConfigActivation, OpensThePortItselfWithWhatIsNotMeantForIt)
{
    const auto held = Hold(configd::OpenListeningSocket(8099));
    for (const Says says : {Says::OfAnotherProcess, Says::OfNoDescriptor}) {
        LiveChild child(Activated(held.Number(), says));
        ASSERT_TRUE(child.WaitForOut(Service::kStarted));
        EXPECT_EQ(Ask("GET", kSystem).body, kAlpha);
        child.Signal(SIGTERM);
        EXPECT_EQ(child.WaitForEnd(), 0);
    }
}

TEST_F(ConfigActivation, EndsWithWrongUsageForAnythingButALoopbackSocketThatListens)
{
    const configd::Descriptor file = Hold(configd::Descriptor(open("/dev/null", O_RDONLY)));
    const configd::Descriptor deaf = Hold(configd::Descriptor(socket(AF_INET, SOCK_STREAM, 0)));
    const configd::Descriptor any = Hold(configd::Descriptor(socket(AF_INET, SOCK_STREAM, 0)));
    ASSERT_EQ(listen(any.Number(), 1), 0); // on every address
    for (const configd::Descriptor *wrong : {&file, &deaf, &any}) {
        LiveChild child(Activated(wrong->Number()));
        EXPECT_EQ(child.WaitForEnd(), 2);
        EXPECT_EQ(child.Out(), "");
        EXPECT_EQ(child.Err(), "beacon-configd: descriptor 3 is no TCP socket that listens on "
                               "127.0.0.1\n");
    }
}

} // namespace
} // namespace test
