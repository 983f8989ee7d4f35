#include "http_client.h"
#include "service.h"

#include "support/private_namespace.h"

#include <gmock/gmock.h>
#include <list>

// The streams of events of the running service.
namespace test {
namespace {

using namespace std::chrono_literals;
using testing::StartsWith;

const std::string kSystem = "/api/v1/system";
const std::string kDevices = "/api/v1/network/devices";
const std::string kFirstSystem = SystemEvent(R"({"hostName":"alpha","ssdpEnable":true})");
const std::string kFirstDevice = DeviceEvent("192.0.2.10", "Complete", true);

class ConfigWatch : public ConfigFolder
{
protected:
    ConfigWatch() : ConfigFolder(R"({"hostName":"alpha","ssdpEnable":true})") {}

    static void Rename(const std::string &name)
    {
        EXPECT_EQ(Ask("PATCH", kSystem, R"({"hostName":")" + name + "\"}").status, "200 OK");
    }
    static std::string RenamedEvent(const std::string &name)
    {
        return SystemEvent(R"({"hostName":")" + name + R"(","ssdpEnable":true})");
    }
};

TEST_F(ConfigWatch, BeginsWithAnEventForEachParameterInTheOrderOfTheRequest)
{
    Service service;
    Stream first("?system=beacond&params=24,19");
    EXPECT_EQ(first.Header().status, "200 OK");
    EXPECT_EQ(first.Header().Field("Content-Type"), "text/event-stream");
    EXPECT_EQ(first.Header().Field("Cache-Control"), "no-cache");
    EXPECT_EQ(first.Next(), kFirstSystem);
    EXPECT_EQ(first.Next(), kFirstDevice);
    Stream second("?params=19%2C24&system=beacond");
    EXPECT_EQ(second.Next(), kFirstDevice);
    EXPECT_EQ(second.Next(), kFirstSystem);
    Stream third("?system=beacond&params=19");
    EXPECT_EQ(third.Next(), kFirstDevice);
}

TEST_F(ConfigWatch, SendsEachChangeAtOnce)
{
    Service service;
    Stream stream("?system=beacond&params=24,19");
    EXPECT_EQ(stream.Next(), kFirstSystem);
    EXPECT_EQ(stream.Next(), kFirstDevice);
    for (const char *name : {"beta", "gamma", "\xC3\xBC"}) {
        Rename(name);
        EXPECT_EQ(stream.Next(), RenamedEvent(name));
    }
    EXPECT_EQ(Ask("PATCH", kSystem, R"({"hostName":null})").status, "200 OK");
    EXPECT_EQ(stream.Next(), SystemEvent(R"({"ssdpEnable":true})"));
}

// Only the request wakes the service, not the end of its connection.
TEST_F(ConfigWatch, SendsAChangeWhileItsSenderStaysConnected)
{
    Service service;
    Stream stream("?system=beacond&params=24");
    EXPECT_EQ(stream.Next(), kFirstSystem);
    Connection connection;
    for (const char *name : {"beta", "gamma"}) {
        connection.Send(
            RequestText("PATCH", kSystem, R"({"hostName":")" + std::string(name) + "\"}"));
        EXPECT_EQ(stream.Next(), RenamedEvent(name));
    }
}

TEST_F(ConfigWatch, SendsDevicesThatAClientSet)
{
    Service service({"--devices", "/var/lib/beacon-configd/devices.json"});
    Stream stream("?system=beacond&params=19");
    EXPECT_EQ(stream.Next(), "event: 19\ndata: []\n\n");
    const std::string devices = R"([{"name":"net0","activeParams":{"address":"192.0.2.77"},)"
                                R"("status":{"interfaceSetupState":"Failed","connected":true}}])";
    EXPECT_EQ(Ask("PUT", kDevices, devices).status, "200 OK");
    EXPECT_EQ(stream.Next(), DeviceEvent("192.0.2.77", "Failed", true));
}

TEST_F(ConfigWatch, SendsNothingIfNothingChanged)
{
    Service service;
    Stream stream("?system=beacond&params=24,19");
    EXPECT_EQ(stream.Next(), kFirstSystem);
    EXPECT_EQ(stream.Next(), kFirstDevice);
    Rename("alpha");
    EXPECT_EQ(Ask("PATCH", kSystem, "{}").status, "200 OK");
    EXPECT_EQ(Ask("PATCH", kSystem, R"({"hostName":1})").status, "400 Bad Request");
    OnHost("ip link set net0 mtu 1400 && ip link set net0 mtu 1500");
    Rename("beta");
    EXPECT_EQ(stream.Next(), RenamedEvent("beta")); // the first event after those two
}

TEST_F(ConfigWatch, DoesNotSendOtherParameters)
{
    Service service;
    Stream stream("?system=beacond&params=19");
    EXPECT_EQ(stream.Next(), kFirstDevice);
    Rename("beta");
    OnHost("ip link set net0 down");
    EXPECT_EQ(stream.Next(), DeviceEvent("192.0.2.10", "Idle", false));
    OnHost("ip link set net0 up");
    EXPECT_EQ(stream.SkipTo(kFirstDevice), kFirstDevice);
}

TEST_F(ConfigWatch, SendsAChangeToEveryWatcher)
{
    Service service;
    std::list<Stream> streams;
    for (int i = 0; i < 20; ++i) {
        streams.emplace_back("?system=beacond&params=24");
        EXPECT_EQ(streams.back().Next(), kFirstSystem);
    }
    Rename("beta");
    for (Stream &stream : streams) {
        EXPECT_EQ(stream.Next(), RenamedEvent("beta"));
    }
    streams.pop_front(); // a watcher that disconnects does not disturb the others
    Rename("gamma");
    for (Stream &stream : streams) {
        EXPECT_EQ(stream.Next(), RenamedEvent("gamma"));
    }
}

TEST_F(ConfigWatch, RefusesAnUnknownParameterOrNone)
{
    Service service;
    const std::string unknown = R"({"error":"params has an unknown number; 24 and 19 are known"})";
    const std::string none = R"({"error":"params is missing or empty"})";
    const std::vector<std::pair<std::string, std::string>> rows{
        {"?system=beacond&params=25", unknown},
        {"?system=beacond&params=24,19,1", unknown},
        {"?system=beacond&params=24,", unknown},
        {"?system=beacond&params=24%00", unknown},
        {"?system=beacond&params=24+", unknown},
        {"?system=beacond&params=name", unknown},
        {"?system=beacond&params=", none},
        {"?system=beacond&params", none},
        {"?system=beacond", none},
        {"?", none},
        {"", none}};
    for (const auto &[query, body] : rows) {
        const Answer answer = Ask("GET", "/api/v1/watch" + query);
        EXPECT_EQ(answer.status, "400 Bad Request") << query;
        EXPECT_EQ(answer.Field("Content-Type"), "application/json") << query;
        EXPECT_EQ(answer.body, body) << query;
    }
}

TEST_F(ConfigWatch, AcceptsSixtyFourWatchers)
{
    Service service;
    std::list<Stream> streams;
    for (int i = 0; i < 64; ++i) {
        streams.emplace_back("?system=beacond&params=24");
        EXPECT_EQ(streams.back().Next(), kFirstSystem);
    }
    const Answer answer = Ask("GET", "/api/v1/watch?system=beacond&params=24");
    EXPECT_EQ(answer.status, "503 Service Unavailable");
    EXPECT_EQ(answer.body, R"({"error":"too many watchers"})");
    EXPECT_EQ(Ask("GET", kSystem).status, "200 OK");

    streams.pop_back();
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kTimeoutMs);
    std::string status;
    while (status != "200 OK" && std::chrono::steady_clock::now() < end) {
        status = Stream("?system=beacond&params=24").Header().status;
    }
    EXPECT_EQ(status, "200 OK");
}

// The clients do not read their streams, and continue to send.
TEST_F(ConfigWatch, ManyStreamsDoNotBlockRequests)
{
    Service service;
    std::list<Connection> watchers;
    for (int i = 0; i < 500; ++i) { // 64 get a stream, the others an error
        watchers.emplace_back();
        watchers.back().Send("GET /api/v1/watch?params=24 HTTP/1.1\r\nHost: localhost\r\n\r\n"
                             "GET /api/v1/wa");
        static_cast<void>(ReadHeader(watchers.back()));
        if (i >= 64) {
            watchers.pop_back();
        }
    }
    Rename("beta");
    EXPECT_EQ(Ask("GET", kSystem).body, R"({"hostName":"beta","ssdpEnable":true})");
}

// The changes together are larger than the buffers of both sockets.
TEST_F(ConfigWatch, SendsOnlyTheLatestValueToASlowWatcher)
{
    OnHost("echo 4096 16384 65536 >/proc/sys/net/ipv4/tcp_wmem"); // small send buffers
    Service service({"--devices", "/var/lib/beacon-configd/devices.json"});
    Stream slow("?system=beacond&params=19", 4096);
    EXPECT_EQ(slow.Next(), "event: 19\ndata: []\n\n");
    const int changes = 40;
    std::string latest;
    for (int i = 0; i < changes; ++i) {
        latest = "[";
        for (int device = 0; device < 350; ++device) {
            latest += (device == 0 ? R"({"name":")" : R"(,{"name":")") + std::to_string(100 + i) +
                      std::string(60, 'a') +
                      R"(","activeParams":{"address":""},)"
                      R"("status":{"interfaceSetupState":"Idle","connected":false}})";
        }
        latest += "]";
        ASSERT_EQ(Ask("PUT", kDevices, latest).status, "200 OK");
    }
    const std::string last = "event: 19\ndata: " + latest + "\n\n";
    int events = 0;
    std::string event;
    do {
        event = slow.Next();
        ++events;
    } while (event != last && !event.empty());
    EXPECT_EQ(event, last);
    EXPECT_LT(events, changes / 2);
    OnHost("echo 4096 16384 4194304 >/proc/sys/net/ipv4/tcp_wmem");
}

TEST_F(ConfigWatch, EndsWithStreamsOpen)
{
    Service service;
    Stream read("?system=beacond&params=24");
    EXPECT_EQ(read.Next(), kFirstSystem);
    Stream unread("?system=beacond&params=24,19");
    Stream slow("?system=beacond&params=24,19", 4096);
    EXPECT_EQ(service.Stop(SIGTERM), 0);
    EXPECT_EQ(service.Child().Err(), "");
    EXPECT_EQ(read.Next(), "");
    EXPECT_EQ(unread.Next(), kFirstSystem);
}

TEST_F(ConfigWatch, EndsAtSigintWithStreamsOpen)
{
    Service service;
    Stream stream("?system=beacond&params=24");
    EXPECT_EQ(stream.Next(), kFirstSystem);
    EXPECT_EQ(service.Stop(SIGINT), 0);
    EXPECT_EQ(stream.Next(), "");
}

TEST_F(ConfigWatch, SendsHeartbeatsIfNothingChanges)
{
    const auto period = 20ms; // short, to save time
    Server server({10000ms, period});
    const auto start = std::chrono::steady_clock::now();
    Stream stream("?system=beacond&params=24");
    EXPECT_EQ(stream.Next(), kFirstSystem);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(stream.Next(), ":\n");
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, 5 * period);
}

TEST_F(ConfigWatch, SendsHeartbeatsAsOftenAsClientsExpect)
{
    EXPECT_LT(configd::Periods().heartbeat, 15s);
}

// In HTTP/1.0 the events are sent without chunks.
TEST_F(ConfigWatch, SendsEventsToAnHttp10Client)
{
    Service service;
    Connection connection;
    connection.Send("GET /api/v1/watch?params=24 HTTP/1.0\r\nHost: localhost\r\n\r\n");
    EXPECT_THAT(connection.ReadUntil("\r\n\r\n"), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_EQ(connection.ReadUntil("\n\n"), kFirstSystem);
    Rename("beta");
    EXPECT_EQ(connection.ReadUntil("\n\n"), RenamedEvent("beta"));
}

} // namespace
} // namespace test
