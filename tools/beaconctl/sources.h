#pragma once

#include "beaconctl/arguments.h"
#include "beaconctl/entries.h"
#include "formats/diagnostic_listing.h"
#include "vexbase/vex_udp_socket.h"

#include <chrono>
#include <netinet/in.h>
#include <optional>
#include <string>
#include <string_view>

// Where beaconctl reads from: devices and files.
namespace beaconctl {

// One question by UDP and the answers to it. Every wait has an end.
class Question
{
public:
    using Clock = std::chrono::steady_clock;

    // Sends a datagram from a free port. Multicast leaves through the interface "net0"
    // if there is one, since a device need not have a default route. Returns 0, or the
    // system's error number. REQUIRES: called once.
    [[nodiscard]] int Send(const std::string &datagram, const sockaddr_in &destination);

    // The next datagram, which may be empty, and its sender; nothing if none came
    // before the end. REQUIRES: Send succeeded.
    [[nodiscard]] std::optional<std::string> Receive(Clock::time_point end, sockaddr_in &sender);

private:
    VEXUDPSocket mSocket;
};

// The beginning of the error if nothing answers.
constexpr std::string_view kNoAnswer = "no answer from ";

// The socket address of a dotted quad; nothing for any other text.
[[nodiscard]] std::optional<sockaddr_in> ParseAddress(const std::string &address,
                                                      std::uint16_t port);

// The dotted quad of an address.
[[nodiscard]] std::string AddressText(const in_addr &address);

// The address of the device that the arguments name.
[[nodiscard]] std::string AskedHost(const Arguments &arguments);

// Asks a device's diagnostic port for a listing. False if the question cannot be sent, if the
// answer is invalid, or if there is none in time (error then begins with kNoAnswer).
[[nodiscard]] bool AskListing(const Arguments &arguments, const formats::ListingKind &kind,
                              Listing &listing, std::string &error);

// Reads a browse list from a file. False if the file cannot be read, is larger than 16 MiB (no
// list of the daemon is), or is not a browse list.
[[nodiscard]] bool ReadBrowseFile(const std::string &path, Entries &entries, std::string &error);

// Reads a browse list in the same way, as JSON with its members as they are
// (formats::CopyBrowseDocument).
[[nodiscard]] bool CopyBrowseFile(const std::string &path, std::string &json, std::string &error);

} // namespace beaconctl
