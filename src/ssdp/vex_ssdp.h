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

// VEX_SSDP is the SSDP engine: it announces this device's services on one network
// interface, discovers peers, requests their description documents, and keeps a
// registry of all services. The protocol core (ssdp_agent.h) implements the protocol. This
// class is the shell around it: sockets, threads, the lock, the clock.
//
// It owns two threads. The SSDP thread receives, and runs the core at every datagram
// and tick. The diagnostic thread answers listing commands on UDP port 49821. One lock
// guards the core. Every public operation may be called from any thread. AddService and
// RemoveService only queue work for the SSDP thread; Close sends the goodbyes itself.
//
// Failures in this folder: an operation that can fail says so by its result (false, an
// empty optional, 0 or a status of vexbase/vex_status.h). Nothing throws, except for lack
// of memory. A fault that the user can repair is reported once, where it is found, as
// one line for standard error: the core calls SSDPEnvironment::ReportFault, and the
// shell writes the line after it has released the lock. Datagrams may be lost without
// a line, as on any network.
class VEX_SSDP
{
public:
    using NTSHeader = formats::NTSHeader;

    // Whether Close sends goodbyes.
    enum class Goodbye { Say, Skip };

    // The engine is closed at first.
    VEX_SSDP();
    VEX_SSDP(const VEX_SSDP &) = delete;
    VEX_SSDP &operator=(const VEX_SSDP &) = delete;
    // Closes the engine, and waits until both threads have ended.
    ~VEX_SSDP();

    // Opens the engine on one interface, given as dotted-quad IPv4 address and
    // interface name. Opens the sockets, joins the multicast group (up to 2.5 seconds if
    // the address is not assigned yet) and starts the threads. Returns the number of
    // open interfaces: 1, or 0 on failure. An open engine stays as it is. The
    // diagnostic channel may fail: discovery works without it.
    unsigned int Open(const std::map<std::string, std::string> &interfaces) VEX_EXCLUDES(mLock);

    // Sends a goodbye for every announced service, closes the sockets, stops the
    // threads, and empties the registry and all queues. On a closed engine it only
    // drops queued additions and removals. Waits at most 4250 ms for each thread.
    void Close(Goodbye goodbye = Goodbye::Say) VEX_EXCLUDES(mLock);

    // Whether the SSDP socket is open.
    [[nodiscard]] bool IsOpen() const { return mSocket.IsOpen(); }

    // Waits at most timeoutMs milliseconds for a change of the known services. Returns
    // 0 and replaces out by a copy of them, or returns -3 and leaves out unchanged. Each
    // change is returned once. Only one thread may wait.
    [[nodiscard]] int WaitForChange(unsigned int timeoutMs, formats::SSDPDeviceMap &out)
        VEX_EXCLUDES(mLock);

    // Sets the directory of description documents, without a slash at its end. It must
    // be the web root (formats::kWebRoot), from which documents are served.
    void SetPath(const std::string &path) VEX_EXCLUDES(mLock);

    // Queues a service for the next pass, which begins to announce it if it is at this
    // device's address. Services of other devices only become known, except those that can
    // be proxied (DeviceRegistry). Sets the record's USN from its product name, address and
    // instance, and its period to 0. Replaces a queued service of the same USN.
    void AddService(SSDPDeviceType &service) VEX_EXCLUDES(mLock);

    // Queues an announced service for its goodbye at the next pass, and drops a queued
    // addition of it. A service that is not announced gets no goodbye.
    void RemoveService(const std::string &productName, const std::string &ipAddress,
                       std::uint16_t instance = 0) VEX_EXCLUDES(mLock);

    // The same for all services whose USN contains prefix, followed by "-".
    void RemoveService(const std::string &prefix) VEX_EXCLUDES(mLock);

    // Print the announced services, or all known ones, to standard output.
    void DisplayHostElements() VEX_EXCLUDES(mLock);
    void DisplayNodeElements() VEX_EXCLUDES(mLock);

private:
    // Holds the engine lock for a scope. At the scope's end it releases the lock, then
    // writes the core's lines.
    class VEX_SCOPED_CAPABILITY EngineLock
    {
    public:
        explicit EngineLock(VEX_SSDP &engine) VEX_ACQUIRE(engine.mLock);
        ~EngineLock() VEX_RELEASE();
        EngineLock(const EngineLock &) = delete;
        EngineLock &operator=(const EngineLock &) = delete;

    private:
        VEX_SSDP &mEngine;
    };

    // vex_ssdp.cpp
    void OpenSocket(const std::string &address, const std::string &interfaceName)
        VEX_EXCLUDES(mLock);
    void JoinGroup(const std::string &address);
    void ChooseInterface(const std::string &interfaceName);
    void StartDiagnostics();
    void CloseLocked(Goodbye goodbye) VEX_REQUIRES(mLifecycleLock) VEX_EXCLUDES(mLock);
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

    // Thread-safe:
    VEXUDPSocket mSocket;
    VEXThread mThread;
    VEXEvent mChangeEvent{VEXEvent::Reset::Manual};
    VEXUDPSocket mDiagnosticSocket;
    VEXThread mDiagnosticThread;

    // Open and Close hold this lock from beginning to end: they never run at the same time.
    // It is taken before mLock. The engine's threads never take it, so Close may wait
    // for them.
    VEXLock mLifecycleLock;

    // The engine lock. It guards the core and its environment.
    VEXLock mLock;
    std::unique_ptr<ssdp::EngineEnvironment> mEnvironment VEX_PT_GUARDED_BY(mLock);
    std::unique_ptr<ssdp::SSDPAgent> mAgent VEX_PT_GUARDED_BY(mLock);
};
