#pragma once

#include "support/live_child.h"

#include <memory>
#include <string>
#include <vector>

namespace test {

// A D-Bus system bus. Both hosts of the private network can use its address (see
// private_namespace.h).
class SystemBus
{
public:
    // name is unique among the buses of the test program. Returns when the bus
    // accepts connections; throws std::runtime_error if it does not.
    // REQUIRES: EnterPrivateNamespaces has been called; no other thread runs.
    explicit SystemBus(const std::string &name);

    [[nodiscard]] const std::string &Address() const { return mAddress; }

    // Kills the bus.
    void End() { mDaemon.reset(); }

private:
    std::string mAddress;
    std::unique_ptr<LiveChild> mDaemon;
};

// An avahi-daemon on one of the two hosts of the private network, with its own system bus.
class AvahiHost
{
public:
    enum class Side { Own, Peer };

    // name is the daemon's host name without ".local". Returns when the daemon
    // uses it; throws std::runtime_error if it does not.
    AvahiHost(Side side, const std::string &name);

    [[nodiscard]] const std::string &BusAddress() const { return mBus.Address(); }

    // Runs code in a child process on that host, with that system bus.
    [[nodiscard]] LiveChild Start(const std::function<int()> &code) const;
    // Runs a program there instead.
    [[nodiscard]] LiveChild Start(const std::vector<std::string> &command) const;

    // Gives avahi-daemon another host name; returns when the daemon uses it.
    void Rename(const std::string &name);
    // Ends avahi-daemon by a signal; the bus stays.
    void EndAvahi(int signal);
    // Kills the bus.
    void EndBus() { mBus.End(); }

private:
    void WaitUntilNamed(const std::string &name);

    Side mSide;
    SystemBus mBus;
    std::unique_ptr<LiveChild> mDaemon;
};

} // namespace test
