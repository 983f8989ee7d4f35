#pragma once

#include "formats/ssdp_device_type.h"
#include "vexbase/vex_event.h"
#include "vexbase/vex_lock.h"
#include "vexbase/vex_thread.h"
#include "vexbase/vex_udp_socket.h"

#include <cstdint>
#include <map>
#include <memory>
#include <netinet/in.h>
#include <string>
#include <string_view>

namespace formats {
struct NTSHeader;
}
namespace ssdp {
class EngineEnvironment;
class SSDPAgent;
class TickClock;
} // namespace ssdp

// VEX_SSDP is the SSDP engine: it announces this device's services on one
// network interface, discovers its peers, fetches their description documents, and
// keeps the registry of both. What it says and does is the protocol core's
// business (ssdp_agent.h); this class is the shell around it: sockets, threads,
// the lock, the clock.
//
// It owns two threads: the SSDP thread, which receives, and runs the core at every
// datagram and tick; and the diagnostic thread, which answers listing commands on
// UDP port 49821. One lock guards the core. Every public operation may be called
// from any thread; calls into the engine only queue work for the SSDP thread,
// which sends, but for the goodbyes of Close.
//
// Failures are return values; those that a firmware engineer should know are
// also one line on standard error, written without the lock.
class VEX_SSDP
{
public:
    using NTSHeader = formats::NTSHeader;

    // Whether Close takes leave of the network.
    enum class Goodbye { Say, Skip };

    // Builds a closed engine.
    VEX_SSDP();
    VEX_SSDP(const VEX_SSDP &) = delete;
    VEX_SSDP &operator=(const VEX_SSDP &) = delete;
    // Closes the engine, and waits until both threads have ended.
    ~VEX_SSDP();

    // Opens the engine on one interface: dotted-quad IPv4 address to interface
    // name. Opens the sockets, joins the multicast group (which may take some
    // seconds while an address settles) and starts the threads. Returns the
    // number of interfaces held: 1, or 0 on failure. On an open engine it
    // changes nothing. Failure of the diagnostic channel is no failure.
    unsigned int Open(const std::map<std::string, std::string> &interfaces) VEX_EXCLUDES(mLock);

    // Says goodbye for every announced service, closes the sockets, stops the
    // threads, and forgets everything: registry, queued additions and removals,
    // datagrams that wait to be sent. Only queued changes are forgotten when the
    // engine is closed already. Waits at most 4250 ms for each thread.
    void Close(Goodbye goodbye = Goodbye::Say) VEX_EXCLUDES(mLock);

    // Whether the SSDP socket is open.
    [[nodiscard]] bool IsOpen() const { return mSocket.IsOpen(); }

    // Waits at most timeoutMs milliseconds for the list of known services to
    // change. Returns 0, with out replaced by a copy of it, or -3 when there was
    // no change that another caller has not taken. For one waiting thread.
    [[nodiscard]] int WaitForChange(unsigned int timeoutMs, SSDPDeviceMap &out) VEX_EXCLUDES(mLock);

    // Sets the directory of description documents, given without a slash at its
    // end; it must lie under the web root, from which documents are served.
    void SetPath(const std::string &path) VEX_EXCLUDES(mLock);

    // Queues a service for announcement at the next pass. Sets the record's USN
    // from its product name, address and instance, and its timer's period to 0.
    // A service queued already is overwritten.
    void AddService(SSDPDeviceType &service) VEX_EXCLUDES(mLock);

    // Queues an announced service for its goodbye at the next pass, and drops a
    // queued addition of it. Nothing is sent for a service never announced.
    void RemoveService(const std::string &productName, const std::string &ipAddress,
                       std::uint16_t instance = 0) VEX_EXCLUDES(mLock);

    // The same for all services whose USN contains prefix and "-".
    void RemoveService(const std::string &prefix) VEX_EXCLUDES(mLock);

    // Print the announced services, or all known ones, to standard output.
    void DisplayHostElements() VEX_EXCLUDES(mLock);
    void DisplayNodeElements() VEX_EXCLUDES(mLock);

private:
    // Holds the lock for the length of a scope, and writes the core's lines after
    // it has released the lock.
    class VEX_SCOPED_CAPABILITY Hold
    {
    public:
        explicit Hold(VEX_SSDP &engine) VEX_ACQUIRE(engine.mLock);
        ~Hold() VEX_RELEASE();
        Hold(const Hold &) = delete;
        Hold &operator=(const Hold &) = delete;

    private:
        VEX_SSDP &mEngine;
    };

    // vex_ssdp.cpp
    void OpenSocket(const std::string &address, const std::string &interfaceName)
        VEX_EXCLUDES(mLock);
    void JoinGroup(const std::string &address);
    void ChooseInterface(const std::string &interfaceName);
    void StartDiagnostics();
    void CloseHoldingLifecycle(Goodbye goodbye) VEX_REQUIRES(mLifecycleLock) VEX_EXCLUDES(mLock);
    [[nodiscard]] unsigned int InterfaceCount() VEX_EXCLUDES(mLock);

    // vex_ssdp_threads.cpp: the SSDP thread
    void SSDPThread() VEX_EXCLUDES(mLock);
    void ProcessSSDP() VEX_EXCLUDES(mLock);
    [[nodiscard]] std::uint32_t StartAgent() VEX_EXCLUDES(mLock);
    [[nodiscard]] bool ReceiveUntilTick(ssdp::TickClock &clock, std::uint32_t intervalMs,
                                        vexbase::DatagramBatch &batch) VEX_EXCLUDES(mLock);
    void ParseSSDPPacket(std::string_view datagram, const sockaddr_in &sender, std::uint32_t nowMs)
        VEX_EXCLUDES(mLock);
    void Tick(std::uint32_t elapsedMs) VEX_EXCLUDES(mLock);
    [[nodiscard]] bool SendDue() VEX_EXCLUDES(mLock);
    void SignalChange() VEX_REQUIRES(mLock);

    // vex_ssdp_threads.cpp: the diagnostic thread
    void SSDPDiagnosticThread() VEX_EXCLUDES(mLock);
    void AnswerDiagnostics() VEX_EXCLUDES(mLock);

    // Safe for any thread by themselves:
    VEXUDPSocket mSocket;
    VEXThread mThread;
    VEXEvent mChangeEvent{VEXEvent::Reset::Manual};
    VEXUDPSocket mDiagnosticSocket;
    VEXThread mDiagnosticThread;

    // Held by Open and Close for their whole run, so that two of them do not
    // mix; taken before mLock, never by the engine's own threads.
    VEXLock mLifecycleLock;

    // The engine lock: guards the core and what the core asks for.
    VEXLock mLock;
    std::unique_ptr<ssdp::EngineEnvironment> mEnvironment VEX_PT_GUARDED_BY(mLock);
    std::unique_ptr<ssdp::SSDPAgent> mAgent VEX_PT_GUARDED_BY(mLock);
};
