#include "beaconctl/search.h"

#include "beaconctl/standard_streams.h"
#include "beaconctl/udp_client.h"

#include <cstring>

namespace {

constexpr const char *kGroup = "239.255.255.250";
constexpr std::uint16_t kPort = 1900;
constexpr const char *kEverything = "ssdp:all";

} // namespace

ExitStatus RunSearch(const Arguments &arguments)
{
    UdpClient client;
    const auto end = UdpClient::Clock::now() + arguments.timeout;
    const std::string host = arguments.host.empty() ? kGroup : arguments.host;
    const std::string target = arguments.operand.empty() ? kEverything : arguments.operand;
    const sockaddr_in destination = ParseAddress(host, kPort).value_or(sockaddr_in());
    if (const int fault = client.Send(ComposeSearch(target), destination)) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): a program of one thread
        WriteError(std::string("cannot search: ") + strerror(fault));
        return kFailed;
    }
    ExitStatus status = kNothingFound;
    sockaddr_in sender{};
    while (const auto datagram = client.Receive(end, sender)) {
        if (auto answer = ReadSearchAnswer(*datagram)) {
            answer->address = AddressText(sender);
            if (!WriteOutput(AnswerText(*answer, arguments.json))) {
                return kFailed;
            }
            status = kFound;
        }
    }
    if (status == kNothingFound) {
        WriteError("nobody answered");
    }
    return status;
}
