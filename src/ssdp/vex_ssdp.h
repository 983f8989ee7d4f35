#pragma once

#include "ssdp/delayed_queue.h"
#include "ssdp/description_file_numbers.h"
#include "ssdp/device_registry.h"
#include "ssdp/ssdp_device_type.h"
#include "ssdp/ssdp_headers.h"
#include "ssdp/tick_clock.h"
#include "vexbase/vex_event.h"
#include "vexbase/vex_lock.h"
#include "vexbase/vex_thread.h"
#include "vexbase/vex_udp_socket.h"

#include <cstdint>
#include <map>
#include <netinet/in.h>
#include <string>
#include <string_view>

// VEX_SSDP is the SSDP engine: it announces this device's services on one
// network interface, hears its peers, fetches their description documents, and
// keeps the registry of both (UPnP Device Architecture 1.0, section 1, with the
// description exchange of get_exchange.h in place of HTTP).
//
// It owns two threads: the SSDP thread, which receives, parses, and runs the
// registry pass at every tick; and the diagnostic thread, which answers listing
// commands on UDP port 49821. One lock guards all that they share. Every public
// operation may be called from any thread; calls into the engine only queue
// work, so that what is sent is sent by the SSDP thread, but for the goodbyes of
// Close.
//
// Failures are return values; what a firmware engineer should know of them is
// one line on standard error.
class VEX_SSDP : private RegistryActions
{
public:
    using NTSHeader = ssdp::NTSHeader;

    // Whether Close takes leave of the network.
    enum class Goodbye { Say, Skip };

    // Builds a closed engine.
    VEX_SSDP();
    // Closes the engine.
    ~VEX_SSDP() override;

    // Opens the engine on one interface: dotted-quad IPv4 address to interface
    // name. Opens the sockets, joins the multicast group (which may take some
    // seconds while an address settles) and starts the threads. Returns the
    // number of interfaces held: 1, or 0 on failure. On an open engine it
    // changes nothing. Failure of the diagnostic channel is no failure.
    unsigned int Open(const std::map<std::string, std::string> &interfaces);

    // Says goodbye for every announced service, closes the sockets, stops the
    // threads, drops what waits to be sent, and empties the registry; queued
    // additions and removals stay queued. Does nothing to a closed engine.
    void Close(Goodbye goodbye = Goodbye::Say) VEX_EXCLUDES(mLock);

    // Whether the SSDP socket is open.
    [[nodiscard]] bool IsOpen() const { return mSocket.IsOpen(); }

    // Waits at most timeoutMs milliseconds for the list of known services to
    // change. Returns 0, with out replaced by a copy of it, or -3 when there was
    // no change that another caller has not taken. For one waiting thread.
    [[nodiscard]] virtual int WaitForChange(unsigned int timeoutMs, SSDPDeviceMap &out)
        VEX_EXCLUDES(mLock);

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
    // vex_ssdp.cpp
    void OpenSocket(const std::string &address, const std::string &interfaceName);
    void JoinGroup(const std::string &address);
    void ChooseInterface(const std::string &interfaceName);
    void StartDiagnostics();
    void CloseHoldingLifecycle(Goodbye goodbye) VEX_REQUIRES(mLifecycle) VEX_EXCLUDES(mLock);
    [[nodiscard]] unsigned int InterfaceCount() VEX_EXCLUDES(mLock);
    [[nodiscard]] bool IsClosing() VEX_REQUIRES(mLock);

    // vex_ssdp_receive.cpp: the SSDP thread
    void SSDPThread();
    void ProcessSSDP();
    [[nodiscard]] bool ReceiveUntilTick(ssdp::TickClock &clock, VEXDatagramBatch &batch);
    void Tick(std::uint32_t elapsed) VEX_EXCLUDES(mLock);
    void SendDue(std::list<GETMessageType> due, int sparedPercent) VEX_EXCLUDES(mLock);
    void RunRegistryPass(std::uint32_t elapsed) VEX_REQUIRES(mLock);

    // vex_ssdp_parse.cpp: the SSDP thread
    void ParseSSDPPacket(const char *data, std::int64_t length, const sockaddr_in &sender)
        VEX_EXCLUDES(mLock);
    void HandleNotify(const ssdp::SSDPHeaders &headers, const sockaddr_in &sender)
        VEX_EXCLUDES(mLock);

    // vex_ssdp_announce.cpp
    void AnnounceService(const SSDPDeviceType &service) override;
    void AnnounceGoodbye(const SSDPDeviceType &service) override;
    void Multicast(std::string_view datagram);

    // vex_ssdp_search.cpp: the SSDP thread
    void SendMSEARCHRequest(std::string_view searchTarget) VEX_REQUIRES(mLock);
    void ProcessMSEARCHRequest(std::string &searchTarget, const sockaddr_in &requester)
        VEX_EXCLUDES(mLock);
    void SendMSEARCHResponse(const SSDPDeviceType &service, const sockaddr_in &requester);

    // vex_ssdp_description.cpp
    bool GenerateDeviceDescriptionFile(const std::string &interfaceAddress,
                                       SSDPDeviceType &service) override VEX_REQUIRES(mLock);
    void ReturnFileNumber(const std::string &descriptionFileName) override;

    // vex_ssdp_exchange.cpp: the SSDP thread
    void SendGETRequest(std::string_view url) override VEX_REQUIRES(mLock);
    void SendGETResponse(std::string_view request, const sockaddr_in &sender) VEX_EXCLUDES(mLock);
    void ParseHTTPResponse(std::string_view data, const sockaddr_in &sender) VEX_REQUIRES(mLock);
    void ProcessDescriptionResponse(std::string_view text) VEX_REQUIRES(mLock);
    [[nodiscard]] std::uint32_t DrawDelay() VEX_REQUIRES(mLock);

    // vex_ssdp_diagnostic.cpp: the diagnostic thread
    void SSDPDiagnosticThread();
    void ParseSSDPDiagnosticMessages(std::string_view command, std::string &reply)
        VEX_EXCLUDES(mLock);

    // Numbers of description files in use, for the process. Never destroyed: the
    // SSDP thread may still run while the process ends.
    static DescriptionFileNumbers &mFileNumberContainer;

    // Constant after construction:
    sockaddr_in mMulticastDestination{};

    // Safe for any thread by themselves:
    VEXUDPSocket mSocket;
    VEXThread mThread;
    VEXEvent mChangeEvent{VEXEvent::Reset::Manual};
    VEXUDPSocket mDiagnosticSocket;
    VEXThread mDiagnosticThread;

    // Held by Open and Close for their whole run, so that two of them do not
    // mix; taken before mLock, never by the engine's own threads.
    VEXLock mLifecycle;

    // Guards what follows.
    VEXLock mLock;
    std::string mPath VEX_GUARDED_BY(mLock); // of description documents, ends in "/"
    std::uint32_t mPollInterval VEX_GUARDED_BY(mLock) = ssdp::kPollIntervalBase; // milliseconds
    DeviceRegistry mRegistry VEX_GUARDED_BY(mLock);
    DelayedQueue mResponses VEX_GUARDED_BY(mLock);
    DelayedQueue mRequests VEX_GUARDED_BY(mLock);
};
