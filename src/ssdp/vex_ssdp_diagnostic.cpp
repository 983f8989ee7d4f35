#include "ssdp/output_line.h"
#include "ssdp/registry_listing.h"
#include "ssdp/vex_ssdp.h"

#include <array>

// The diagnostic channel: a command of two bytes is answered with a listing of
// a registry, in one datagram.

void VEX_SSDP::SSDPDiagnosticThread()
{
    std::array<char, ssdp::kReceiveSize> buffer{};
    while (!mDiagnosticThread.Terminate()) {
        sockaddr_in sender{};
        const std::size_t length = mDiagnosticSocket.Read(buffer.data(), buffer.size() - 1, sender);
        if (length == 0) {
            continue;
        }
        std::string reply = "Invalid operation\n";
        if (length == 2) {
            ParseSSDPDiagnosticMessages({buffer.data(), length}, reply);
        }
        mDiagnosticSocket.Write(reply.data(), reply.size(), sender);
    }
    ssdp::WriteProgress({"SSDPDiagnosticThread", ": Exiting..."});
}

void VEX_SSDP::ParseSSDPDiagnosticMessages(std::string_view command, std::string &reply)
{
    const VEXLockGuard hold(mLock);
    if (!ssdp::AnswerCommand(command, mRegistry.HostList(), mRegistry.NodeList(), reply)) {
        ssdp::WriteFault({"ParseSSDPDiagnosticMessages", ": No such command as ", command});
    }
}
