#pragma once

#include "beaconctl/status_observations.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Collects the observations of `beaconctl status`, except processes. Not thread-safe. The Read…
// and Compose… functions are pure, and their input may be any bytes. A member whose value is
// not known is not set.
namespace beaconctl {

// status_service.cpp: the answers of the configuration service.

// Reads the service's answers into the observations, like the daemon reads them: a member
// that is missing or has another type is not set. False, with the members unchanged, if the
// answer is not JSON of the right kind.
[[nodiscard]] bool ReadSystem(const std::string &json, Configuration &configuration);
[[nodiscard]] bool ReadDevices(const std::string &json, Configuration &configuration);

// Asks the service at 127.0.0.1:8080 and waits at most the time-out for all answers.
[[nodiscard]] Configuration AskConfiguration(std::chrono::milliseconds timeout);

// status_sockets.cpp: the network interface and the UDP sockets.

// The sockets in the text of /proc/net/udp that are bound to a port and to no multicast
// group. Lines of another form, such as the heading, are skipped.
[[nodiscard]] std::vector<UdpSocket> ReadUdpTable(std::string_view table, std::uint16_t port);

// The receive buffer of a UDP socket in bytes, with the kernel's overhead; nothing if the
// kernel does not report it (it may be built without INET_UDP_DIAG).
[[nodiscard]] std::optional<std::uint32_t> ReceiveBufferOf(const UdpSocket &socket);

[[nodiscard]] Interface FindInterface(const std::string &name);

// status_dnssd.cpp: avahi-daemon, asked as any machine on the network asks it, by multicast
// DNS. Unlike the D-Bus interface, this needs no rights and no library, and does not wait
// longer than its time-out.

// The query for the services of the type _http._tcp (RFC 6762, 5.1).
[[nodiscard]] std::string ComposeServiceQuery();

// The names of those services in a response that have the TXT strings of beacond; none if the
// datagram is not a DNS message.
[[nodiscard]] std::vector<std::string> ReadServiceNames(std::string_view response);

// Asks for services, and returns the names in the answer of this device, which has the given
// address. Waits at most the time-out.
[[nodiscard]] std::vector<std::string> AskServices(const std::string &address,
                                                   std::chrono::milliseconds timeout);

// status_files.cpp: the files that the daemon writes, and the installed packages.

// The folder of the description documents, and the one of the browse list.
[[nodiscard]] Folder FindDocuments();
[[nodiscard]] Folder FindLists();

// Reads the browse list. Sets isCurrent if the list can be read and `known` is a whole listing.
[[nodiscard]] BrowseList FindBrowseList(const std::optional<Listing> &known);

// The installed packages in lines of dpkg-query with their status, name and version.
[[nodiscard]] std::vector<Package> ReadPackages(std::string_view answer);

// The installed packages of beacond, and avahi-daemon; none without dpkg.
[[nodiscard]] std::vector<Package> FindPackages();

} // namespace beaconctl
