#pragma once

#include <array>
#include <cerrno>
#include <string>
#include <sys/inotify.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace test {

// Records changes to the files of a folder by all threads.
class WatchedFolder
{
public:
    explicit WatchedFolder(const char *path) : mDescriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    {
        if (inotify_add_watch(mDescriptor, path, IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_TO) < 0) {
            throw std::system_error(errno, std::generic_category(), path);
        }
    }
    ~WatchedFolder() { close(mDescriptor); }
    WatchedFolder(const WatchedFolder &) = delete;
    WatchedFolder &operator=(const WatchedFolder &) = delete;

    // The changes since the last call, in order: "create NAME", "close NAME" after writing,
    // "rename NAME" with the new name.
    std::vector<std::string> Events()
    {
        std::vector<std::string> events;
        alignas(inotify_event) std::array<char, 16384> buffer{};
        ssize_t length = 0;
        while ((length = read(mDescriptor, buffer.data(), buffer.size())) > 0) {
            for (ssize_t at = 0; at < length;) {
                const auto *event = reinterpret_cast<const inotify_event *>(buffer.data() + at);
                events.push_back(Kind(event->mask) + event->name);
                at += static_cast<ssize_t>(sizeof *event + event->len);
            }
        }
        return events;
    }

private:
    static std::string Kind(std::uint32_t mask)
    {
        if ((mask & IN_CREATE) != 0) {
            return "create ";
        }
        return (mask & IN_CLOSE_WRITE) != 0 ? "close " : "rename ";
    }

    int mDescriptor;
};

} // namespace test
