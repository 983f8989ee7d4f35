#pragma once

#include "vexbase/vex_file_descriptor.h"

#include <cstdint>

// The socket that clients connect to. Not thread-safe: reads environment variables.
namespace configd {

// Uses descriptor 3 if systemd passed it to this process (LISTEN_PID and LISTEN_FDS, see
// sd_listen_fds(3)); otherwise opens a socket on 127.0.0.1 and port. Throws
// std::system_error if a system call fails, and Failure with kWrongUsage if descriptor 3
// is not a TCP socket listening on 127.0.0.1.
[[nodiscard]] vexbase::FileDescriptor OpenListeningSocket(std::uint16_t port);

// The port that the socket listens on.
[[nodiscard]] std::uint16_t PortOf(const vexbase::FileDescriptor &socket);

} // namespace configd
