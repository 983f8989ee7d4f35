#include "beaconctl/status_processes.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <dirent.h>
#include <fstream>
#include <grp.h>
#include <iterator>
#include <memory>
#include <pwd.h>
#include <sstream>
#include <unistd.h>

namespace beaconctl {
namespace {

constexpr const char *kProductFile = "/etc/product_id";
constexpr const char *kDaemonUser = "beacond";
// The fields of /proc/PID/stat after the program's name, which may contain anything: the
// state is the first, the time of the start the twentieth.
constexpr std::size_t kStartField = 19;

struct CloseFolder
{
    void operator()(DIR *folder) const { static_cast<void>(closedir(folder)); }
};

std::string ProcessFile(pid_t pid, const char *name)
{
    return "/proc/" + std::to_string(pid) + '/' + name;
}

// The names in a folder; none if it cannot be read.
std::vector<std::string> NamesIn(const std::string &path)
{
    std::vector<std::string> names;
    const std::unique_ptr<DIR, CloseFolder> folder(opendir(path.c_str()));
    // NOLINTNEXTLINE(concurrency-mt-unsafe): a program of one thread
    while (const dirent *entry = folder != nullptr ? readdir(folder.get()) : nullptr) {
        names.emplace_back(entry->d_name);
    }
    return names;
}

std::vector<pid_t> AllProcesses()
{
    std::vector<pid_t> processes;
    for (const std::string &name : NamesIn("/proc")) {
        pid_t pid = 0;
        const char *const end = name.data() + name.size();
        const auto read = std::from_chars(name.data(), end, pid);
        if (read.ec == std::errc() && read.ptr == end) {
            processes.push_back(pid);
        }
    }
    return processes;
}

std::string Link(const std::string &path)
{
    std::array<char, 64> target{};
    const ssize_t length = readlink(path.c_str(), target.data(), target.size());
    return {target.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

// Only root and the process's user may read the link. For others, a process of a container
// is known by its PID namespace.
bool HasOtherNetwork(pid_t pid, const ProcessStatus &status)
{
    const std::string network = Link(ProcessFile(pid, "ns/net"));
    return network.empty() ? status.inContainer : network != Link("/proc/self/ns/net");
}

std::time_t StartTime(unsigned long long startTick)
{
    timespec sinceBoot{};
    clock_gettime(CLOCK_BOOTTIME, &sinceBoot);
    const auto started =
        static_cast<std::time_t>(startTick / static_cast<unsigned long long>(sysconf(_SC_CLK_TCK)));
    return std::time(nullptr) - sinceBoot.tv_sec + started;
}

std::string UserName(uid_t user)
{
    const passwd *const entry = getpwuid(user); // NOLINT(concurrency-mt-unsafe): one thread
    return entry != nullptr ? entry->pw_name : std::to_string(user);
}

std::optional<Process> FindProcess(pid_t pid, std::string_view program)
{
    if (ReadText(ProcessFile(pid, "comm")) != std::string(program) + '\n') {
        return std::nullopt;
    }
    const auto stat = ReadProcessStat(ReadText(ProcessFile(pid, "stat")).value_or(""));
    const auto status = ReadProcessStatus(ReadText(ProcessFile(pid, "status")).value_or(""));
    if (!stat || stat->hasEnded || !status || HasOtherNetwork(pid, *status)) {
        return std::nullopt;
    }
    return Process{pid, status->rights, UserName(status->rights.user), StartTime(stat->startTick)};
}

} // namespace

std::optional<ProcessStat> ReadProcessStat(std::string_view stat)
{
    const std::size_t nameEnd = stat.rfind(") ");
    if (nameEnd == std::string_view::npos) {
        return std::nullopt;
    }
    std::istringstream fields{std::string(stat.substr(nameEnd + 2))};
    const std::vector<std::string> words{std::istream_iterator<std::string>(fields), {}};
    if (words.size() <= kStartField) {
        return std::nullopt;
    }
    ProcessStat result;
    result.hasEnded = words.front() == "Z" || words.front() == "X";
    const std::string &start = words[kStartField];
    std::from_chars(start.data(), start.data() + start.size(), result.startTick);
    return result;
}

std::optional<ProcessStatus> ReadProcessStatus(std::string_view status)
{
    ProcessStatus result;
    bool complete = false;
    std::istringstream lines{std::string(status)};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string key;
        words >> key;
        const std::vector<unsigned int> numbers{std::istream_iterator<unsigned int>(words), {}};
        // Real, effective, saved and file system user.
        if (key == "Uid:" && numbers.size() == 4) {
            result.rights.user = numbers[1];
            complete = true;
        } else if (key == "Gid:" && numbers.size() == 4) {
            result.rights.group = numbers[1];
        } else if (key == "Groups:") {
            result.rights.groups.assign(numbers.begin(), numbers.end());
        } else if (key == "NSpid:") {
            result.inContainer = numbers.size() > 1;
        }
    }
    return complete ? std::optional(result) : std::nullopt;
}

std::optional<std::string> ReadVariable(std::string_view environment, std::string_view name)
{
    while (!environment.empty()) {
        const std::string_view variable = environment.substr(0, environment.find('\0'));
        environment.remove_prefix(std::min(variable.size() + 1, environment.size()));
        if (variable.substr(0, variable.find('=')) == name && variable.size() > name.size()) {
            return std::string(variable.substr(name.size() + 1));
        }
    }
    return std::nullopt;
}

std::optional<std::string> ReadText(const std::string &path)
{
    errno = 0;
    const std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf(); // unlike an iterator, does not throw if the process ends meanwhile
    return file.is_open() && !text.bad() ? std::optional(text.str()) : std::nullopt;
}

std::vector<Process> FindProcesses(std::string_view program)
{
    std::vector<Process> found;
    for (const pid_t pid : AllProcesses()) {
        if (auto process = FindProcess(pid, program)) {
            found.push_back(std::move(*process));
        }
    }
    std::sort(found.begin(), found.end(), [](const Process &a, const Process &b) {
        return std::pair(a.since, a.pid) < std::pair(b.since, b.pid);
    });
    return found;
}

bool HasSocket(const Process &process, const UdpSocket &socket)
{
    const std::string folder = ProcessFile(process.pid, "fd/");
    const std::vector<std::string> descriptors = NamesIn(folder);
    const std::string target = "socket:[" + std::to_string(socket.inode) + "]";
    return descriptors.empty() ? process.rights.user == socket.user
                               : std::any_of(descriptors.begin(), descriptors.end(),
                                             [&](const std::string &descriptor) {
                                                 return Link(folder + descriptor) == target;
                                             });
}

bool SeesProcesses()
{
    return ReadText("/proc/1/comm").has_value();
}

// Like the daemon: a variable that is set counts even if it is empty, white space at the
// end of the file does not.
ProductID FindProductID(const Process &daemon)
{
    const auto environment = ReadText(ProcessFile(daemon.pid, "environ"));
    if (!environment) {
        return {ProductID::Known::NotAllowed, ""};
    }
    if (const auto variable = ReadVariable(*environment, "PRODUCT_ID")) {
        return {ProductID::Known::Found, *variable};
    }
    auto text = ReadText(kProductFile);
    if (!text) {
        return {errno == EACCES ? ProductID::Known::NotAllowed : ProductID::Known::Missing, ""};
    }
    text->erase(text->find_last_not_of(" \n\r\t") + 1);
    return {ProductID::Known::Found, *text};
}

std::optional<Rights> RightsOfDaemonUser()
{
    const passwd *const entry = getpwnam(kDaemonUser); // NOLINT(concurrency-mt-unsafe)
    if (entry == nullptr) {
        return std::nullopt;
    }
    std::array<gid_t, 64> groups{};
    int count = static_cast<int>(groups.size());
    const int all = getgrouplist(kDaemonUser, entry->pw_gid, groups.data(), &count);
    const auto end = groups.begin() + std::max(all, 0);
    return Rights{entry->pw_uid, entry->pw_gid, {groups.begin(), end}};
}

} // namespace beaconctl
