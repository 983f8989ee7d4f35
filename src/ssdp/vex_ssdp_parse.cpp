#include "ssdp/output_line.h"
#include "ssdp/ssdp_headers.h"
#include "ssdp/vex_ssdp.h"

using ssdp::Method;
using ssdp::NTSKind;

// Sorts a datagram and hands it on. Each road takes the lock in one place. The
// engine's own M-SEARCH is deliberately not filtered out: it is answered like
// anybody else's.
void VEX_SSDP::ParseSSDPPacket(const char *data, std::int64_t length, const sockaddr_in &sender)
{
    const std::string_view datagram(data, static_cast<std::size_t>(length));
    switch (ssdp::ClassifyMethod(datagram)) {
    case Method::Http: {
        const VEXLockGuard hold(mLock);
        ParseHTTPResponse(datagram, sender);
        break;
    }
    case Method::Notify:
        HandleNotify(ssdp::ScanHeaders(datagram), sender);
        break;
    case Method::MSearch: {
        std::string searchTarget(ssdp::ScanHeaders(datagram).searchTarget);
        if (!searchTarget.empty()) {
            ProcessMSEARCHRequest(searchTarget, sender);
        }
        break;
    }
    case Method::Get:
        SendGETResponse(datagram, sender);
        break;
    case Method::Unknown:
        ssdp::WriteFault(
            {"ParseSSDPPacket", ": Don't know what to do with this method:\n", datagram});
        break;
    }
}

void VEX_SSDP::HandleNotify(const ssdp::SSDPHeaders &headers, const sockaddr_in &sender)
{
    const NTSHeader &header = headers.notify;
    if (header.nt.empty() || header.usn.empty() || header.location.empty()) {
        return;
    }
    const VEXLockGuard hold(mLock);
    if (IsClosing() || mRegistry.IsOwnAddress(sender.sin_addr)) {
        return;
    }
    if (headers.kind == NTSKind::Alive) {
        mRegistry.UpdateDevice(header, headers.maxAge);
    } else if (headers.kind == NTSKind::Byebye) {
        mRegistry.RemoveDevice(header);
    }
}
