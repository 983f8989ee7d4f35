#include "ssdp/ssdp_messages.h"
#include "ssdp/vex_ssdp.h"

// Announcements: each call is one datagram; repetition comes only from the
// registry's schedule. A datagram that cannot be sent is lost, as any may be.

void VEX_SSDP::AnnounceService(const SSDPDeviceType &service)
{
    Multicast(ssdp::ComposeAlive(service));
}

void VEX_SSDP::AnnounceGoodbye(const SSDPDeviceType &service)
{
    Multicast(ssdp::ComposeGoodbye(service));
}

void VEX_SSDP::Multicast(std::string_view datagram)
{
    mSocket.Write(datagram.data(), datagram.size(), mMulticastDestination);
}
