#pragma once

#include "configd/net_device.h"

#include <libmnl/libmnl.h>
#include <memory>

namespace configd {

// Follows one interface of the kernel by rtnetlink. A notification only says
// that something changed; what there is now is then asked anew, so that neither
// lost notifications (ENOBUFS) nor stale ones can leave a wrong picture, and an
// interface may be renamed or made anew. Owned by one thread.
// Both operations throw std::system_error when the kernel refuses.
class InterfaceWatch
{
public:
    explicit InterfaceWatch(std::string name);

    // Readable when something may have changed.
    [[nodiscard]] int Number() const;

    // Forgets all notifications and asks for the interface as it is now.
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
