#include "beaconctl/status_finders.h"

#include "wsconfig/http_response_reader.h"
#include "wsconfig/oai_models.h"
#include "wsconfig/stream_socket.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <utility>

namespace beaconctl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char *kAddress = "127.0.0.1";
constexpr int kPort = 8080;
// Longer than every answer of the service.
constexpr std::size_t kLongestBody = std::size_t{1} << 20;

std::string SystemError(int number)
{
    return strerror(number); // NOLINT(concurrency-mt-unsafe): a program of one thread
}

bool WaitFor(const wsconfig::StreamSocket &socket, short events, Clock::time_point end)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd descriptor{socket.descriptor(), events, 0};
    return poll(&descriptor, 1, static_cast<int>(std::max<decltype(left)>(left, 0))) == 1;
}

// Connects and sends the request. Returns the fault, or an empty text.
std::string SendRequest(wsconfig::StreamSocket &socket, const std::string &path,
                        Clock::time_point end)
{
    int fault = socket.startConnecting(QString::fromLatin1(kAddress), kPort);
    if (fault == 0 && !WaitFor(socket, POLLOUT, end)) {
        return "no answer";
    }
    fault = fault != 0 ? fault : socket.connectError();
    if (fault == 0) {
        fault = socket.send(QByteArray::fromStdString(
            "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n"));
    }
    return fault == 0 ? "" : SystemError(fault);
}

// Gets a resource. Returns the fault, or an empty text.
std::string Get(const std::string &path, Clock::time_point end, std::string &body)
{
    wsconfig::StreamSocket socket;
    if (std::string fault = SendRequest(socket, path, end); !fault.empty()) {
        return fault;
    }
    wsconfig::HttpResponseReader reader;
    std::array<char, 4096> piece{};
    while (!reader.done()) {
        if (!WaitFor(socket, POLLIN, end)) {
            return "no answer";
        }
        const ssize_t length = socket.receive(piece.data(), piece.size());
        if (length < 0 && errno != EAGAIN) {
            return SystemError(errno);
        }
        if (length == 0 || body.size() > kLongestBody ||
            (length > 0 && !reader.feed({piece.data(), static_cast<std::size_t>(length)}, body))) {
            break;
        }
    }
    // A body without a length ends with the connection.
    if (!reader.headerDone() || !reader.error().empty()) {
        return "not an HTTP answer";
    }
    return reader.status() == 200 ? "" : "status " + std::to_string(reader.status());
}

} // namespace

bool ReadSystem(const std::string &json, Configuration &configuration)
{
    if (!QJsonDocument::fromJson(QByteArray::fromStdString(json)).isObject()) {
        return false;
    }
    const OpenAPI::OAISystemConfig system(QString::fromStdString(json));
    if (system.is_host_name_Set()) {
        configuration.hostName = system.getHostName().toStdString();
    }
    if (system.is_ssdp_enable_Set()) {
        configuration.ssdpEnable = system.isSsdpEnable();
    }
    return true;
}

bool ReadDevices(const std::string &json, Configuration &configuration)
{
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(json));
    if (!document.isArray()) {
        return false;
    }
    const OpenAPI::OAINetStatus status =
        OpenAPI::OAINetDevice(document.array().at(0).toObject()).getStatus();
    if (status.is_interface_setup_state_Set()) {
        configuration.setupState = status.getInterfaceSetupState().asJson().toStdString();
    }
    if (status.is_connected_Set()) {
        configuration.connected = status.isConnected();
    }
    return true;
}

Configuration AskConfiguration(std::chrono::milliseconds timeout)
{
    Configuration configuration;
    const Clock::time_point end = Clock::now() + timeout;
    std::string system;
    std::string devices;
    std::string fault = Get("/api/v1/system", end, system);
    if (fault.empty()) {
        fault = Get("/api/v1/network/devices", end, devices);
    }
    if (fault.empty() &&
        !(ReadSystem(system, configuration) && ReadDevices(devices, configuration))) {
        fault = "the answer is not the device's configuration";
    }
    configuration.error = std::move(fault);
    return configuration;
}

} // namespace beaconctl
