#pragma once

#include "ssdp/ssdp_environment.h"
#include "ssdp/web_root_files.h"
#include "vexbase/vex_udp_socket.h"

#include <netinet/in.h>
#include <string>
#include <vector>

namespace ssdp {

// EngineEnvironment implements the core's environment with the engine's socket,
// random() and the web root. It keeps the core's lines until the engine has released
// its lock. The engine lock guards it, except for Files().
class EngineEnvironment final : public SSDPEnvironment
{
public:
    // REQUIRES: the socket outlives this.
    explicit EngineEnvironment(VEXUDPSocket &socket);

    void Multicast(std::string_view datagram) override;
    [[nodiscard]] bool SendTo(const sockaddr_in &peer, std::string_view datagram,
                              Urgency urgency) override;
    [[nodiscard]] std::uint32_t Random() override;
    void ReportFault(std::initializer_list<std::string_view> pieces) override;
    [[nodiscard]] DescriptionFiles &Files() override { return mFiles; }

    // Returns the lines that were kept since the last call, and forgets them.
    [[nodiscard]] std::vector<std::string> TakeFaults();

private:
    VEXUDPSocket &mSocket;
    sockaddr_in mMulticastDestination{}; // constant after construction
    std::vector<std::string> mFaults;
    WebRootFiles mFiles; // thread-safe
};

} // namespace ssdp
