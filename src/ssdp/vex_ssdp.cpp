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
#include <thread>

using vexbase::WriteFault;
using vexbase::WriteProgress;

// The analysis does not follow a lock that is taken by one function of an object
// and released by another.
VEX_SSDP::Hold::Hold(VEX_SSDP &engine) VEX_NO_THREAD_SAFETY_ANALYSIS : mEngine(engine)
{
    static_cast<void>(mEngine.mLock.Lock());
}

VEX_SSDP::Hold::~Hold() VEX_NO_THREAD_SAFETY_ANALYSIS
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

// Close may time out; the threads must not outlive what they use.
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
    const vexbase::LockGuard holdLifecycle(mLifecycleLock);
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
    if (mSocket.Open("", formats::kPort, VEXUDPSocket::Port::Shared) != kVEXSuccess) {
        return;
    }
    mSocket.SetReceiveBuffer(ssdp::kReceiveBufferBytes);
    ChooseInterface(interfaceName);
    JoinGroup(address);
    const in_addr netmask = mSocket.GetNetmask(address);
    const Hold hold(*this);
    mAgent->AddInterface(address, interfaceName, netmask);
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
    inet_pton(AF_INET, formats::kMulticastAddress, &request.imr_multiaddr);
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
    if (mDiagnosticSocket.Open("", formats::kDiagnosticPort) != kVEXSuccess) {
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
    const vexbase::LockGuard holdLifecycle(mLifecycleLock);
    CloseHoldingLifecycle(goodbye);
}

// Once the core has left it ignores datagrams and ticks: nothing is sent after
// the goodbyes.
void VEX_SSDP::CloseHoldingLifecycle(Goodbye goodbye)
{
    {
        const Hold hold(*this);
        mAgent->Leave(goodbye == Goodbye::Say);
    }
    mSocket.Shutdown(0);
    mSocket.Close();
    static_cast<void>(mThread.Stop(ssdp::kStopTimeoutMs));
    mDiagnosticSocket.Shutdown(0);
    mDiagnosticSocket.Close();
    static_cast<void>(mDiagnosticThread.Stop(ssdp::kStopTimeoutMs));
}

unsigned int VEX_SSDP::InterfaceCount()
{
    const Hold hold(*this);
    return static_cast<unsigned int>(mAgent->InterfaceCount());
}

// A signal whose change an earlier call has taken already, because time-out and
// signal crossed, counts as no change: there is nothing to publish.
int VEX_SSDP::WaitForChange(unsigned int timeoutMs, SSDPDeviceMap &out)
{
    static_cast<void>(mChangeEvent.WaitForSignal(timeoutMs));
    mChangeEvent.Clear();
    const Hold hold(*this);
    return mAgent->TakeChange(out) ? kVEXSuccess : kVEXTimedOut;
}

void VEX_SSDP::SetPath(const std::string &path)
{
    const Hold hold(*this);
    mAgent->SetPath(path);
}

void VEX_SSDP::AddService(SSDPDeviceType &service)
{
    const Hold hold(*this);
    mAgent->AddService(service);
}

void VEX_SSDP::RemoveService(const std::string &productName, const std::string &ipAddress,
                             std::uint16_t instance)
{
    const Hold hold(*this);
    mAgent->RemoveService(productName, ipAddress, instance);
}

void VEX_SSDP::RemoveService(const std::string &prefix)
{
    const Hold hold(*this);
    mAgent->RemoveService(prefix);
}

void VEX_SSDP::DisplayHostElements()
{
    std::string text;
    {
        const Hold hold(*this);
        text = formats::DisplayText(mAgent->HostList(), "DisplayHostElements");
    }
    WriteProgress({text});
}

void VEX_SSDP::DisplayNodeElements()
{
    std::string text;
    {
        const Hold hold(*this);
        text = formats::DisplayText(mAgent->NodeList(), "DisplayNodeElements");
    }
    WriteProgress({text});
}
