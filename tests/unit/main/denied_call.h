#pragma once

#include <array>
#include <cerrno>
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <system_error>

namespace test {

// From now on a system call fails with an error, in this thread and in threads and processes
// that it starts later. Calls whose first argument has one of the given bits do not fail.
inline void DenyCall(long number, int error, unsigned int exceptBits = 0)
{
    const std::array<sock_filter, 6> program{{
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned int>(number), 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args)),
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, exceptBits, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned int>(error)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    }};
    sock_fprog filter{};
    filter.len = program.size();
    filter.filter = const_cast<sock_filter *>(program.data());
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
        throw std::system_error(errno, std::generic_category(), "seccomp");
    }
}

} // namespace test
