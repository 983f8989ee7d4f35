#include "http_client.h"
#include "service.h"

#include "support/private_namespace.h"

#include <fstream>
#include <gtest/gtest.h>
#include <list>

// How long a request may take, and how many may be under way.
namespace test {
namespace {

using namespace std::chrono_literals;

const std::string kSystem = "/api/v1/system";
const std::string kAlpha = R"({"hostName":"alpha"})";

class ConfigPlaces : public ConfigFolder
{
protected:
    ConfigPlaces() : ConfigFolder(kAlpha) {}
};

// The error's end of an answer.
std::string LateAnswer(Connection &connection)
{
    const Answer answer = ReadHeader(connection);
    return answer.status + ' ' + connection.ReadUntil("");
}

// Sends byte by byte until the other side ends the connection, and returns its
// answer; "" when it takes them for too long.
std::string Trickle(Connection &connection)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMs);
    while (std::chrono::steady_clock::now() < end) {
        if (connection.WaitForInput(10)) {
            return LateAnswer(connection);
        }
        connection.Send("G");
    }
    return {};
}

TEST_F(ConfigPlaces, ARequestIsDueWithinTenSeconds)
{
    EXPECT_EQ(configd::Periods().patience, 10s);
}

TEST_F(ConfigPlaces, ARequestThatTricklesIsGivenUp)
{
    Server server({1000ms, 10000ms});
    const std::string late =
        R"(408 Request Timeout {"error":"the request was not complete in time"})";
    const std::vector<std::string> begins{
        "", "GET /api/v1/system HTTP/1.1\r\nA: ",
        "PATCH /api/v1/system HTTP/1.1\r\nHost: localhost\r\nContent-Length: 60000\r\n\r\n",
        "PATCH /api/v1/system HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n1;"};
    for (const std::string &begin : begins) {
        Connection connection;
        connection.Send(begin);
        EXPECT_EQ(Trickle(connection), late) << begin;
    }
}

TEST_F(ConfigPlaces, AConnectionWithoutARequestEndsWithoutAnAnswer)
{
    Server server({1000ms, 10000ms});
    Connection silent;
    EXPECT_EQ(silent.ReadUntil(""), "");
    Connection idle;
    idle.Send(RequestText("GET", kSystem, ""));
    EXPECT_EQ(ReadHeader(idle).status, "200 OK");
    EXPECT_EQ(idle.ReadUntil(""), kAlpha);
}

TEST_F(ConfigPlaces, AnAnswerBeginsThePatienceForTheNextRequest)
{
    const auto patience = 2000ms;
    Server server({patience, 10000ms});
    Connection connection;
    const auto start = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - start < patience * 3 / 2) {
        connection.Send(RequestText("GET", kSystem, ""));
        EXPECT_EQ(ReadHeader(connection).status, "200 OK");
        EXPECT_EQ(connection.ReadBytes(kAlpha.size()), kAlpha);
    }
}

// The client sends on, whatever it is answered.
TEST_F(ConfigPlaces, ABodyWithoutEndHoldsNoPlaceAfterItsAnswer)
{
    Server server({1000ms, 10000ms});
    Connection connection;
    connection.Send("PUT / HTTP/1.1\r\nContent-Length: 65537\r\n\r\n");
    EXPECT_EQ(ReadHeader(connection).status, "413 Content Too Large");
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMs);
    bool held = true;
    while (held && std::chrono::steady_clock::now() < end) {
        held = connection.TrySend("a");
    }
    EXPECT_FALSE(held);
}

TEST_F(ConfigPlaces, AnAnswerThatIsNotTakenIsGivenUp)
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
    Connection lazy(4096);
    lazy.Send(RequestText("GET", "/api/v1/network/devices", ""));
    // Seen from the service's side: a client that does not read sees no end.
    OnHost("for i in $(seq 100); do "
           "[ -n \"$(ss -Htn state established sport = :8080)\" ] || exit 0; sleep 0.1; done; "
           "exit 1");
    EXPECT_LT(lazy.ReadUntil("").size(), list.size());
    OnHost("echo 4096 16384 4194304 >/proc/sys/net/ipv4/tcp_wmem");
}

TEST_F(ConfigPlaces, AStreamIsHeldForAsLongAsItsClientLikes)
{
    Server server({1000ms, 100ms});
    Stream stream("?params=24");
    EXPECT_EQ(stream.Next(), SystemEvent(kAlpha));
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(stream.Next(), ":\n");
    }
}

// All places for requests are taken by clients that say nothing, or little.
TEST_F(ConfigPlaces, ARequestIsAnsweredOnceOthersAreGivenUp)
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

// All places are taken by clients that ask again and again within their time.
TEST_F(ConfigPlaces, AnAnswerEndsItsConnectionWhenAllPlacesAreTaken)
{
    const std::string request = RequestText("GET", kSystem, "");
    Server server({1000ms, 10000ms});
    std::list<Connection> busy(128);
    Connection late;
    late.Send(request);
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMs);
    while (!late.WaitForInput(50) && std::chrono::steady_clock::now() < end) {
        for (const Connection &connection : busy) {
            static_cast<void>(connection.TrySend(request)); // it may have ended
        }
    }
    EXPECT_EQ(ReadHeader(busy.back()).Field("Connection"), "close");
    ASSERT_TRUE(late.WaitForInput(0));
    EXPECT_EQ(ReadHeader(late).status, "200 OK");
}

// Interim answers show that the server has seen everything that was sent before them, and
// leave the places taken. It sees the late connection in one turn of its loop, and the
// request on it in the next one.
TEST_F(ConfigPlaces, AConnectionBeyondHundredAndTwentyEightWaitsForAPlace)
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

TEST_F(ConfigPlaces, ThereAreHundredAndTwentyEightForRequestsBesideSixtyFourForStreams)
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
