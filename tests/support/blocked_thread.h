#pragma once

#include <filesystem>
#include <fstream>
#include <string>
#include <sys/types.h>
#include <thread>
#include <unistd.h>

namespace test {

// Waits until a thread of this process sleeps in the kernel.
inline void AwaitBlocked(pid_t threadId)
{
    std::string state;
    while (state != "S") {
        std::this_thread::yield();
        // An emulator replaces /proc/self/stat, but not this file.
        std::ifstream status("/proc/self/task/" + std::to_string(threadId) + "/stat");
        std::string number;
        std::string name; // in brackets; the names of test threads have no spaces
        status >> number >> name >> state;
    }
}

// Calls AwaitBlocked for every thread of this process except the caller.
// REQUIRES: no thread ends meanwhile.
inline void AwaitOthersBlocked()
{
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/task")) {
        const pid_t threadId = std::stoi(entry.path().filename());
        if (threadId != gettid()) {
            AwaitBlocked(threadId);
        }
    }
}

} // namespace test
