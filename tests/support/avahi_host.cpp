#include "support/avahi_host.h"

#include "support/private_namespace.h"

#include <cstdlib>
#include <fstream>
#include <sched.h>
#include <stdexcept>
#include <sys/mount.h>

namespace test {
namespace {

std::string WriteFile(const std::string &path, const std::string &text)
{
    std::ofstream(path) << text;
    return path;
}

std::string BusConfiguration(const std::string &address)
{
    return R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><listen>)" +
           address + R"(</listen><auth>EXTERNAL</auth><policy context="default">
<allow user="*"/><allow own="*"/><allow send_type="method_call"/><allow send_type="signal"/>
<allow send_type="method_return"/><allow send_type="error"/><allow receive_type="method_call"/>
<allow receive_type="signal"/><allow receive_type="method_return"/><allow receive_type="error"/>
</policy></busconfig>)";
}

std::string AvahiConfiguration(const std::string &name)
{
    return "[server]\nhost-name=" + name +
           "\nuse-ipv4=yes\nuse-ipv6=no\nenable-dbus=yes\n"
           "[wide-area]\nenable-wide-area=no\n"
           "[publish]\npublish-hinfo=no\npublish-workstation=no\npublish-aaaa-on-ipv4=no\n";
}

// MoveToPeer and MoveToHost fail if there is no private network. Therefore no daemon starts in
// the machine's own network.
void MoveTo(AvahiHost::Side side)
{
    if (side == AvahiHost::Side::Peer) {
        MoveToPeer();
    } else {
        MoveToHost();
    }
}

void SetBus(const std::string &address)
{
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1); // NOLINT(concurrency-mt-unsafe)
}

// Mounts a file with this text over the file at path.
void HideUnder(const std::string &text, const std::string &path)
{
    const std::string file = WriteFile("/run" + path.substr(path.rfind('/')), text);
    if (mount(file.c_str(), path.c_str(), nullptr, MS_BIND, nullptr) != 0) {
        throw std::runtime_error("cannot mount over " + path);
    }
}

// avahi-daemon writes its process ID and a socket to a folder of /run, which is the same one in
// all network namespaces, and makes the user avahi the folder's owner. Therefore each daemon
// gets a private /run, and a user list in which avahi is a user of the test's user namespace.
void MakeAvahiFileTree()
{
    if (unshare(CLONE_NEWNS) != 0 || mount("tmpfs", "/run", "tmpfs", 0, "mode=755") != 0) {
        throw std::runtime_error("cannot make a private /run");
    }
    HideUnder("root:x:0:0::/:/bin/sh\navahi:x:0:0::/:/bin/sh\n", "/etc/passwd");
    HideUnder("root:x:0:\navahi:x:0:\n", "/etc/group");
}

int ExecuteAvahi(AvahiHost::Side side, const std::string &busAddress,
                 const std::string &configuration)
{
    MoveTo(side);
    MakeAvahiFileTree();
    SetBus(busAddress);
    return Execute(
        {"avahi-daemon", "--no-drop-root", "--no-chroot", "--no-rlimits", "--file", configuration});
}

} // namespace

SystemBus::SystemBus(const std::string &name) : mAddress("unix:path=/var/" + name + ".bus")
{
    const std::string configuration =
        WriteFile("/var/" + name + "-bus.conf", BusConfiguration(mAddress));
    mDaemon = std::make_unique<LiveChild>([&configuration] {
        return Execute({"dbus-daemon", "--config-file=" + configuration, "--nofork", "--nopidfile",
                        "--print-address"});
    });
    if (!mDaemon->WaitForOut("\n")) {
        throw std::runtime_error("no system bus: " + mDaemon->Err());
    }
}

AvahiHost::AvahiHost(Side side, const std::string &name) : mSide(side), mBus(name)
{
    const std::string configuration =
        WriteFile("/var/" + name + "-avahi.conf", AvahiConfiguration(name));
    mDaemon = std::make_unique<LiveChild>(
        [this, &configuration] { return ExecuteAvahi(mSide, BusAddress(), configuration); });
    WaitUntilNamed(name);
}

void AvahiHost::WaitUntilNamed(const std::string &name)
{
    if (!mDaemon->WaitForErr("Server startup complete. Host name is " + name + ".local.")) {
        throw std::runtime_error("no avahi-daemon: " + mDaemon->Err());
    }
}

void AvahiHost::Rename(const std::string &name)
{
    if (Start({"avahi-set-host-name", name}).WaitForEnd() != 0) {
        throw std::runtime_error("avahi-daemon takes no other host name");
    }
    WaitUntilNamed(name);
}

LiveChild AvahiHost::Start(const std::function<int()> &code) const
{
    return LiveChild([this, &code] {
        MoveTo(mSide);
        SetBus(BusAddress());
        return code();
    });
}

LiveChild AvahiHost::Start(const std::vector<std::string> &command) const
{
    return Start([&command] { return Execute(command); });
}

void AvahiHost::EndAvahi(int signal)
{
    mDaemon->Signal(signal);
    if (mDaemon->WaitForEnd() < 0) {
        throw std::runtime_error("avahi-daemon does not end");
    }
}

} // namespace test
