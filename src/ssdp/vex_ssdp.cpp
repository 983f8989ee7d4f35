#include "ssdp/vex_ssdp.h"

#include "ssdp/output_line.h"
#include "ssdp/registry_listing.h"
#include "ssdp/usn.h"

#include <arpa/inet.h>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <net/if.h>
#include <thread>

using ssdp::WriteFault;
using ssdp::WriteProgress;

DescriptionFileNumbers &VEX_SSDP::mFileNumberContainer = *new DescriptionFileNumbers;

VEX_SSDP::VEX_SSDP()
    : mRegistry(*this),
      mResponses(ssdp::kMaxDelayedResponses, ssdp::kMaxDelayedResponseBytes, "SendGETResponse",
                 "delayed responses"),
      mRequests(ssdp::kMaxDelayedRequests, ssdp::kMaxDelayedRequestBytes, "SendGETRequest",
                "delayed requests")
{
    mMulticastDestination.sin_family = AF_INET;
    mMulticastDestination.sin_port = htons(ssdp::kPort);
    inet_pton(AF_INET, ssdp::kMulticastAddress, &mMulticastDestination.sin_addr);
    mThread.Attach([this] { SSDPThread(); });
    srandom(static_cast<unsigned int>(time(nullptr)));
    mDiagnosticThread.Attach([this] { SSDPDiagnosticThread(); });
}

// Close gives a thread up that does not end in time; it must not outlive what it
// uses.
VEX_SSDP::~VEX_SSDP()
{
    Close();
    static_cast<void>(mThread.Stop(kVEXInfinite));
    static_cast<void>(mDiagnosticThread.Stop(kVEXInfinite));
}

unsigned int VEX_SSDP::Open(const std::map<std::string, std::string> &interfaces)
{
    if (interfaces.empty()) {
        WriteFault({"Open", ": The IP Interface container is empty"});
        return 0;
    }
    if (interfaces.size() > 1) {
        WriteFault({"Open", ": The IP Interface container must have one, and only one member"});
        WriteFault({"since we do not support multihomed SSDP at this time."});
        return 0;
    }
    const VEXLockGuard holdLifecycle(mLifecycle);
    if (!mSocket.IsOpen()) {
        OpenSocket(interfaces.begin()->first, interfaces.begin()->second);
    }
    if (InterfaceCount() == 0) {
        return 0;
    }
    if (mThread.Start() != kVEXSuccess) {
        CloseHoldingLifecycle(Goodbye::Say);
        return 0;
    }
    StartDiagnostics();
    return InterfaceCount();
}

// Takes the interface once the socket is open, whether the group could be
// joined or not.
void VEX_SSDP::OpenSocket(const std::string &address, const std::string &interfaceName)
{
    if (mSocket.Open("", ssdp::kPort, VEXUDPSocket::Port::Shared) != kVEXSuccess) {
        return;
    }
    mSocket.SetReceiveBuffer(ssdp::kReceiveBuffer);
    ChooseInterface(interfaceName);
    JoinGroup(address);
    const VEXLockGuard hold(mLock);
    mRegistry.AddInterface(address, interfaceName);
}

// Sends multicast out of this interface whatever the routes say. Chosen by
// index, since by address it would fail once the address has changed, and the
// goodbyes of that change would be lost.
void VEX_SSDP::ChooseInterface(const std::string &interfaceName)
{
    ip_mreqn request{};
    request.imr_ifindex = static_cast<int>(if_nametoindex(interfaceName.c_str()));
    if (request.imr_ifindex != 0) {
        static_cast<void>(mSocket.SetSocketOption(IP_MULTICAST_IF, request));
    }
}

void VEX_SSDP::JoinGroup(const std::string &address)
{
    ip_mreq request{};
    request.imr_multiaddr = mMulticastDestination.sin_addr;
    inet_pton(AF_INET, address.c_str(), &request.imr_interface);
    for (int tries = 0; tries < ssdp::kMembershipTries; ++tries) {
        if (mSocket.SetSocketOption(IP_ADD_MEMBERSHIP, request) == kVEXSuccess) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(ssdp::kMembershipPauseMs));
    }
}

// The socket of a channel that runs already refuses to open, so that a second
// Open starts and prints nothing.
void VEX_SSDP::StartDiagnostics()
{
    if (mDiagnosticSocket.Open("", ssdp::kDiagnosticPort) != kVEXSuccess) {
        return;
    }
    if (mDiagnosticThread.Start() != kVEXSuccess) {
        mDiagnosticSocket.Close();
        WriteFault({"Open", ": The diagnostic thread failed to start"});
        return;
    }
    WriteProgress({"Open", ": The diagnostic thread has started"});
}

void VEX_SSDP::Close(Goodbye goodbye)
{
    const VEXLockGuard holdLifecycle(mLifecycle);
    CloseHoldingLifecycle(goodbye);
}

// Once the interface is gone the threads touch nothing any more (IsClosing), so
// that nothing is sent behind the goodbyes.
void VEX_SSDP::CloseHoldingLifecycle(Goodbye goodbye)
{
    {
        const VEXLockGuard hold(mLock);
        mResponses.Clear();
        mRequests.Clear();
        mRegistry.SayGoodbyes(goodbye == Goodbye::Say);
        mRegistry.ClearInterfaces();
        mRegistry.Clear();
    }
    mSocket.Shutdown(0);
    mSocket.Close();
    static_cast<void>(mThread.Stop(ssdp::kStopTimeout));
    mDiagnosticSocket.Shutdown(0);
    mDiagnosticSocket.Close();
    static_cast<void>(mDiagnosticThread.Stop(ssdp::kStopTimeout));
}

bool VEX_SSDP::IsClosing()
{
    return mRegistry.Interfaces().empty();
}

unsigned int VEX_SSDP::InterfaceCount()
{
    const VEXLockGuard hold(mLock);
    return static_cast<unsigned int>(mRegistry.Interfaces().size());
}

// A signal whose change an earlier call has taken already, because time-out and
// signal crossed, counts as no change: there is nothing to publish.
int VEX_SSDP::WaitForChange(unsigned int timeoutMs, SSDPDeviceMap &out)
{
    static_cast<void>(mChangeEvent.WaitForSignal(timeoutMs));
    mChangeEvent.Clear();
    const VEXLockGuard hold(mLock);
    return mRegistry.TakeChange(out) ? kVEXSuccess : kVEXTimedOut;
}

void VEX_SSDP::SetPath(const std::string &path)
{
    const VEXLockGuard hold(mLock);
    mPath = path + "/";
}

void VEX_SSDP::AddService(SSDPDeviceType &service)
{
    const VEXLockGuard hold(mLock);
    mRegistry.AddService(service);
}

void VEX_SSDP::RemoveService(const std::string &productName, const std::string &ipAddress,
                             std::uint16_t instance)
{
    const VEXLockGuard hold(mLock);
    mRegistry.RemoveService(ssdp::MakeUSN(productName, ipAddress, std::to_string(instance)));
}

void VEX_SSDP::RemoveService(const std::string &prefix)
{
    const VEXLockGuard hold(mLock);
    mRegistry.RemoveServicesWithPrefix(prefix);
}

void VEX_SSDP::DisplayHostElements()
{
    const VEXLockGuard hold(mLock);
    std::cout << ssdp::DisplayText(mRegistry.HostList(), "DisplayHostElements") << std::flush;
}

void VEX_SSDP::DisplayNodeElements()
{
    const VEXLockGuard hold(mLock);
    std::cout << ssdp::DisplayText(mRegistry.NodeList(), "DisplayNodeElements") << std::flush;
}
