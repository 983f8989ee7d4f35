#pragma once

namespace test {

// The device under test, and another host of its network.
constexpr const char *kOwnAddress = "192.0.2.10";
constexpr const char *kPeerAddress = "192.0.2.20";

} // namespace test
