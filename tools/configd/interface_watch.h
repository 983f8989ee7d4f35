#pragma once

#include "configd/net_device.h"

#include <libmnl/libmnl.h>
#include <memory>

namespace configd {

// InterfaceWatch follows one interface of the kernel by rtnetlink. After a notification
// the whole state is read again. Lost notifications (ENOBUFS) and outdated ones
// therefore do no harm, and the interface may be renamed or recreated. Owned by one
// thread. The constructor and Read throw std::system_error if a system call fails.
class InterfaceWatch
{
public:
    explicit InterfaceWatch(std::string name);

    // Readable when the state may have changed.
    [[nodiscard]] int Descriptor() const;

    // Drops all notifications and reads the current state from the kernel.
    [[nodiscard]] NetDevice Read();

private:
    struct Close
    {
        void operator()(mnl_socket *socket) const { mnl_socket_close(socket); }
    };
    using Socket = std::unique_ptr<mnl_socket, Close>;

    [[nodiscard]] static Socket OpenSocket(int flags, unsigned int groups);

    const std::string mName;
    const Socket mNotifications;
};

} // namespace configd
