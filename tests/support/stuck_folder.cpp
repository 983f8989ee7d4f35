#include "support/stuck_folder.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <future>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace test {
namespace {

// Installs the filter: from now on the kernel asks before this thread, or a thread that it
// starts, opens a file. Returns the descriptor for these questions.
int AskBeforeOpening()
{
    std::array<sock_filter, 4> program{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    const sock_fprog filter{program.size(), program.data()};
    const long listener = prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0
                              ? -1
                              : syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER,
                                        SECCOMP_FILTER_FLAG_NEW_LISTENER, &filter);
    if (listener < 0) {
        throw std::system_error(errno, std::generic_category(), "seccomp");
    }
    return static_cast<int>(listener);
}

} // namespace

StuckFolder::StuckFolder(std::string folder)
    : mFolder(std::move(folder)), mWakeup(eventfd(0, EFD_CLOEXEC))
{
}

StuckFolder::~StuckFolder()
{
    Answer();
    mEnd = true;
    Wake();
    if (mSupervisor.joinable()) {
        mSupervisor.join();
    }
    close(mListener);
    close(mWakeup);
}

void StuckFolder::Run(const std::function<void()> &code)
{
    std::promise<void> filtered;
    std::promise<void> supervised;
    std::thread thread([&] {
        mListener = AskBeforeOpening();
        filtered.set_value();
        supervised.get_future().wait();
        code();
    });
    filtered.get_future().wait();
    mSupervisor = std::thread([this] { Supervise(); });
    supervised.set_value();
    thread.join();
}

void StuckFolder::AwaitCall()
{
    std::unique_lock<std::mutex> held(mMutex);
    if (!mWaits.wait_for(held, std::chrono::minutes(1), [this] { return !mWaiting.empty(); })) {
        throw std::runtime_error("no thread opened a file in " + mFolder);
    }
}

void StuckFolder::Answer()
{
    const std::lock_guard<std::mutex> held(mMutex);
    mAnswered = true;
    for (const std::uint64_t call : mWaiting) {
        Continue(call);
    }
    mWaiting.clear();
}

void StuckFolder::Supervise()
{
    while (!mEnd) {
        std::array<pollfd, 2> news{{{mListener, POLLIN, 0}, {mWakeup, POLLIN, 0}}};
        if (poll(news.data(), news.size(), -1) > 0 && (news[0].revents & POLLIN) != 0) {
            TakeCall();
        }
    }
}

void StuckFolder::TakeCall()
{
    seccomp_notif call{};
    if (ioctl(mListener, SECCOMP_IOCTL_NOTIF_RECV, &call) != 0) {
        return;
    }
    const bool concerned = Concerns(call.pid, call.data.args[1]);
    const std::lock_guard<std::mutex> held(mMutex);
    if (concerned && !mAnswered) {
        mWaiting.push_back(call.id);
        mWaits.notify_all();
    } else {
        Continue(call.id);
    }
}

void StuckFolder::Continue(std::uint64_t call) const
{
    seccomp_notif_resp answer{};
    answer.id = call;
    answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    static_cast<void>(ioctl(mListener, SECCOMP_IOCTL_NOTIF_SEND, &answer));
}

// Reads the name by a system call: sanitizers would report a plain read as a race.
bool StuckFolder::Concerns(unsigned int thread, std::uint64_t path) const
{
    std::string text(mFolder.size(), '\0');
    const iovec to{text.data(), text.size()};
    const iovec from{reinterpret_cast<void *>(path), text.size()};
    return process_vm_readv(static_cast<pid_t>(thread), &to, 1, &from, 1, 0) ==
               static_cast<ssize_t>(text.size()) &&
           text == mFolder;
}

void StuckFolder::Wake() const
{
    static_cast<void>(eventfd_write(mWakeup, 1));
}

} // namespace test
