#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace test {

// StuckFolder is a folder on a file system that does not answer: whoever opens a
// file in it waits until Answer. Only code that Run runs sees it so, with all
// threads started there; they must have ended before this object is destroyed.
// Done with a filter of system calls, which the kernel asks the test about.
class StuckFolder
{
public:
    // A folder such as "/var/www/html/", as its files are opened by.
    explicit StuckFolder(std::string folder);
    ~StuckFolder();
    StuckFolder(const StuckFolder &) = delete;
    StuckFolder &operator=(const StuckFolder &) = delete;

    // Runs code on a thread of its own and waits for its end. Once only.
    void Run(const std::function<void()> &code);

    // Waits until somebody waits for the folder.
    void AwaitSomebody();

    // Lets those who wait go on, and lets nobody wait any more.
    void Answer();

private:
    void Supervise();
    void TakeCall();
    void Continue(std::uint64_t call) const;
    [[nodiscard]] bool Concerns(unsigned int thread, std::uint64_t path) const;
    void Wake() const;

    const std::string mFolder;
    int mListener = -1; // known to the supervisor from its start
    int mWakeup = -1;
    std::thread mSupervisor;
    std::atomic<bool> mEnd{false};
    std::mutex mMutex;
    std::condition_variable mWaits;
    // Guarded by mMutex:
    bool mAnswered = false;
    std::vector<std::uint64_t> mWaiting; // calls
};

} // namespace test
