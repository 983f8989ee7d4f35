#include "ssdp/engine_environment.h"

#include "formats/ssdp_protocol.h"
#include "ssdp/ssdp_tunables.h"
#include "vexbase/vex_text.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <utility>

namespace ssdp {

EngineEnvironment::EngineEnvironment(VEXUDPSocket &socket) : mSocket(socket)
{
    mMulticastDestination.sin_family = AF_INET;
    mMulticastDestination.sin_port = htons(formats::kPort);
    inet_pton(AF_INET, formats::kMulticastAddress, &mMulticastDestination.sin_addr);
}

void EngineEnvironment::Multicast(std::string_view datagram)
{
    mSocket.Write(datagram.data(), datagram.size(), mMulticastDestination);
}

bool EngineEnvironment::SendTo(const sockaddr_in &peer, std::string_view datagram, Urgency urgency)
{
    const int spared = urgency == Urgency::Answer ? kSparedByAnswers : kSparedByRequests;
    return mSocket.WriteSparing(datagram.data(), datagram.size(), peer, spared) != vexbase::kNoRoom;
}

std::uint32_t EngineEnvironment::Random()
{
    return static_cast<std::uint32_t>(random());
}

void EngineEnvironment::ReportFault(std::initializer_list<std::string_view> pieces)
{
    mFaults.push_back(vexbase::Concat(pieces));
}

std::vector<std::string> EngineEnvironment::TakeFaults()
{
    return std::exchange(mFaults, {});
}

} // namespace ssdp
