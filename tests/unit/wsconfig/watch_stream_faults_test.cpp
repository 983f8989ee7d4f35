#include "watch_stream_fixture.h"

#include <sys/resource.h>
#include <thread>

using namespace wsconfig;
using test::Answer;
using test::AnswerAndClose;
using test::Event;
using test::FromTheLoopAlone;
using test::kBoth;
using test::kEventStream;
using test::kGenerousMs;
using test::Quick;
using test::ScriptedServer;

using WatchStreamFaults = test::WatchStreamFixture;

TEST_F(WatchStreamFaults, TriesAgainWhileConnectionsAreRefusedAndReportsLossAndReturnOnce)
{
    std::thread later;
    const std::string lines = Lines([this, &later] {
        WatchPolicy policy = Quick();
        policy.longestPauseMs = 1;
        later = std::thread([this] {
            test::AwaitCapturedErr(); // the first connection is refused
            // About 50 more connections are refused in this time.
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            mServer.Start({Answer(kBoth)});
        });
        Make(policy).start();
    });
    later.join();
    EXPECT_EQ(Values(), "24={}|19=[]|");
    EXPECT_EQ(lines, "stream lost: Connection refused\nstream is back\n");
}

TEST_F(WatchStreamFaults, ContinuesOnTheEventLoopWhenTheServiceIsLate)
{
    WatchPolicy policy = Quick();
    policy.firstDeliveryMs = 100;
    EXPECT_EQ(Lines([this, &policy] { Make(policy).start(); }),
              "stream lost: Connection refused\nnot every value came within 100 ms\n");
    EXPECT_EQ(Values(), "");
    EXPECT_EQ(Lines([this] {
                  mServer.Start({Answer(kBoth)});
                  RunUntilValues(2);
              }),
              "stream is back\n");
    EXPECT_EQ(Values(), "24={}|19=[]|");
}

TEST_F(WatchStreamFaults, WaitsForTheFirstValuesNoLongerThanItsLimit)
{
    mServer.Start({Answer("")});
    WatchPolicy policy = Quick();
    policy.firstDeliveryMs = 100;
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(Lines([this, &policy] { Make(policy).start(); }),
              "not every value came within 100 ms\n");
    EXPECT_GE(clock.elapsed(), 100);
    EXPECT_LT(clock.elapsed(), kGenerousMs);
    EXPECT_EQ(Values(), "");
}

TEST_F(WatchStreamFaults, ConnectsAgainWhenAKilledServiceIsBack)
{
    mServer.Start({Answer(kBoth)});
    Make(Quick()).start();
    EXPECT_EQ(Values(), "24={}|19=[]|");
    const int port = mServer.Port();
    const std::string lines = Lines([this, port] {
        mServer.Stop();
        // Several connections are refused in this time.
        QTimer::singleShot(50, &mApplication, &QCoreApplication::quit);
        QCoreApplication::exec();
        ScriptedServer again(port);
        again.Start({Answer(kEventStream + Event("24", R"({"hostName":"b"})"))});
        RunUntilValues(1);
        mStream.reset();
    });
    EXPECT_EQ(lines, "stream lost: closed by the service\nstream is back\n");
    EXPECT_EQ(Values(), "24={\"hostName\":\"b\"}|");
}

TEST_F(WatchStreamFaults, ReportsAWrongStatusOnceAndTriesAgain)
{
    mServer.Start({AnswerAndClose("HTTP/1.1 503 Service Unavailable\r\n\r\n"),
                   AnswerAndClose("HTTP/1.1 503 Service Unavailable\r\n\r\n"),
                   AnswerAndClose("HTTP/1.1 400 Bad Request\r\n\r\n"), Answer(kBoth)});
    EXPECT_EQ(Lines([this] { Make(Quick()).start(); }),
              "stream lost: status 503\nstream is back\n");
    EXPECT_EQ(Values(), "24={}|19=[]|");
}

TEST_F(WatchStreamFaults, ReportsAWrongContentTypeDuringAReportedOutage)
{
    mServer.Start({AnswerAndClose(""), AnswerAndClose("HTTP/1.1 200 OK\r\n\r\n"), Answer(kBoth)});
    EXPECT_EQ(Lines([this] { Make(Quick()).start(); }),
              "stream lost: closed by the service\nstream lost: not an event stream\n"
              "stream is back\n");
    EXPECT_EQ(Values(), "24={}|19=[]|");
}

TEST_F(WatchStreamFaults, SurvivesGarbageTruncationAndAnEndlessHeader)
{
    const std::string endless = "HTTP/1.1 200 OK\r\nX: " + std::string(1'000'000, 'x');
    mServer.Start({AnswerAndClose("\x16\x03\x01\x02 garbage"),
                   AnswerAndClose("HTTP/1.1 200 OK\r\nContent-Ty"),
                   AnswerAndClose(kEventStream + Event("24", "{}").substr(0, 12)),
                   AnswerAndClose(endless), Answer(kBoth)});
    EXPECT_EQ(Lines([this] { Make(Quick()).start(); }),
              "stream lost: bad HTTP answer: bad version\nstream is back\n");
    EXPECT_EQ(Values(), "24={}|19=[]|");
    EXPECT_EQ(mServer.Connections(), 5);
}

TEST_F(WatchStreamFaults, AnEndlessHeaderIsCutOff)
{
    mServer.Start({Answer("HTTP/1.1 200 OK\r\nX: " + std::string(1'000'000, 'x')), Answer(kBoth)});
    EXPECT_EQ(Lines([this] { Make(Quick()).start(); }),
              "stream lost: bad HTTP answer: header limit exceeded\nstream is back\n");
    EXPECT_EQ(Values(), "24={}|19=[]|");
}

TEST_F(WatchStreamFaults, DropsUnusableEventsWithALineEachAndStaysConnected)
{
    const std::string big = QString(10'000'000, QLatin1Char('x')).toStdString();
    mServer.Start({Answer(kEventStream + Event("24", "{") + Event("25", "{}") + Event("24", big) +
                          Event("24", "{}") + Event("19", "[]"))});
    EXPECT_EQ(Lines([this] { Make(Quick()).start(); }),
              "event dropped: parameter 24: unterminated object\n"
              "event dropped: not of a watched parameter\n"
              "event dropped: over 262144 bytes\n");
    EXPECT_EQ(Values(), "24={}|19=[]|");
    EXPECT_EQ(mServer.Connections(), 1);
}

TEST_F(WatchStreamFaults, AnAnswerThatEndsIsALostStream)
{
    mServer.Start({Answer("HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n"
                          "Content-Length: 21\r\n\r\nevent: 24\ndata: {}\n\n\n"),
                   Answer(kBoth)});
    EXPECT_EQ(Lines([this] { Make(Quick()).start(); }),
              "stream lost: ended by the service\nstream is back\n");
    EXPECT_EQ(Values(), "24={}|24={}|19=[]|");
}

TEST_F(WatchStreamFaults, ASilentStreamIsOpenedAgain)
{
    mServer.Start({Answer(kBoth), Answer(kBoth)});
    WatchPolicy policy = Quick();
    policy.silenceMs = 300;
    EXPECT_EQ(Lines([this, &policy] {
                  Make(policy).start();
                  RunUntilValues(4);
              }),
              "stream lost: silent for 300 ms\nstream is back\n");
    EXPECT_EQ(Values(), "24={}|19=[]|24={}|19=[]|");
}

TEST_F(WatchStreamFaults, AServiceThatNeverAnswersIsAskedAgain)
{
    mServer.Start({Answer(""), Answer(kBoth)});
    WatchPolicy policy = Quick();
    policy.silenceMs = 300;
    EXPECT_EQ(Lines([this, &policy] { Make(policy).start(); }),
              "stream lost: silent for 300 ms\nstream is back\n");
    EXPECT_EQ(Values(), "24={}|19=[]|");
}

TEST_F(WatchStreamFaults, ThePauseIsTheShortestAgainAfterAnEvent)
{
    // Otherwise the pauses would add up to more than half a minute.
    mServer.Start({AnswerAndClose(kBoth)});
    WatchPolicy policy = Quick();
    policy.longestPauseMs = 10 * kGenerousMs;
    (void)Lines([this, &policy] {
        Make(policy).start();
        RunUntilConnections(16);
    });
}

TEST_F(WatchStreamFaults, LackOfDescriptorsIsAnOutage)
{
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(Lines([this, &limit] {
                  const rlimit none{0, limit.rlim_max};
                  EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
                  Make(FromTheLoopAlone()).start();
                  EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
                  mServer.Start({Answer(kBoth)}); // accept() needs a descriptor, too
                  RunUntilValues(2);
              }),
              "stream lost: Too many open files\nnot every value came within 0 ms\n"
              "stream is back\n");
    EXPECT_EQ(Values(), "24={}|19=[]|");
}

TEST_F(WatchStreamFaults, AnInvalidAddressOrPortIsReportedOnce)
{
    for (const auto &[host, port] :
         {std::pair("localhost", 8080), std::pair("", 8080), std::pair("127.0.0.1", 0),
          std::pair("127.0.0.1", 65536), std::pair("127.0.0.1", -1)}) {
        WatchPolicy policy = Quick();
        policy.firstDeliveryMs = 20;
        WatchStream stream({QLatin1String(host), port, {}, {24}}, policy);
        std::ostringstream expected;
        for (const char *line :
             {"stream lost: Invalid argument", "not every value came within 20 ms"}) {
            expected << "WSConfig: " << host << ':' << port << ": " << line << '\n';
        }
        EXPECT_EQ(test::Capture([&stream] { stream.start(); }).err, expected.str());
    }
}

TEST_F(WatchStreamFaults, ARequestThatIsSentInPartIsALostStream)
{
    mServer.Start({Answer(kBoth)});
    WatchPolicy policy = Quick();
    policy.firstDeliveryMs = 1000;
    policy.shortestPauseMs = kGenerousMs;
    policy.longestPauseMs = kGenerousMs;
    WatchStream stream(
        {QStringLiteral("127.0.0.1"), mServer.Port(), QString(5'000'000, QLatin1Char('x')), {24}},
        policy);
    EXPECT_EQ(Lines([&stream] { stream.start(); }),
              "stream lost: Message too long\nnot every value came within 1000 ms\n");
}

TEST(WatchPolicy, HasTheTimesOfTheConfigurationClient)
{
    const WatchPolicy policy;
    EXPECT_EQ(policy.firstDeliveryMs, 5000);
    EXPECT_EQ(policy.silenceMs, 45000);
    EXPECT_EQ(policy.shortestPauseMs, 250);
    EXPECT_EQ(policy.longestPauseMs, 5000);
}
