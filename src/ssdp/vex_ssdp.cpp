#include "ssdp/vex_ssdp.h"

#include "formats/diagnostic_listing.h"
#include "formats/ssdp_protocol.h"
#include "ssdp/engine_environment.h"
#include "ssdp/ssdp_agent.h"
#include "ssdp/ssdp_tunables.h"
#include "vexbase/vex_output.h"

#include <arpa/inet.h>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <net/if.h>
#include <sys/socket.h>
#include <thread>

using vexbase::WriteFault;
using vexbase::WriteProgress;

namespace {

// Ends a thread that reads from a socket. Shutdown wakes it, and it then sees that it must stop.
void EndReader(VEXUDPSocket &socket, VEXThread &thread)
{
    socket.Shutdown(SHUT_RD);
    socket.Close();
    static_cast<void>(thread.Stop(ssdp::kStopTimeoutMs));
}

} // namespace

// Clang does not analyse the bodies of constructors and destructors; the attribute shows it to
// readers.
VEX_SSDP::EngineLock::EngineLock(VEX_SSDP &engine) VEX_NO_THREAD_SAFETY_ANALYSIS : mEngine(engine)
{
    static_cast<void>(mEngine.mLock.Lock());
}

VEX_SSDP::EngineLock::~EngineLock() VEX_NO_THREAD_SAFETY_ANALYSIS
{
    const std::vector<std::string> faults = mEngine.mEnvironment->TakeFaults();
    mEngine.mLock.Unlock();
    for (const std::string &fault : faults) {
        WriteFault({fault});
    }
}

VEX_SSDP::VEX_SSDP()
    : mEnvironment(std::make_unique<ssdp::EngineEnvironment>(mSocket)),
      mAgent(std::make_unique<ssdp::SSDPAgent>(*mEnvironment))
{
    mThread.Attach([this] { SSDPThread(); });
    srandom(static_cast<unsigned int>(time(nullptr)));
    mDiagnosticThread.Attach([this] { SSDPDiagnosticThread(); });
}

// Close may time out; the destructor waits until both threads have ended, since they
// use the members of this object.
VEX_SSDP::~VEX_SSDP()
{
    Close();
    static_cast<void>(mThread.Stop(vexbase::kInfinite));
    static_cast<void>(mDiagnosticThread.Stop(vexbase::kInfinite));
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
    const vexbase::LockGuard lifecycleLock(mLifecycleLock);
    if (!mSocket.IsOpen()) {
        OpenSocket(interfaces.begin()->first, interfaces.begin()->second);
    }
    if (InterfaceCount() == 0) {
        return 0;
    }
    if (mThread.Start() != vexbase::kSuccess) {
        CloseLocked(Goodbye::Say);
        return 0;
    }
    StartDiagnostics();
    return InterfaceCount();
}

// Uses the interface even if the group could not be joined: announcements and unicast
// datagrams work without the membership.
void VEX_SSDP::OpenSocket(const std::string &address, const std::string &interfaceName)
{
    if (mSocket.Open("", formats::kPort, VEXUDPSocket::Port::Shared) != vexbase::kSuccess) {
        return;
    }
    mSocket.SetReceiveBuffer(ssdp::kReceiveBufferBytes);
    ChooseInterface(interfaceName);
    JoinGroup(address);
    const in_addr netmask = mSocket.GetNetmask(address);
    const EngineLock lock(*this);
    mAgent->AddInterface(address, interfaceName, netmask);
}

// Sends multicast through this interface, independent of the routing table. Chooses it by index:
// if it were chosen by address, sending would fail after the address has changed, and the
// goodbyes that this change causes would be lost.
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
    inet_pton(AF_INET, formats::kMulticastAddress, &request.imr_multiaddr);
    inet_pton(AF_INET, address.c_str(), &request.imr_interface);
    for (int tries = 0; tries < ssdp::kMembershipTries; ++tries) {
        if (mSocket.SetSocketOption(IP_ADD_MEMBERSHIP, request) == vexbase::kSuccess) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(ssdp::kMembershipPauseMs));
    }
}

// If the diagnostic channel runs already, its socket cannot be opened again: a second Open
// starts nothing and prints nothing.
void VEX_SSDP::StartDiagnostics()
{
    if (mDiagnosticSocket.Open("", formats::kDiagnosticPort) != vexbase::kSuccess) {
        return;
    }
    if (mDiagnosticThread.Start() != vexbase::kSuccess) {
        mDiagnosticSocket.Close();
        WriteFault({"Open", ": The diagnostic thread failed to start"});
        return;
    }
    WriteProgress({"Open", ": The diagnostic thread has started"});
}

void VEX_SSDP::Close(Goodbye goodbye)
{
    const vexbase::LockGuard lifecycleLock(mLifecycleLock);
    CloseLocked(goodbye);
}

// After Leave the core ignores datagrams and ticks: nothing is sent after the goodbyes.
void VEX_SSDP::CloseLocked(Goodbye goodbye)
{
    {
        const EngineLock lock(*this);
        mAgent->Leave(goodbye == Goodbye::Say);
    }
    EndReader(mSocket, mThread);
    EndReader(mDiagnosticSocket, mDiagnosticThread);
}

unsigned int VEX_SSDP::InterfaceCount()
{
    const EngineLock lock(*this);
    return static_cast<unsigned int>(mAgent->InterfaceCount());
}

// The time-out may run out just before the signal. Then this call takes the change
// although it saw no signal, and the next call finds a signal without a change: that
// call reports a time-out.
int VEX_SSDP::WaitForChange(unsigned int timeoutMs, formats::SSDPDeviceMap &out)
{
    static_cast<void>(mChangeEvent.WaitForSignal(timeoutMs));
    mChangeEvent.Clear();
    const EngineLock lock(*this);
    return mAgent->TakeChange(out) ? vexbase::kSuccess : vexbase::kTimedOut;
}

void VEX_SSDP::SetPath(const std::string &path)
{
    const EngineLock lock(*this);
    mAgent->SetPath(path);
}

void VEX_SSDP::AddService(SSDPDeviceType &service)
{
    const EngineLock lock(*this);
    mAgent->AddService(service);
}

void VEX_SSDP::RemoveService(const std::string &productName, const std::string &ipAddress,
                             std::uint16_t instance)
{
    const EngineLock lock(*this);
    mAgent->RemoveService(productName, ipAddress, instance);
}

void VEX_SSDP::RemoveService(const std::string &prefix)
{
    const EngineLock lock(*this);
    mAgent->RemoveService(prefix);
}

void VEX_SSDP::DisplayHostElements()
{
    std::string text;
    {
        const EngineLock lock(*this);
        text = formats::DisplayText(mAgent->HostList(), "DisplayHostElements");
    }
    WriteProgress({text});
}

void VEX_SSDP::DisplayNodeElements()
{
    std::string text;
    {
        const EngineLock lock(*this);
        text = formats::DisplayText(mAgent->NodeList(), "DisplayNodeElements");
    }
    WriteProgress({text});
}
