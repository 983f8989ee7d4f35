#include "beaconctl/status_finders.h"

#include "beaconctl/sources.h"
#include "formats/ssdp_protocol.h"
#include "formats/utf8.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <utility>

namespace beaconctl {
namespace {

constexpr const char *kListFolder = "/var/www/discovery";
constexpr const char *kListFile = "/var/www/discovery/browse.json";
constexpr const char *kDocumentMark = "_upnp_ssdp_";
// dpkg-query writes an error line for each unknown package; 2>/dev/null drops it.
constexpr const char *kPackageQuery =
    "exec /usr/bin/dpkg-query --show "
    "--showformat='${db:Status-Status} ${Package} ${Version}\\n' "
    "avahi-daemon beacon-configd beaconctl beacond beacond-web 2>/dev/null";

struct CloseFolder
{
    void operator()(DIR *folder) const { static_cast<void>(closedir(folder)); }
};

struct ClosePipe
{
    void operator()(std::FILE *pipe) const { static_cast<void>(pclose(pipe)); }
};

FileState Examine(const std::string &path)
{
    FileState file;
    file.path = path;
    struct statx state = {};
    // lstat(2) would refuse files with a date after 2038 where time_t has 32 bits.
    if (statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BASIC_STATS, &state) != 0) {
        file.error = errno;
        return file;
    }
    file.owner = {state.stx_uid, state.stx_gid, {}};
    file.mode = state.stx_mode;
    return file;
}

std::vector<FileState> FilesIn(const std::string &path, bool (*isWanted)(const std::string &))
{
    std::vector<FileState> files;
    const std::unique_ptr<DIR, CloseFolder> folder(opendir(path.c_str()));
    // NOLINTNEXTLINE(concurrency-mt-unsafe): a program of one thread
    while (const dirent *entry = folder != nullptr ? readdir(folder.get()) : nullptr) {
        if (isWanted(entry->d_name)) {
            files.push_back(Examine(path + '/' + entry->d_name));
        }
    }
    return files;
}

Folder FindFolder(const std::string &path, bool (*isWanted)(const std::string &))
{
    Folder folder;
    folder.state = Examine(path);
    if (folder.state.error != 0) {
        return folder;
    }
    struct statvfs disk = {};
    if (statvfs(path.c_str(), &disk) == 0) {
        folder.isReadOnly = (disk.f_flag & ST_RDONLY) != 0;
        folder.isFull = disk.f_blocks > 0 && disk.f_bavail == 0;
    }
    folder.files = FilesIn(path, isWanted);
    return folder;
}

using Devices = std::multiset<std::pair<std::string, std::string>>;

Devices NamesAndAddresses(const Entries &entries)
{
    Devices devices;
    for (const Entry &entry : entries) {
        // As the reader of the browse list does it.
        devices.emplace(formats::ReplaceInvalidUtf8(entry.hostName),
                        formats::ReplaceInvalidUtf8(entry.address));
    }
    return devices;
}

} // namespace

Folder FindDocuments()
{
    return FindFolder(formats::kWebRoot, [](const std::string &name) {
        return name.find(kDocumentMark) != std::string::npos;
    });
}

Folder FindLists()
{
    return FindFolder(kListFolder, [](const std::string &name) {
        return name == "browse.json" || name == "__browse.json";
    });
}

BrowseList FindBrowseList(const std::optional<Listing> &known)
{
    BrowseList list;
    struct statx state = {};
    if (statx(AT_FDCWD, kListFile, 0, STATX_BASIC_STATS, &state) == 0) {
        list.size = state.stx_size;
        list.written = static_cast<std::time_t>(state.stx_mtime.tv_sec);
    } else {
        list.isMissing = errno == ENOENT;
    }
    Entries entries;
    if (!ReadBrowseFile(kListFile, entries, list.error)) {
        return list;
    }
    list.devices = entries.size();
    if (known && !known->cut) {
        list.isCurrent = NamesAndAddresses(entries) == NamesAndAddresses(known->entries);
    }
    return list;
}

std::vector<Package> ReadPackages(std::string_view answer)
{
    std::vector<Package> packages;
    std::istringstream lines{std::string(answer)};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string status;
        Package package;
        if (words >> status >> package.name >> package.version && status == "installed") {
            packages.push_back(package);
        }
    }
    return packages;
}

std::vector<Package> FindPackages()
{
    std::string answer;
    const std::unique_ptr<std::FILE, ClosePipe> pipe(popen(kPackageQuery, "re"));
    std::array<char, 512> line{};
    while (pipe != nullptr && std::fgets(line.data(), line.size(), pipe.get()) != nullptr) {
        answer += line.data();
    }
    return ReadPackages(answer);
}

} // namespace beaconctl
