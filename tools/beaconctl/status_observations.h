#pragma once

#include "beaconctl/entries.h"

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// The observations of `beaconctl status` about this device, without any judgement. Texts are
// bytes from the network or from files: show them through SafeText only.
namespace beaconctl {

// The rights of a process to files.
struct Rights
{
    uid_t user = 0;
    gid_t group = 0;
    std::vector<gid_t> groups; // the supplementary ones
};

struct Process
{
    pid_t pid = 0;
    Rights rights;
    std::string userName; // the number if the user has no name
    std::time_t since = 0;
};

// The text of PRODUCT_ID or of the product file.
struct ProductID
{
    enum class Known { NotAllowed, Missing, Found };

    Known known = Known::Missing; // NotAllowed: this user may not see it
    std::string text;
};

struct Interface
{
    bool exists = false;
    bool isUp = false;
    bool hasLink = false;
    std::vector<std::string> addresses; // IPv4
};

// A UDP socket of this device that is bound to no multicast group.
struct UdpSocket
{
    uid_t user = 0;
    std::uint64_t inode = 0;
    // Whether a daemon has it. Users other than root only see whether a daemon's user has it.
    bool ofDaemon = false;
};

// The answers of the diagnostic port.
struct Engine
{
    std::string error;                // empty if it answered
    std::optional<Listing> announced; // of the command gh
    std::optional<Listing> known;     // of gn
};

// The configuration service. Members that it did not report are not set.
struct Configuration
{
    std::string error; // empty if it answered as a configuration service
    std::optional<std::string> hostName;
    std::optional<bool> ssdpEnable;
    std::optional<std::string> setupState;
    std::optional<bool> connected;
};

struct Dnssd
{
    bool avahiRuns = false;
    bool asked = false;                // avahi-daemon was asked: net0 has an address
    std::vector<std::string> services; // names of this device's services with beacond's TXT strings
};

// A file or a folder.
struct FileState
{
    std::string path;
    int error = 0; // the system's number if it cannot be examined
    Rights owner;  // without supplementary groups
    mode_t mode = 0;
};

// A folder that the daemon writes.
struct Folder
{
    FileState state;
    bool isReadOnly = false;
    bool isFull = false;
    std::vector<FileState> files; // those that the daemon writes
};

struct BrowseList
{
    std::string error; // empty if it was read
    bool isMissing = false;
    std::uint64_t size = 0; // bytes
    std::size_t devices = 0;
    std::time_t written = 0;
    // Whether it names the devices that the engine knows; not set if that is not known.
    std::optional<bool> isCurrent;
};

struct Package
{
    std::string name;
    std::string version;
};

struct Observations
{
    std::time_t now = 0;
    std::string version;       // of beaconctl
    bool seesProcesses = true; // also those of other users
    std::vector<Process> daemons;
    std::optional<Rights> daemonRights; // of the daemon, or of its user if it does not run
    ProductID product;
    Interface interface;
    std::vector<UdpSocket> sockets; // on the SSDP port
    // Of the daemon's SSDP socket, in bytes; not set if the kernel does not report it.
    std::optional<std::uint32_t> receiveBuffer;
    Engine engine;
    Configuration configuration;
    Dnssd dnssd;
    Folder documents;
    Folder lists;
    BrowseList browseList;
    std::vector<Package> packages; // the installed ones of beacond, and avahi-daemon
};

} // namespace beaconctl
