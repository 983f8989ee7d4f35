#include "support/capture.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace test {
namespace {

// Redirects one standard descriptor to a memory file for the length of a scope.
class Redirection
{
public:
    explicit Redirection(int descriptor)
        : mDescriptor(descriptor), mSaved(dup(descriptor)), mFile(memfd_create("captured", 0))
    {
        if (mSaved < 0 || mFile < 0 || dup2(mFile, descriptor) < 0) {
            throw std::runtime_error("cannot redirect a standard stream");
        }
    }
    Redirection(const Redirection &) = delete;
    Redirection &operator=(const Redirection &) = delete;
    ~Redirection()
    {
        Restore();
        close(mFile);
    }

    void Restore()
    {
        if (mSaved >= 0) {
            dup2(mSaved, mDescriptor);
            close(mSaved);
            mSaved = -1;
        }
    }

    [[nodiscard]] std::string Text() const
    {
        std::string text;
        std::array<char, 4096> buffer{};
        off_t at = 0;
        ssize_t got = 0;
        while ((got = pread(mFile, buffer.data(), buffer.size(), at)) > 0) {
            text.append(buffer.data(), static_cast<size_t>(got));
            at += got;
        }
        return text;
    }

private:
    int mDescriptor;
    int mSaved;
    int mFile;
};

void FlushAll()
{
    std::cout.flush();
    std::cerr.flush();
    std::fflush(nullptr);
}

} // namespace

void AwaitCapturedErr()
{
    struct stat file = {};
    while (fstat(STDERR_FILENO, &file) == 0 && file.st_size == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

Output Capture(const std::function<void()> &code)
{
    FlushAll();
    Redirection out(STDOUT_FILENO);
    Redirection err(STDERR_FILENO);
    code();
    FlushAll();
    out.Restore();
    err.Restore();
    return {out.Text(), err.Text()};
}

} // namespace test
