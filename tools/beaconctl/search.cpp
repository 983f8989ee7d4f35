#include "beaconctl/search.h"

#include "beaconctl/udp_client.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

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
    const auto destination = ParseAddress(host, kPort);
    if (!client.IsOpen() || !destination || !client.Send(ComposeSearch(target), *destination)) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): a program of one thread
        std::cerr << "beaconctl: cannot search: " << strerror(errno) << '\n';
        return kNoAnswer;
    }
    ExitStatus status = kNothingFound;
    sockaddr_in sender{};
    while (const auto datagram = client.Receive(end, sender)) {
        if (auto answer = ReadSearchAnswer(*datagram)) {
            answer->address = AddressText(sender);
            std::cout << AnswerText(*answer, arguments.json) << std::flush;
            status = kFound;
        }
    }
    if (status == kNothingFound) {
        std::cerr << "beaconctl: nobody answered\n";
    }
    return status;
}
