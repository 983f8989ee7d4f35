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

// StuckFolder simulates a folder on a file system that does not answer: a thread that opens a
// file in it waits until Answer is called. This affects only the code that Run runs, and
// threads that it starts; these threads must end before this object is destroyed. A seccomp
// filter makes the kernel ask the test before each openat().
class StuckFolder
{
public:
    // The start of the paths of the folder's files, for instance "/var/www/html/".
    explicit StuckFolder(std::string folder);
    ~StuckFolder();
    StuckFolder(const StuckFolder &) = delete;
    StuckFolder &operator=(const StuckFolder &) = delete;

    // Runs code on a new thread and waits for the end of code. REQUIRES: called once.
    void Run(const std::function<void()> &code);

    // Waits until a thread is blocked in opening a file of the folder.
    void AwaitCall();

    // Lets the waiting threads continue. From now on no thread waits.
    void Answer();

private:
    void Supervise();
    void TakeCall();
    void Continue(std::uint64_t call) const;
    [[nodiscard]] bool Concerns(unsigned int thread, std::uint64_t path) const;
    void Wake() const;

    const std::string mFolder;
    int mListener = -1; // set before the supervisor starts
    int mWakeup = -1;
    std::thread mSupervisor;
    std::atomic<bool> mEnd{false};
    std::mutex mMutex;
    std::condition_variable mWaits;
    // Guarded by mMutex:
    bool mAnswered = false;
    std::vector<std::uint64_t> mWaiting; // the calls that wait
};

} // namespace test
