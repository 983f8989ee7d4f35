#pragma once

#include "configd/descriptor.h"

#include <cstdint>

namespace configd {

// The socket that clients connect to: listens on 127.0.0.1 and port. Throws
// std::system_error when the system refuses.
[[nodiscard]] Descriptor OpenListeningSocket(std::uint16_t port);

} // namespace configd
