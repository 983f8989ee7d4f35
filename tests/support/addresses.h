#pragma once

namespace test {

// The addresses of the device under test and of another host on its network.
constexpr const char *kOwnAddress = "192.0.2.10";
constexpr const char *kPeerAddress = "192.0.2.20";

} // namespace test
