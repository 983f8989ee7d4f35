#include "http_client.h"
#include "service.h"

#include "support/private_namespace.h"

#include <fstream>
#include <gtest/gtest.h>
#include <list>

// The time-outs of requests, and the number of connections.
namespace test {
namespace {

using namespace std::chrono_literals;

const std::string kSystem = "/api/v1/system";
const std::string kAlpha = R"({"hostName":"alpha"})";

class ConfigConnections : public ConfigFolder
{
protected:
    ConfigConnections() : ConfigFolder(kAlpha) {}
};

// The status and the body of the last answer on a connection.
std::string LastAnswer(Connection &connection)
{
    const Answer answer = ReadHeader(connection);
    return answer.status + ' ' + connection.ReadUntil("");
}

// Sends one byte every 10 ms until an answer arrives, and returns the answer; "" if none
// arrives in time.
std::string SendSlowly(Connection &connection)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kTimeoutMs);
    while (std::chrono::steady_clock::now() < end) {
        if (connection.WaitForInput(10)) {
            return LastAnswer(connection);
        }
        connection.Send("G");
    }
    return {};
}

TEST_F(ConfigConnections, RequestsTimeOutAfterTenSeconds)
{
    EXPECT_EQ(configd::Periods().timeout, 10s);
}

TEST_F(ConfigConnections, SlowRequestsTimeOut)
{
    Server server({1000ms, 10000ms});
    const std::string timeout =
        R"(408 Request Timeout {"error":"the request did not arrive completely in time"})";
    const std::vector<std::string> beginnings{
        "", "GET /api/v1/system HTTP/1.1\r\nA: ",
        "PATCH /api/v1/system HTTP/1.1\r\nHost: localhost\r\nContent-Length: 60000\r\n\r\n",
        "PATCH /api/v1/system HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n1;"};
    for (const std::string &beginning : beginnings) {
        Connection connection;
        connection.Send(beginning);
        EXPECT_EQ(SendSlowly(connection), timeout) << beginning;
    }
}

TEST_F(ConfigConnections, ConnectionsWithoutARequestEndWithoutAnAnswer)
{
    Server server({1000ms, 10000ms});
    Connection silent;
    EXPECT_EQ(silent.ReadUntil(""), "");
    Connection idle;
    idle.Send(RequestText("GET", kSystem, ""));
    EXPECT_EQ(ReadHeader(idle).status, "200 OK");
    EXPECT_EQ(idle.ReadUntil(""), kAlpha);
}

TEST_F(ConfigConnections, AnAnswerRestartsTheTimeout)
{
    const auto timeout = 2000ms;
    Server server({timeout, 10000ms});
    Connection connection;
    const auto start = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - start < timeout * 3 / 2) {
        connection.Send(RequestText("GET", kSystem, ""));
        EXPECT_EQ(ReadHeader(connection).status, "200 OK");
        EXPECT_EQ(connection.ReadBytes(kAlpha.size()), kAlpha);
    }
}

// The client continues to send after the answer.
TEST_F(ConfigConnections, EndsAConnectionThatSendsAnEndlessBody)
{
    Server server({1000ms, 10000ms});
    Connection connection;
    connection.Send("PUT / HTTP/1.1\r\nContent-Length: 65537\r\n\r\n");
    EXPECT_EQ(ReadHeader(connection).status, "413 Content Too Large");
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kTimeoutMs);
    bool held = true;
    while (held && std::chrono::steady_clock::now() < end) {
        held = connection.TrySend("a");
    }
    EXPECT_FALSE(held);
}

TEST_F(ConfigConnections, EndsAConnectionThatDoesNotReadItsAnswer)
{
    OnHost("echo 4096 16384 16384 >/proc/sys/net/ipv4/tcp_wmem"); // less than the answer
    const std::string device = R"({"name":"net0","activeParams":{"address":""},)"
                               R"("status":{"interfaceSetupState":"Idle","connected":false}})";
    std::string list = '[' + device;
    while (list.size() < 60000) {
        list += ',' + device;
    }
    std::ofstream("/var/lib/beacon-configd/devices.json") << list << ']';
    Server server({1000ms, 10000ms}, "/var/lib/beacon-configd/devices.json");
    Connection slow(4096);
    slow.Send(RequestText("GET", "/api/v1/network/devices", ""));
    // Waits until the service's socket is closed: a client that does not read cannot see
    // the end.
    OnHost("for i in $(seq 100); do "
           "[ -n \"$(ss -Htn state established sport = :8080)\" ] || exit 0; sleep 0.1; done; "
           "exit 1");
    EXPECT_LT(slow.ReadUntil("").size(), list.size());
    OnHost("echo 4096 16384 4194304 >/proc/sys/net/ipv4/tcp_wmem");
}

TEST_F(ConfigConnections, StreamsDoNotTimeOut)
{
    Server server({1000ms, 100ms});
    Stream stream("?params=24");
    EXPECT_EQ(stream.Next(), SystemEvent(kAlpha));
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(stream.Next(), ":\n");
    }
}

// More idle clients than the service accepts at once.
TEST_F(ConfigConnections, ARequestIsAnsweredAfterIdleClientsTimeOut)
{
    Server server({1000ms, 10000ms});
    std::list<Connection> silent;
    for (int i = 0; i < 300; ++i) {
        silent.emplace_back();
        if (i % 2 == 0) {
            silent.back().Send("GET ");
        }
    }
    EXPECT_EQ(Ask("PATCH", kSystem, R"({"hostName":"beta"})").status, "200 OK");
}

// All places are taken by clients that ask again and again within the time-out.
TEST_F(ConfigConnections, AnAnswerEndsItsConnectionWhenAllPlacesAreTaken)
{
    const std::string request = RequestText("GET", kSystem, "");
    Server server({1000ms, 10000ms});
    std::list<Connection> busy(128);
    Connection late;
    late.Send(request);
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kTimeoutMs);
    while (!late.WaitForInput(50) && std::chrono::steady_clock::now() < end) {
        for (const Connection &connection : busy) {
            static_cast<void>(connection.TrySend(request)); // it may have ended
        }
    }
    EXPECT_EQ(ReadHeader(busy.back()).Field("Connection"), "close");
    ASSERT_TRUE(late.WaitForInput(0));
    EXPECT_EQ(ReadHeader(late).status, "200 OK");
}

// The interim answers (100 Continue) free no place. They show that the server's loop has run:
// it would accept the late connection in one turn, and read the request on it in the next one.
TEST_F(ConfigConnections, AConnectionBeyond128WaitsForAPlace)
{
    Server server({60000ms, 60000ms});
    std::list<Connection> silent(128);
    Connection late;
    late.Send(RequestText("GET", kSystem, ""));
    auto last = silent.rbegin();
    for (int turn = 0; turn < 3; ++turn, ++last) {
        last->Send("PATCH /api/v1/system HTTP/1.1\r\nHost: localhost\r\n"
                   "Content-Length: 2\r\nExpect: 100-continue\r\n\r\n");
        EXPECT_EQ(last->ReadUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
    }
    EXPECT_FALSE(late.WaitForInput(0));
    silent.pop_front();
    EXPECT_EQ(ReadHeader(late).status, "200 OK");
}

TEST_F(ConfigConnections, Are128ForRequestsAnd64ForStreams)
{
    Service service;
    std::list<Stream> streams;
    for (int i = 0; i < 64; ++i) {
        streams.emplace_back("?params=24");
    }
    std::list<Connection> silent;
    for (int i = 0; i < 127; ++i) {
        silent.emplace_back();
    }
    EXPECT_EQ(Ask("PATCH", kSystem, R"({"hostName":"beta"})").status, "200 OK");
    EXPECT_EQ(Ask("GET", "/api/v1/watch?params=24").status, "503 Service Unavailable");
    for (Stream &stream : streams) {
        EXPECT_EQ(stream.SkipTo(SystemEvent(R"({"hostName":"beta"})")),
                  SystemEvent(R"({"hostName":"beta"})"));
    }
}

} // namespace
} // namespace test
