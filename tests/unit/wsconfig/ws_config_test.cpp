#include "wsconfig/ws_config.h"

#include "support/capture.h"
#include "support/scripted_server.h"

#include <QCoreApplication>
#include <QPointer>
#include <QSignalSpy>
#include <array>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <thread>
#include <utility>

using test::Connection;
using test::Event;
using test::kEventStream;
using test::ScriptedServer;

namespace {

constexpr int kGenerousMs = 20000;

const std::string kBoth = kEventStream + Event("24", "{}") + Event("19", "[]");

ScriptedServer::Script Answer(const std::string &text)
{
    return [text](Connection &connection) {
        connection.ReadRequest();
        connection.Send(text);
        connection.WaitForEnd();
    };
}

// A receiver of the values by string-based connections, like the daemon's ConfigMap.
class Watcher : public QObject
{
    Q_OBJECT

public:
    std::string values;

    Q_SLOT void handleValueChanged(WSConfig::ParamId id, const QString &value)
    {
        values += std::to_string(id) + "=" + value.toStdString() + "|";
    }
};

class WSConfigTest : public testing::Test
{
protected:
    WSConfigTest() { Connect(); }
    ~WSConfigTest() override
    {
        mConfig.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }

    void Connect()
    {
        EXPECT_TRUE(QObject::connect(
            mConfig.get(), SIGNAL(valueChanged(WSConfig::ParamId, const QString &)), &mWatcher,
            SLOT(handleValueChanged(WSConfig::ParamId, const QString &))));
    }

    // As the daemon does.
    void WatchBoth()
    {
        std::array<WSConfig::ParamId, 2> ids{WSConfig::SystemConfig, WSConfig::NetDeviceList};
        mConfig->watch(ids.data(), 2);
    }

    int mArgc = 1;
    std::array<char, 5> mName{"test"};
    char *mArgv = mName.data();
    QCoreApplication mApplication{mArgc, &mArgv};
    ScriptedServer mServer;
    std::unique_ptr<WSConfig> mConfig =
        std::make_unique<WSConfig>(nullptr, QStringLiteral("127.0.0.1"), mServer.Port());
    Watcher mWatcher;
};

std::string Devices(const QString &json)
{
    std::string text;
    for (const OpenAPI::OAINetDevice &device : WSConfig::makeDeviceList(json)) {
        text += device.getStatus().getInterfaceSetupState().asJson().toStdString() + "," +
                (device.getStatus().isConnected() ? "connected," : ",") +
                device.getActiveParams().getAddress().toStdString() + "|";
    }
    return text;
}

} // namespace

TEST_F(WSConfigTest, TheParametersHaveTheServicesNumbers)
{
    EXPECT_EQ(int(WSConfig::SystemConfig), 24);
    EXPECT_EQ(int(WSConfig::NetDeviceList), 19);
}

TEST_F(WSConfigTest, DeliversEachFirstValueBeforeWatchReturns)
{
    std::promise<std::string> request;
    mServer.Start({[&request](Connection &connection) {
        request.set_value(connection.ReadRequest());
        connection.Send(kBoth);
        connection.WaitForEnd();
    }});
    mConfig->setSystemName(QStringLiteral("beacond"));
    WatchBoth();
    EXPECT_EQ(mWatcher.values, "24={}|19=[]|");
    EXPECT_EQ(request.get_future().get(),
              "GET /api/v1/watch?system=beacond&params=24,19 HTTP/1.1\r\nHost: 127.0.0.1:" +
                  std::to_string(mServer.Port()) + "\r\nAccept: text/event-stream\r\n\r\n");
}

TEST_F(WSConfigTest, DeliversChangesFromTheEventLoop)
{
    std::promise<void> watching;
    mServer.Start({[&watching](Connection &connection) {
        connection.ReadRequest();
        connection.Send(kBoth);
        watching.get_future().wait();
        connection.Send(Event("24", R"({"hostName":"beta"})"));
        connection.WaitForEnd();
    }});
    WatchBoth();
    QSignalSpy spy(mConfig.get(), SIGNAL(valueChanged(WSConfig::ParamId, const QString &)));
    watching.set_value();
    ASSERT_TRUE(spy.wait(kGenerousMs));
    EXPECT_EQ(spy.at(0).at(0).value<WSConfig::ParamId>(), WSConfig::SystemConfig);
    EXPECT_EQ(OpenAPI::OAISystemConfig(spy.at(0).at(1).toString()).getHostName(),
              QStringLiteral("beta"));
}

TEST_F(WSConfigTest, WaitsForAServiceThatStartsLater)
{
    std::thread later;
    const test::Output output = test::Capture([this, &later] {
        later = std::thread([this] {
            test::AwaitCapturedErr(); // the first connection is refused
            mServer.Start({Answer(kBoth)});
        });
        WatchBoth();
    });
    later.join();
    EXPECT_EQ(mWatcher.values, "24={}|19=[]|");
    const std::string prefix = "WSConfig: 127.0.0.1:" + std::to_string(mServer.Port()) + ": ";
    EXPECT_EQ(output.err,
              prefix + "stream lost: Connection refused\n" + prefix + "stream is back\n");
    EXPECT_EQ(output.out, "");
}

TEST_F(WSConfigTest, QueuedConnectionsWork)
{
    mServer.Start({Answer(kBoth)});
    mConfig = std::make_unique<WSConfig>(nullptr, QStringLiteral("127.0.0.1"), mServer.Port());
    ASSERT_TRUE(QObject::connect(
        mConfig.get(), SIGNAL(valueChanged(WSConfig::ParamId, const QString &)), &mWatcher,
        SLOT(handleValueChanged(WSConfig::ParamId, const QString &)), Qt::QueuedConnection));
    WatchBoth();
    EXPECT_EQ(mWatcher.values, "");
    QCoreApplication::processEvents();
    EXPECT_EQ(mWatcher.values, "24={}|19=[]|");
}

TEST_F(WSConfigTest, ASecondWatchReplacesTheFirst)
{
    std::promise<std::string> request;
    mServer.Start({Answer(kBoth), [&request](Connection &connection) {
                       request.set_value(connection.ReadRequest());
                       connection.Send(kEventStream + Event("24", "{}") + Event("19", "[1]"));
                       connection.WaitForEnd();
                   }});
    WatchBoth();
    mWatcher.values.clear();
    const test::Output output = test::Capture([this] {
        WSConfig::ParamId id = WSConfig::NetDeviceList;
        mConfig->setSystemName(QStringLiteral("other"));
        mConfig->watch(&id, 1);
    });
    EXPECT_EQ(mWatcher.values, "19=[1]|");
    EXPECT_EQ(request.get_future().get().substr(0, 57),
              "GET /api/v1/watch?system=other&params=19 HTTP/1.1\r\nHost: ");
    EXPECT_EQ(output.err, "WSConfig: 127.0.0.1:" + std::to_string(mServer.Port()) +
                              ": event dropped: not of a watched parameter\n");
}

TEST_F(WSConfigTest, WatchingNothingEndsTheWatch)
{
    std::promise<void> ended;
    mServer.Start({[&ended](Connection &connection) {
        connection.ReadRequest();
        connection.Send(kBoth);
        connection.WaitForEnd();
        ended.set_value();
    }});
    WatchBoth();
    mConfig->watch(nullptr, 0);
    EXPECT_EQ(ended.get_future().wait_for(std::chrono::milliseconds(kGenerousMs)),
              std::future_status::ready);
}

TEST_F(WSConfigTest, ASlotMayWatchAgain)
{
    mServer.Start({Answer(kBoth), Answer(kEventStream + Event("19", "[2]"))});
    bool again = false;
    QObject::connect(mConfig.get(), &WSConfig::valueChanged, &mWatcher, [this, &again] {
        if (!std::exchange(again, true)) {
            WSConfig::ParamId id = WSConfig::NetDeviceList;
            mConfig->watch(&id, 1);
        }
    });
    WatchBoth();
    EXPECT_EQ(mWatcher.values, "24={}|19=[2]|");
}

TEST_F(WSConfigTest, ASlotMayDestroyTheClient)
{
    mServer.Start({Answer(kBoth)});
    QObject::connect(mConfig.get(), &WSConfig::valueChanged, &mWatcher,
                     [this] { mConfig.reset(); });
    WatchBoth();
    EXPECT_EQ(mWatcher.values, "24={}|");
}

TEST_F(WSConfigTest, OpensNoDescriptorBeforeItWatches)
{
    const int next = dup(STDERR_FILENO);
    close(next);
    const WSConfig config(nullptr, QStringLiteral("127.0.0.1"), mServer.Port());
    const int same = dup(STDERR_FILENO);
    close(same);
    EXPECT_EQ(same, next);
}

TEST_F(WSConfigTest, IsDestroyedWithItsParent)
{
    auto parent = std::make_unique<QObject>();
    const QPointer<WSConfig> config =
        new WSConfig(parent.get(), QStringLiteral("127.0.0.1"), mServer.Port());
    parent.reset();
    EXPECT_TRUE(config.isNull());
}

TEST(MakeDeviceList, KeepsTheOrder)
{
    EXPECT_EQ(Devices(QStringLiteral(
                  R"([{"name":"net0","activeParams":{"address":"192.0.2.10"},)"
                  R"("status":{"interfaceSetupState":"Complete","connected":true}},)"
                  R"({"status":{"interfaceSetupState":"Preparing","connected":false}}])")),
              "Complete,connected,192.0.2.10|Preparing,,|");
}

TEST(MakeDeviceList, AnElementThatIsNotAnObjectKeepsItsPosition)
{
    EXPECT_EQ(Devices(QStringLiteral(R"([null,7,"net0",[],{"status":{"connected":true}}])")),
              ",,|,,|,,|,,|,connected,|");
}

TEST(MakeDeviceList, IsEmptyForOtherTextThanAnArray)
{
    for (const char *text : {"", "{}", "[", "[{}", "null", "garbage", R"({"0":{}})"}) {
        EXPECT_EQ(WSConfig::makeDeviceList(QLatin1String(text)).size(), 0) << text;
    }
    EXPECT_EQ(WSConfig::makeDeviceList(QStringLiteral("[]")).size(), 0);
}

#include "ws_config_test.moc"
