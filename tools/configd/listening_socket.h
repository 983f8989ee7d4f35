#pragma once

#include "configd/descriptor.h"

#include <cstdint>

// The socket that clients connect to. Functions for one thread (environment).
namespace configd {

// Takes descriptor 3 if the environment says that systemd hands it over to this
// process (LISTEN_PID and LISTEN_FDS, see sd_listen_fds(3)); otherwise listens on
// 127.0.0.1 and port. Throws std::system_error when the system refuses, and
// Failure with kWrongUsage if descriptor 3 does not listen on 127.0.0.1.
[[nodiscard]] Descriptor OpenListeningSocket(std::uint16_t port);

// The port of such a socket.
[[nodiscard]] std::uint16_t PortOf(const Descriptor &socket);

} // namespace configd
