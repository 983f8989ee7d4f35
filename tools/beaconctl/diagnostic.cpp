#include "beaconctl/diagnostic.h"

#include "beaconctl/udp_client.h"

#include <cstring>

namespace {

constexpr const char *kThisDevice = "127.0.0.1";
constexpr std::uint16_t kPort = 49821;

// The reply of the host that was asked; others' datagrams are passed over.
std::optional<std::string> ReceiveFrom(UdpClient &client, UdpClient::Clock::time_point end,
                                       const sockaddr_in &host)
{
    sockaddr_in sender{};
    while (auto reply = client.Receive(end, sender)) {
        if (sender.sin_addr.s_addr == host.sin_addr.s_addr && sender.sin_port == host.sin_port) {
            return reply;
        }
    }
    return std::nullopt;
}

} // namespace

std::string AskedHost(const Arguments &arguments)
{
    return arguments.host.empty() ? kThisDevice : arguments.host;
}

std::string CutNotice(const Arguments &arguments)
{
    return "the listing of " + AskedHost(arguments) +
           " is cut at the size of a datagram: devices may be missing";
}

bool AskListing(const Arguments &arguments, const std::string &command, Listing &listing,
                std::string &error)
{
    const std::string host = AskedHost(arguments);
    const sockaddr_in destination = ParseAddress(host, kPort).value_or(sockaddr_in());
    UdpClient client;
    if (const int fault = client.Send(command, destination)) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): a program of one thread
        error = "cannot ask " + host + ": " + strerror(fault);
        return false;
    }
    const auto reply =
        ReceiveFrom(client, UdpClient::Clock::now() + arguments.timeout, destination);
    if (!reply) {
        error = "no answer from " + host;
        return false;
    }
    auto read = ReadListing(*reply, command == "gh" ? "HostList" : "NodeList");
    if (!read) {
        error = host + " answered with something that is no listing";
        return false;
    }
    listing = std::move(*read);
    return true;
}
