#include "watch_stream_fixture.h"

#include <fcntl.h>
#include <future>
#include <thread>

using namespace wsconfig;
using test::Answer;
using test::AnswerAndClose;
using test::Connection;
using test::Event;
using test::FromTheLoopAlone;
using test::kBoth;
using test::kEventStream;
using test::Quick;

using WatchStreamTest = test::WatchStreamFixture;

namespace {

// The remote port of a connected socket; 0 for other descriptors.
int PeerPort(int descriptor)
{
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    const int failed = getpeername(descriptor, reinterpret_cast<sockaddr *>(&peer), &size);
    return failed != 0 ? 0 : ntohs(peer.sin_port);
}

} // namespace

TEST_F(WatchStreamTest, AsksInOneRequestAndDeliversTheFirstValuesBeforeStartReturns)
{
    std::promise<std::string> request;
    mServer.Start({[&request](Connection &connection) {
        request.set_value(connection.ReadRequest());
        connection.Send(kBoth);
        connection.WaitForEnd();
    }});
    EXPECT_EQ(Lines([this] { Make(Quick()).start(); }), "");
    EXPECT_EQ(Values(), "24={}|19=[]|");
    EXPECT_EQ(request.get_future().get(),
              "GET /api/v1/watch?system=beacond&params=24,19 HTTP/1.1\r\nHost: 127.0.0.1:" +
                  std::to_string(mServer.Port()) + "\r\nAccept: text/event-stream\r\n\r\n");
}

TEST_F(WatchStreamTest, DeliversChangesFromTheEventLoop)
{
    std::promise<void> started;
    mServer.Start({[&started](Connection &connection) {
        connection.ReadRequest();
        connection.Send(kBoth);
        started.get_future().wait();
        connection.Send(Event("24", R"({"hostName":"beta"})") + Event("19", "[]"));
        connection.WaitForEnd();
    }});
    Make(Quick()).start();
    EXPECT_EQ(Values(), "24={}|19=[]|");
    started.set_value();
    RunUntilValues(2);
    EXPECT_EQ(Values(), "24={\"hostName\":\"beta\"}|19=[]|");
}

TEST_F(WatchStreamTest, RunsNoEventLoopWhileItWaitsForTheFirstValues)
{
    mServer.Start({AnswerAndClose(""), Answer(kBoth)});
    bool ran = false;
    QTimer::singleShot(0, &mApplication, [&ran] { ran = true; });
    (void)Lines([this] { Make(Quick()).start(); });
    EXPECT_EQ(Values(), "24={}|19=[]|");
    EXPECT_FALSE(ran);
    QCoreApplication::processEvents();
    EXPECT_TRUE(ran);
}

TEST_F(WatchStreamTest, WaitsForTheValuesOfAllParameters)
{
    std::promise<void> first;
    mServer.Start({[&first](Connection &connection) {
        connection.ReadRequest();
        connection.Send(kEventStream + Event("24", "{}") + Event("24", "{ }"));
        first.get_future().wait();
        connection.Send(Event("19", "[]"));
        connection.WaitForEnd();
    }});
    WatchStream &stream = Make(Quick());
    QObject::connect(&stream, &WatchStream::valueReceived, &mApplication, [this, &first] {
        if (mSpy->count() == 1) {
            first.set_value();
        }
    });
    EXPECT_EQ(Lines([&stream] { stream.start(); }), "");
    EXPECT_EQ(Values(), "24={}|24={ }|19=[]|");
}

TEST_F(WatchStreamTest, AMissingFirstValueIsDeliveredWhenItComes)
{
    std::promise<void> returned;
    mServer.Start({[&returned](Connection &connection) {
        connection.ReadRequest();
        connection.Send(kEventStream + Event("24", "{}"));
        returned.get_future().wait();
        connection.Send(Event("19", "[]"));
        connection.WaitForEnd();
    }});
    WatchPolicy policy = Quick();
    policy.firstDeliveryMs = 2000;
    (void)Lines([this, &policy] { Make(policy).start(); });
    EXPECT_EQ(Values(), "24={}|");
    returned.set_value();
    RunUntilValues(1);
    EXPECT_EQ(Values(), "19=[]|");
}

TEST_F(WatchStreamTest, WithoutAWaitTheEventLoopDeliversAllValues)
{
    mServer.Start({Answer(kBoth)});
    EXPECT_EQ(Lines([this] {
                  Make(FromTheLoopAlone()).start();
                  RunUntilValues(2);
              }),
              "not every value came within 0 ms\n");
    EXPECT_EQ(Values(), "24={}|19=[]|");
}

TEST_F(WatchStreamTest, CommentsKeepAQuietStreamOpen)
{
    mServer.Start({[](Connection &connection) {
        connection.ReadRequest();
        connection.Send(kBoth);
        for (int i = 0; i < 5; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(500));
            connection.Send(test::Chunk(":\n"));
        }
        connection.Send(Event("24", R"({"hostName":"still"})"));
        connection.WaitForEnd();
    }});
    WatchPolicy policy = Quick();
    policy.silenceMs = 2000;
    EXPECT_EQ(Lines([this, &policy] {
                  Make(policy).start();
                  RunUntilValues(3);
              }),
              "");
    EXPECT_EQ(Values(), "24={}|19=[]|24={\"hostName\":\"still\"}|");
}

TEST_F(WatchStreamTest, UnreadDataAfterADelayOfTheEventLoopIsNotSilence)
{
    std::promise<void> started;
    std::promise<void> sent;
    mServer.Start({[&](Connection &connection) {
        connection.ReadRequest();
        connection.Send(kBoth);
        started.get_future().wait();
        connection.Send(Event("24", R"({"hostName":"c"})"));
        sent.set_value();
        connection.WaitForEnd();
    }});
    WatchPolicy policy = Quick();
    policy.silenceMs = 400;
    EXPECT_EQ(Lines([&] {
                  Make(policy).start();
                  EXPECT_EQ(Values(), "24={}|19=[]|");
                  started.set_value();
                  sent.get_future().wait();
                  // After this time, the timer has expired.
                  std::this_thread::sleep_for(std::chrono::milliseconds(450));
                  RunUntilValues(1);
              }),
              "");
    EXPECT_EQ(Values(), "24={\"hostName\":\"c\"}|");
}

TEST_F(WatchStreamTest, ReadsAStreamInOneByteChunks)
{
    std::string chunks;
    for (const char byte : std::string("event: 24\ndata: {}\n\n:\n\nevent: 19\ndata: []\n\n")) {
        chunks += test::Chunk(std::string(1, byte));
    }
    mServer.Start({Answer(kEventStream + chunks)});
    EXPECT_EQ(Lines([this] { Make(Quick()).start(); }), "");
    EXPECT_EQ(Values(), "24={}|19=[]|");
}

TEST_F(WatchStreamTest, AFloodOfBytesLeavesTheEventLoopToOthers)
{
    mServer.Start({[](Connection &connection) {
        connection.ReadRequest();
        connection.Send(kBoth);
        const std::string flood(1'000'000, '\n');
        for (int i = 0; i < 5; ++i) {
            connection.Send(test::Chunk(flood));
        }
        connection.Send(Event("24", R"({"last":1})"));
        connection.WaitForEnd();
    }});
    Make(Quick()).start();
    int turns = 0;
    QTimer others;
    QObject::connect(&others, &QTimer::timeout, [&turns] { ++turns; });
    others.start(0);
    RunUntilValues(3);
    EXPECT_GT(turns, 10);
}

TEST_F(WatchStreamTest, NoChildInheritsTheSocket)
{
    mServer.Start({Answer(kBoth)});
    Make(Quick()).start();
    int found = 0;
    for (int descriptor = 0; descriptor < 256; ++descriptor) {
        if (PeerPort(descriptor) == mServer.Port()) {
            ++found;
            EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
        }
    }
    EXPECT_EQ(found, 1);
}

TEST_F(WatchStreamTest, Descriptor0CanBeUsed)
{
    // The server does not accept before the stream has its descriptor, because accept()
    // takes the lowest free number, too.
    std::promise<void> busy;
    std::promise<void> connected;
    mServer.Start({[&busy, &connected](Connection &) {
                       busy.set_value();
                       connected.get_future().wait();
                   },
                   Answer(kBoth)});
    StreamSocket other;
    ASSERT_EQ(other.startConnecting(QStringLiteral("127.0.0.1"), mServer.Port()), 0);
    busy.get_future().wait();
    const int saved = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    (void)Lines([this, &connected] {
        close(STDIN_FILENO);
        Make(FromTheLoopAlone()).start();
        connected.set_value();
        RunUntilValues(2);
        EXPECT_EQ(PeerPort(STDIN_FILENO), mServer.Port());
        mStream.reset();
        EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1);
    });
    EXPECT_EQ(Values(), "24={}|19=[]|");
    if (saved >= 0) {
        dup2(saved, STDIN_FILENO);
        close(saved);
    }
}

TEST_F(WatchStreamTest, ASlotMayDestroyTheStreamInTheFirstDelivery)
{
    mServer.Start({Answer(kBoth)});
    WatchStream &stream = Make(Quick());
    QObject::connect(&stream, &WatchStream::valueReceived, &mApplication,
                     [this] { mStream.reset(); });
    EXPECT_EQ(Lines([&stream] { stream.start(); }), "");
    EXPECT_EQ(Values(), "24={}|");
}

TEST_F(WatchStreamTest, ASlotMayDestroyTheStreamFromTheEventLoop)
{
    mServer.Start({Answer(kBoth)});
    WatchStream &stream = Make(FromTheLoopAlone());
    QObject::connect(&stream, &WatchStream::valueReceived, &mApplication,
                     [this] { mStream.reset(); });
    (void)Lines([this, &stream] {
        stream.start();
        RunUntilValues(1);
    });
    EXPECT_EQ(Values(), "24={}|");
}
