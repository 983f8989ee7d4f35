#include "http_client.h"
#include "service.h"

#include "support/private_namespace.h"

#include <fstream>
#include <gmock/gmock.h>
#include <list>
#include <sched.h>
#include <sstream>

// The running service, request by request.
namespace test {
namespace {

using testing::HasSubstr;

const std::string kSystem = "/api/v1/system";
const std::string kDevices = "/api/v1/network/devices";
const std::string kStateFile = "/var/lib/beacon-configd/system.json";
const std::string kDevicesFile = "/var/lib/beacon-configd/devices.json";
const std::string kOneDevice = R"([{"name":"net0","activeParams":{"address":"192.0.2.10"},)"
                               R"("status":{"interfaceSetupState":"Complete","connected":true}}])";
const std::string kOtherDevice = R"([{"name":"eth7","activeParams":{"address":""},)"
                                 R"("status":{"interfaceSetupState":"Failed","connected":false}}])";

std::string FileText(const std::string &name)
{
    std::ostringstream text;
    text << std::ifstream(name).rdbuf();
    return text.str();
}

bool Exists(const std::string &name)
{
    return access(name.c_str(), F_OK) == 0;
}

// Each test has an empty folder for the files.
class ConfigService : public ConfigFolder
{
protected:
    static void WriteState(const std::string &text) { std::ofstream(kStateFile) << text; }

    // Runs the program, which must end with this error and this status.
    static void ExpectRefusalToStart(const std::vector<std::string> &arguments,
                                     const std::string &error, int status)
    {
        LiveChild child(Program(arguments));
        EXPECT_EQ(child.WaitForEnd(), status);
        EXPECT_EQ(child.Out(), "");
        EXPECT_EQ(child.Err(), error);
    }
};

void ExpectJson(const Answer &answer, const std::string &status, const std::string &body)
{
    EXPECT_EQ(answer.status, status);
    EXPECT_EQ(answer.Field("Content-Type"), "application/json");
    EXPECT_EQ(answer.body, body);
}

void ExpectError(const Answer &answer, const std::string &status, const std::string &error)
{
    ExpectJson(answer, status, "{\"error\":\"" + error + "\"}");
}

TEST_F(ConfigService, PrintsOneLineAtTheStartAndEndsWithStatusZero)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        Service service;
        EXPECT_EQ(service.Stop(signal), 0);
        EXPECT_EQ(service.Child().Out(), "beacon-configd: listening on 127.0.0.1:8080\n");
        EXPECT_EQ(service.Child().Err(), "");
    }
}

TEST_F(ConfigService, ListensOnTheGivenPort)
{
    LiveChild child(Program({"--port", "8081"}));
    EXPECT_TRUE(child.WaitForOut("beacon-configd: listening on 127.0.0.1:8081\n"));
    child.Signal(SIGTERM);
    EXPECT_EQ(child.WaitForEnd(), 0);
}

TEST_F(ConfigService, IsReachableOnlyFromThisHost)
{
    Service service;
    OnHost("ss -H -t -l -n -4 | grep -q '127.0.0.1:8080'");
    EXPECT_THROW(OnHost("ss -H -t -l -n | grep ':8080' | grep -v '127.0.0.1:8080'"),
                 std::runtime_error);
}

TEST_F(ConfigService, DoesNotStartOnAPortInUse)
{
    Service service;
    ExpectRefusalToStart(
        {}, "beacon-configd: cannot listen on 127.0.0.1:8080: Address already in use\n", 1);
}

TEST_F(ConfigService, StartsAgainAtOnceDespiteConnectionsInTimeWait)
{
    for (int i = 0; i < 2; ++i) {
        Service service;
        const Stream stream("?params=24");
        EXPECT_EQ(service.Stop(), 0);
    }
}

TEST_F(ConfigService, PrintsTheUsageForAnInvalidCommandLine)
{
    LiveChild child(Program({"--frobnicate"}));
    EXPECT_EQ(child.WaitForEnd(), 2);
    EXPECT_THAT(child.Err(), HasSubstr("usage: beacon-configd [--state FILE]"));
}

TEST_F(ConfigService, UsesTheSystemsHostNameOnANewDevice)
{
    LiveChild child([] {
        const std::string name = "factory";
        if (unshare(CLONE_NEWUTS) != 0 || sethostname(name.data(), name.size()) != 0) {
            return 99;
        }
        return Program({})();
    });
    ASSERT_TRUE(child.WaitForOut(Service::kStarted));
    ExpectJson(Ask("GET", kSystem), "200 OK", R"({"hostName":"factory","ssdpEnable":true})");
    EXPECT_FALSE(Exists(kStateFile)); // nothing was set yet
}

TEST_F(ConfigService, AnswersWithTheStoredConfiguration)
{
    WriteState("{\"hostName\": \"\xC3\xBC\"}");
    Service service;
    ExpectJson(Ask("GET", kSystem), "200 OK", "{\"hostName\":\"\xC3\xBC\"}");
}

TEST_F(ConfigService, KeepsAPatchedConfigurationAfterARestart)
{
    WriteState(R"({"hostName":"alpha","ssdpEnable":true})");
    {
        Service service;
        const std::string patched = R"({"hostName":"beta","ssdpEnable":true})";
        ExpectJson(Ask("PATCH", kSystem, R"({"hostName":"beta"})"), "200 OK", patched);
        ExpectJson(Ask("GET", kSystem), "200 OK", patched);
        EXPECT_EQ(FileText(kStateFile),
                  "{\n    \"hostName\": \"beta\",\n    \"ssdpEnable\": true\n}\n");
        ExpectJson(Ask("PATCH", kSystem, R"({"hostName":null,"ssdpEnable":false})"), "200 OK",
                   R"({"ssdpEnable":false})");
    } // killed
    Service service;
    ExpectJson(Ask("GET", kSystem), "200 OK", R"({"ssdpEnable":false})");
}

TEST_F(ConfigService, StoresTheFactorySettingsWithTheFirstPatch)
{
    Service service;
    const std::string patched = Ask("PATCH", kSystem, R"({"hostName":"beta"})").body;
    EXPECT_EQ(patched, R"({"hostName":"beta","ssdpEnable":true})");
    EXPECT_EQ(FileText(kStateFile),
              "{\n    \"hostName\": \"beta\",\n    \"ssdpEnable\": true\n}\n");
}

TEST_F(ConfigService, ChangesNothingIfAPatchIsInvalid)
{
    const std::string state = R"({"hostName":"alpha","ssdpEnable":true})";
    WriteState(state);
    Service service;
    const std::string bad = "400 Bad Request";
    ExpectError(Ask("PATCH", kSystem, R"({"hostName":"beta")"), bad,
                "line 1, column 19: malformed JSON");
    ExpectError(Ask("PATCH", kSystem, ""), bad, "line 1, column 1: malformed JSON");
    ExpectError(Ask("PATCH", kSystem, R"({"hostName":"beta","ssdpEnable":1})"), bad,
                "/ssdpEnable: must be true or false");
    ExpectError(Ask("PATCH", kSystem, R"({"hostName":"beta","port":1})"), bad,
                "/port: unknown member");
    ExpectError(Ask("PATCH", kSystem, "[]"), bad, "must be an object");
    ExpectJson(Ask("GET", kSystem), "200 OK", state);
    EXPECT_EQ(FileText(kStateFile), state);
}

TEST_F(ConfigService, WritesNoFileForARequestWithoutAChange)
{
    const std::string byHand = "{ \"hostName\" : \"alpha\" }";
    WriteState(byHand);
    std::ofstream(kDevicesFile) << kOneDevice;
    Service service({"--devices", kDevicesFile});
    for (const char *patch : {"{}", R"({"hostName":"alpha"})", R"({"ssdpEnable":null})"}) {
        ExpectJson(Ask("PATCH", kSystem, patch), "200 OK", R"({"hostName":"alpha"})");
    }
    ExpectJson(Ask("PUT", kDevices, ' ' + kOneDevice), "200 OK", kOneDevice);
    EXPECT_EQ(FileText(kStateFile), byHand);
    EXPECT_EQ(FileText(kDevicesFile), kOneDevice);
}

TEST_F(ConfigService, WritesNoFileForANewDeviceWithoutAChange)
{
    Service service;
    EXPECT_EQ(Ask("PATCH", kSystem, "{}").status, "200 OK");
    EXPECT_FALSE(Exists(kStateFile));
}

TEST_F(ConfigService, DoesNotOverwriteAnEditByHand)
{
    WriteState(R"({"hostName":"alpha"})");
    std::ofstream(kDevicesFile) << "[]";
    const std::string end = " was edited by hand; restart beacon-configd to take the edit over";
    const std::string edited = R"({"hostName":"hand"})";
    {
        Service service({"--devices", kDevicesFile});
        WriteState(edited);
        std::ofstream(kDevicesFile) << kOneDevice;
        ExpectError(Ask("PATCH", kSystem, R"({"hostName":"beta"})"), "409 Conflict",
                    kStateFile + end);
        ExpectError(Ask("PUT", kDevices, kOtherDevice), "409 Conflict", kDevicesFile + end);
        ExpectJson(Ask("GET", kSystem), "200 OK", R"({"hostName":"alpha"})");
        ExpectJson(Ask("GET", kDevices), "200 OK", "[]");
        EXPECT_EQ(FileText(kStateFile), edited);
        EXPECT_EQ(FileText(kDevicesFile), kOneDevice);
    }
    Service service({"--devices", kDevicesFile});
    ExpectJson(Ask("GET", kSystem), "200 OK", edited);
    ExpectJson(Ask("GET", kDevices), "200 OK", kOneDevice);
    ExpectJson(Ask("PATCH", kSystem, R"({"hostName":"beta"})"), "200 OK", R"({"hostName":"beta"})");
}

TEST_F(ConfigService, DoesNotRecreateAFileThatWasRemoved)
{
    WriteState(R"({"hostName":"alpha"})");
    Service service;
    unlink(kStateFile.c_str());
    EXPECT_EQ(Ask("PATCH", kSystem, R"({"hostName":"beta"})").status, "409 Conflict");
    EXPECT_FALSE(Exists(kStateFile));
}

// The stored text is larger than the request: it has one line for each device.
TEST_F(ConfigService, RefusesAListThatItCouldNotReadAgain)
{
    const std::string device = kOneDevice.substr(1, kOneDevice.size() - 2);
    std::string list = '[' + device;
    while (list.size() + device.size() + 2 <= 65536) {
        list += ',' + device;
    }
    list += ']';
    const std::size_t devices = list.size() / (device.size() + 1);
    const std::string half = list.substr(0, devices / 2 * (device.size() + 1)) + ']';
    {
        Service service({"--devices", kDevicesFile});
        EXPECT_EQ(Ask("PUT", kDevices, half).status, "200 OK");
        ExpectError(Ask("PUT", kDevices, list), "413 Content Too Large",
                    "stored, it would have more than 65536 bytes");
        ExpectJson(Ask("GET", kDevices), "200 OK", half);
    }
    Service service({"--devices", kDevicesFile});
    ExpectJson(Ask("GET", kDevices), "200 OK", half);
}

// One more device would be refused.
TEST_F(ConfigService, ReadsTheLargestListThatItStored)
{
    const std::string device = kOneDevice.substr(1, kOneDevice.size() - 2);
    std::string list = "[]";
    {
        Service service({"--devices", kDevicesFile});
        for (std::string longer = '[' + device + ']';
             longer.size() <= 65536 && Ask("PUT", kDevices, longer).status == "200 OK";
             longer.insert(1, device + ',')) {
            list = longer;
        }
    }
    EXPECT_GT(FileText(kDevicesFile).size(), 65536 - device.size() - 6);
    Service service({"--devices", kDevicesFile});
    ExpectJson(Ask("GET", kDevices), "200 OK", list);
}

TEST_F(ConfigService, ChangesNothingIfItCannotStoreTheChange)
{
    Service service;
    OnHost("rm -r /var/lib/beacon-configd");
    const std::string before = Ask("GET", kSystem).body;
    ExpectError(Ask("PATCH", kSystem, R"({"hostName":"beta"})"), "503 Service Unavailable",
                "cannot write /var/lib/beacon-configd/system.json: No such file or directory");
    EXPECT_EQ(Ask("GET", kSystem).body, before);
    OnHost("mkdir /var/lib/beacon-configd");
    EXPECT_EQ(Ask("PATCH", kSystem, R"({"hostName":"beta"})").status, "200 OK");
}

TEST_F(ConfigService, DoesNotStartWithADamagedStateFileAndKeepsIt)
{
    const std::string damaged = "{\n    \"hostName\": \"alpha\",\n    \"ssdpEn";
    WriteState(damaged);
    ExpectRefusalToStart({},
                         "beacon-configd: /var/lib/beacon-configd/system.json: "
                         "line 3, column 12: malformed JSON\n",
                         3);
    EXPECT_EQ(FileText(kStateFile), damaged);
}

TEST_F(ConfigService, DoesNotStartWithAStateFileOfWrongTypesAndKeepsIt)
{
    const std::string wrong = "{\n    \"hostName\": \"alpha\",\n    \"ssdpEnable\": \"yes\"\n}\n";
    WriteState(wrong);
    ExpectRefusalToStart({},
                         "beacon-configd: /var/lib/beacon-configd/system.json: "
                         "/ssdpEnable: must be true or false\n",
                         3);
    EXPECT_EQ(FileText(kStateFile), wrong);
}

TEST_F(ConfigService, DoesNotStartWithAStateFileThatIsTooLarge)
{
    WriteState(std::string(65537, ' '));
    ExpectRefusalToStart(
        {}, "beacon-configd: /var/lib/beacon-configd/system.json: more than 65536 bytes\n", 3);
}

TEST_F(ConfigService, StoresItsStateInTheGivenFile)
{
    Service service({"--state", "/var/other.json"});
    EXPECT_EQ(Ask("PATCH", kSystem, R"({"hostName":"beta"})").status, "200 OK");
    EXPECT_TRUE(Exists("/var/other.json"));
    EXPECT_FALSE(Exists(kStateFile));
    OnHost("rm /var/other.json");
}

TEST_F(ConfigService, AnswersWithTheKernelsDevice)
{
    Service service;
    ExpectJson(Ask("GET", kDevices), "200 OK", kOneDevice);
}

TEST_F(ConfigService, AnswersWithTheGivenInterface)
{
    Service service({"--interface", "lo"});
    ExpectJson(Ask("GET", kDevices), "200 OK",
               R"([{"name":"lo","activeParams":{"address":"127.0.0.1"},)"
               R"("status":{"interfaceSetupState":"Complete","connected":true}}])");
}

TEST_F(ConfigService, RefusesNewDevicesUnlessStartedWithDevices)
{
    Service service;
    ExpectError(Ask("PUT", kDevices, "[]"), "409 Conflict",
                "the network devices are the kernel's and cannot be set");
    ExpectJson(Ask("GET", kDevices), "200 OK", kOneDevice);
}

TEST_F(ConfigService, KeepsDevicesAfterARestart)
{
    {
        Service service({"--devices", kDevicesFile});
        ExpectJson(Ask("GET", kDevices), "200 OK", "[]");
        EXPECT_FALSE(Exists(kDevicesFile));
        ExpectJson(Ask("PUT", kDevices, kOtherDevice), "200 OK", kOtherDevice);
    } // killed
    Service service({"--devices", kDevicesFile});
    ExpectJson(Ask("GET", kDevices), "200 OK", kOtherDevice);
    EXPECT_EQ(FileText(kDevicesFile),
              "[\n    " + kOtherDevice.substr(1, kOtherDevice.size() - 2) + "\n]\n");
}

TEST_F(ConfigService, ChangesNothingIfTheDevicesAreInvalid)
{
    Service service({"--devices", kDevicesFile});
    EXPECT_EQ(Ask("PUT", kDevices, kOneDevice).status, "200 OK");
    const std::string stored = FileText(kDevicesFile);
    const std::string bad = "400 Bad Request";
    ExpectError(Ask("PUT", kDevices, "[}"), bad, "line 1, column 2: malformed JSON");
    ExpectError(Ask("PUT", kDevices, "{}"), bad, "must be an array");
    ExpectError(Ask("PUT", kDevices, "[{}]"), bad, "/0: name is missing");
    ExpectJson(Ask("GET", kDevices), "200 OK", kOneDevice);
    EXPECT_EQ(FileText(kDevicesFile), stored);
}

TEST_F(ConfigService, DoesNotStartWithADamagedDevicesFileAndKeepsIt)
{
    std::ofstream(kDevicesFile) << "[\n{\"name\":0}]";
    ExpectRefusalToStart({"--devices", kDevicesFile},
                         "beacon-configd: /var/lib/beacon-configd/devices.json: "
                         "/0/name: must be 1 to 63 bytes of UTF-8, without control characters "
                         "(C0, C1, DEL) and without < > & \"\n",
                         3);
    EXPECT_EQ(FileText(kDevicesFile), "[\n{\"name\":0}]");
}

TEST_F(ConfigService, AnswersUnknownPathsWith404)
{
    Service service;
    for (const char *path :
         {"/", "/api/v1/systems", "/api/v1/system/", "/api/v1", "//api/v1/system",
          "/api/v1/network", "/API/v1/system", "/api/v1/watch/"}) {
        for (const char *method : {"GET", "PATCH", "PUT"}) {
            ExpectError(Ask(method, path, "{}"), "404 Not Found", "no such path");
        }
    }
}

TEST_F(ConfigService, AnswersOtherMethodsWithTheAllowedOnes)
{
    Service service;
    const std::vector<std::pair<std::string, std::string>> allowed{
        {kSystem, "GET, PATCH"}, {kDevices, "GET, PUT"}, {"/api/v1/watch?params=24", "GET"}};
    for (const auto &[path, methods] : allowed) {
        for (const char *method : {"POST", "DELETE", "OPTIONS", "PUT", "PATCH", "get", "X"}) {
            if (methods.find(method) != std::string::npos) {
                continue;
            }
            const Answer answer = Ask(method, path, "{}");
            ExpectError(answer, "405 Method Not Allowed", "the path does not have this method");
            EXPECT_EQ(answer.Field("Allow"), methods) << method << path;
        }
        EXPECT_EQ(Ask("HEAD", path).status, "405 Method Not Allowed");
    }
}

TEST_F(ConfigService, AcceptsBodiesOfUpTo64KiB)
{
    Service service;
    std::string patch = "{\"ssdpEnable\":true";
    while (patch.size() < 65536 - 100) {
        patch += ",\"hostName\":\"beta\"";
    }
    patch += '}';
    EXPECT_EQ(Ask("PATCH", kSystem, patch + std::string(65536 - patch.size(), ' ')).status,
              "200 OK");
    const std::string fault = "the body has more than 65536 bytes";
    ExpectError(Ask("PATCH", kSystem, patch + std::string(65537 - patch.size(), ' ')),
                "413 Content Too Large", fault);
    ExpectError(Ask("PATCH", kSystem, std::string(3000000, ' ')), "413 Content Too Large", fault);
}

TEST_F(ConfigService, AcceptsABodyInChunks)
{
    Service service;
    Connection connection;
    connection.Send("PATCH /api/v1/system HTTP/1.1\r\nHost: localhost\r\n"
                    "Transfer-Encoding: chunked\r\n\r\n6\r\n{\"host\r\n");
    connection.Send("d\r\nName\":\"beta\"}\r\n0\r\n\r\n");
    EXPECT_EQ(ReadHeader(connection).status, "200 OK");
    EXPECT_EQ(FileText(kStateFile),
              "{\n    \"hostName\": \"beta\",\n    \"ssdpEnable\": true\n}\n");
}

TEST_F(ConfigService, Sends100ContinueIfTheClientExpectsIt)
{
    WriteState("{}");
    Service service;
    Connection connection;
    connection.Send("PATCH /api/v1/system HTTP/1.1\r\nHost: localhost\r\n"
                    "Expect: 100-continue\r\nContent-Length: 2\r\n\r\n");
    EXPECT_EQ(connection.ReadUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
    connection.Send("{}");
    EXPECT_EQ(ReadHeader(connection).status, "200 OK");
}

TEST_F(ConfigService, AnswersSeveralRequestsOnOneConnection)
{
    WriteState("{}");
    Service service;
    Connection connection;
    for (int i = 0; i < 3; ++i) {
        connection.Send(RequestText("GET", kSystem, ""));
        EXPECT_EQ(ReadHeader(connection).Field("Content-Length"), "2");
        EXPECT_EQ(connection.ReadBytes(2), "{}");
    }
}

TEST_F(ConfigService, AnswersPipelinedRequestsInOrder)
{
    WriteState("{}");
    Service service;
    Connection connection;
    const std::string patch = RequestText("PATCH", kSystem, R"({"hostName":"beta"})");
    connection.Send(RequestText("GET", kSystem, "") + patch + RequestText("GET", kSystem, ""));
    for (const std::string body : {"{}", R"({"hostName":"beta"})", R"({"hostName":"beta"})"}) {
        EXPECT_EQ(ReadHeader(connection).status, "200 OK");
        EXPECT_EQ(connection.ReadBytes(body.size()), body);
    }
}

TEST_F(ConfigService, ClosesTheConnectionAtTheClientsRequest)
{
    WriteState("{}");
    Service service;
    Connection connection;
    connection.Send("GET /api/v1/system HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    const Answer answer = ReadHeader(connection);
    EXPECT_EQ(answer.Field("Connection"), "close");
    EXPECT_EQ(connection.ReadUntil(""), "{}");
}

// A web page in a browser on the device cannot use the service: the page's host name is
// refused even if it resolves to 127.0.0.1 (DNS rebinding), and so is every request with
// an Origin.
TEST_F(ConfigService, RefusesOtherHostsAndWebPages)
{
    WriteState(R"({"hostName":"alpha"})");
    Service service;
    const std::string fault = "Host must be 127.0.0.1 or localhost, and Origin must be absent";
    for (const std::string fields :
         {"", "Host: evil.example:8080\r\n", "Host: localhost\r\nHost: evil.example\r\n",
          "Host: localhost:8080\r\nOrigin: http://evil.example\r\n",
          "Host: localhost:8080\r\nOrigin: null\r\n"}) {
        for (const std::string target : {"GET /api/v1/system", "PATCH /api/v1/system",
                                         "GET /api/v1/watch?params=24", "GET /nothing"}) {
            Connection connection;
            connection.Send(target + " HTTP/1.1\r\n" + fields +
                            "Content-Length: 19\r\n\r\n{\"hostName\":\"beta\"}");
            Answer answer = ReadHeader(connection);
            answer.body = connection.ReadBytes(std::stoul("0" + answer.Field("Content-Length")));
            ExpectError(answer, "403 Forbidden", fault);
        }
    }
    ExpectJson(Ask("GET", kSystem), "200 OK", R"({"hostName":"alpha"})");
}

TEST_F(ConfigService, AnswersHttpErrorsWithAnErrorObject)
{
    Service service;
    const std::string host = "Host: localhost\r\n";
    const std::vector<std::array<std::string, 3>> rows{
        {"GARBAGE\r\n\r\n", "400 Bad Request", "malformed HTTP: bad method"},
        {"GET / HTTP/1.1\r\nno colon\r\n\r\n", "400 Bad Request", "malformed HTTP: bad field"},
        {"GET / HTTP/1.1\r\nContent-Length: x\r\n\r\n", "400 Bad Request",
         "malformed HTTP: bad Content-Length"},
        {"PUT / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n", "400 Bad Request",
         "malformed HTTP: bad chunk"},
        {"GET / HTTP/3.0\r\n\r\n", "505 HTTP Version Not Supported",
         "the version of HTTP is neither 1.0 nor 1.1"},
        {"GET /" + std::string(100000, 'a'), "431 Request Header Fields Too Large",
         "the header has more than 8192 bytes"},
        {"PUT / HTTP/1.1\r\n" + host + "Content-Length: 65537\r\n\r\n" + std::string(65537, ' '),
         "413 Content Too Large", "the body has more than 65536 bytes"}};
    for (const auto &[request, status, error] : rows) {
        Connection connection;
        connection.Send(request);
        Answer answer = ReadHeader(connection);
        EXPECT_EQ(answer.Field("Connection"), "close");
        answer.body = connection.ReadUntil("");
        ExpectError(answer, status, error);
    }
}

TEST_F(ConfigService, SurvivesMalformedHttpAndClientsThatDisconnect)
{
    Service service;
    for (const std::string &text :
         {std::string("\r\n\r\n"), std::string("GARBAGE\r\n\r\n"), std::string(100000, 'a'),
          std::string("GET /api/v1/system HTTP/1.1\r\nContent-Length: -1\r\n\r\n"),
          std::string(
              "GET /api/v1/system HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n\r\n"),
          std::string("PATCH /api/v1/system HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n"),
          std::string("PATCH /api/v1/system HTTP/1.1\r\nHost: x\r\nContent-Length: 50\r\n\r\n{"),
          std::string("GET /api/v1/watch?params=24 HTTP/1.1\r\nHost: x\r\n\r\n"),
          std::string("\0\xFF\x16\x03", 4)}) {
        Connection().Send(text);
        EXPECT_EQ(Ask("GET", kSystem).status, "200 OK") << text.substr(0, 60);
    }
    EXPECT_EQ(service.Stop(), 0);
    EXPECT_EQ(service.Child().Err(), "");
}

// The service accepts more connections than these.
TEST_F(ConfigService, AnswersDespiteManyIdleConnections)
{
    Service service;
    std::list<Connection> silent;
    for (int i = 0; i < 100; ++i) {
        silent.emplace_back();
    }
    EXPECT_EQ(Ask("GET", kSystem).status, "200 OK");
}

} // namespace
} // namespace test
