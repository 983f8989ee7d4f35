#include "ssdp/search_target.h"
#include "ssdp/ssdp_messages.h"
#include "ssdp/vex_ssdp.h"

// Searching and answering searches.

// Under the lock, so that no search leaves behind the goodbyes of Close.
void VEX_SSDP::SendMSEARCHRequest(std::string_view searchTarget)
{
    if (!IsClosing()) {
        Multicast(ssdp::ComposeSearchRequest(searchTarget));
    }
}

// Answers at once, whatever delay (MX) the request allowed; one datagram for
// each service that matches.
void VEX_SSDP::ProcessMSEARCHRequest(std::string &searchTarget, const sockaddr_in &requester)
{
    const VEXLockGuard hold(mLock);
    ssdp::MatchSearchTarget(mRegistry.HostList(), searchTarget, [&](const SSDPDeviceType &service) {
        SendMSEARCHResponse(service, requester);
    });
}

void VEX_SSDP::SendMSEARCHResponse(const SSDPDeviceType &service, const sockaddr_in &requester)
{
    const std::string response = ssdp::ComposeSearchResponse(service);
    mSocket.WriteSparing(response.data(), response.size(), requester, ssdp::kSparedByAnswers);
}
