#include "beaconctl/status_observer.h"

#include "beaconctl/sources.h"
#include "beaconctl/status_finders.h"
#include "beaconctl/status_processes.h"
#include "formats/ssdp_protocol.h"

#include <algorithm>
#include <thread>

namespace beaconctl {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char *kInterface = "net0";
// A registry pass comes within 5.75 s, and a list within 5.5 s after the one before.
constexpr std::chrono::seconds kSettlingTime{15};
// A daemon that starts or takes another name usually answers within a second.
constexpr std::chrono::seconds kOpeningTime{3};
constexpr std::chrono::milliseconds kPause{500};

std::optional<Listing> Ask(const formats::ListingKind &kind, std::chrono::milliseconds timeout,
                           std::string &error)
{
    Arguments arguments;
    arguments.timeout = timeout;
    Listing listing;
    return AskListing(arguments, kind, listing, error) ? std::optional(listing) : std::nullopt;
}

Engine AskEngine(std::chrono::milliseconds timeout)
{
    Engine engine;
    engine.announced = Ask(formats::kHostListing, timeout, engine.error);
    if (engine.announced) {
        engine.known = Ask(formats::kNodeListing, timeout, engine.error);
    }
    return engine;
}

// Asks repeatedly while the daemon may be about to answer.
Engine AskOpeningEngine(std::chrono::milliseconds timeout, const Observations &seen)
{
    const bool mayOpen = !seen.daemons.empty() && seen.interface.addresses.size() == 1;
    const Clock::time_point end = Clock::now() + kOpeningTime;
    Engine engine = AskEngine(timeout);
    while (!engine.announced && mayOpen && Clock::now() < end) {
        std::this_thread::sleep_for(kPause);
        engine = AskEngine(timeout);
    }
    return engine;
}

std::vector<UdpSocket> FindSockets(const std::vector<Process> &daemons)
{
    auto sockets = ReadUdpTable(ReadText("/proc/net/udp").value_or(""), formats::kPort);
    for (UdpSocket &socket : sockets) {
        socket.ofDaemon =
            std::any_of(daemons.begin(), daemons.end(),
                        [&socket](const Process &daemon) { return HasSocket(daemon, socket); });
    }
    return sockets;
}

// The smallest buffer of the daemons' SSDP sockets.
std::optional<std::uint32_t> FindReceiveBuffer(const std::vector<UdpSocket> &sockets)
{
    std::optional<std::uint32_t> smallest;
    for (const UdpSocket &socket : sockets) {
        const auto size = socket.ofDaemon ? ReceiveBufferOf(socket) : std::nullopt;
        if (size && (!smallest || *size < *smallest)) {
            smallest = size;
        }
    }
    return smallest;
}

bool CanBeWritten(const Folder &folder)
{
    return folder.state.error == 0 && !folder.isReadOnly && !folder.isFull;
}

// Whether a daemon that works may come to another state by itself within a short time.
bool MaySettle(const Observations &seen)
{
    const bool unannounced = seen.engine.announced && seen.engine.announced->entries.empty() &&
                             seen.configuration.ssdpEnable == true;
    return seen.engine.known && CanBeWritten(seen.documents) && CanBeWritten(seen.lists) &&
           (unannounced || seen.browseList.isMissing || seen.browseList.isCurrent == false);
}

// A list that is written meanwhile is up to date, even if it never equals a listing because
// devices come and go all the time. Therefore isCurrent is not set for it.
void ObserveUntilSettled(std::chrono::milliseconds timeout, Observations &seen)
{
    const std::time_t written = seen.browseList.written;
    const Clock::time_point end = Clock::now() + kSettlingTime;
    while (MaySettle(seen) && Clock::now() < end) {
        std::this_thread::sleep_for(kPause);
        seen.engine = AskEngine(timeout);
        seen.browseList = FindBrowseList(seen.engine.known);
        if (seen.browseList.written != written) {
            seen.browseList.isCurrent.reset();
        }
    }
}

} // namespace

Observations Observe(std::chrono::milliseconds timeout)
{
    Observations seen;
    seen.version = BEACOND_VERSION;
    seen.seesProcesses = SeesProcesses();
    seen.daemons = FindProcesses("beacond");
    if (!seen.daemons.empty()) {
        seen.daemonRights = seen.daemons.front().rights;
        seen.product = FindProductID(seen.daemons.front());
    } else {
        seen.daemonRights = RightsOfDaemonUser();
    }
    seen.interface = FindInterface(kInterface);
    seen.engine = AskOpeningEngine(timeout, seen);
    seen.sockets = FindSockets(seen.daemons);
    seen.receiveBuffer = FindReceiveBuffer(seen.sockets);
    seen.configuration = AskConfiguration(timeout);
    seen.documents = FindDocuments();
    seen.lists = FindLists();
    seen.browseList = FindBrowseList(seen.engine.known);
    ObserveUntilSettled(timeout, seen);
    seen.dnssd.avahiRuns = !FindProcesses("avahi-daemon").empty();
    seen.dnssd.asked = !seen.interface.addresses.empty();
    if (seen.dnssd.asked) {
        seen.dnssd.services = AskServices(seen.interface.addresses.front(), timeout);
    }
    seen.packages = FindPackages();
    seen.now = std::time(nullptr);
    return seen;
}

} // namespace beaconctl
