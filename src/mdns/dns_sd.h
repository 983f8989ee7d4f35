#pragma once

#include <QStringList>
#include <avahi-common/strlst.h>
#include <cstddef>
#include <forward_list>
#include <memory>
#include <string>
#include <string_view>

// The data that Mdns registers with Avahi: the instance name and the services. Failures:
// none, except for lack of memory.
namespace mdns {

// The length in bytes of the longest name that instanceName() returns.
constexpr std::size_t kInstanceNameMax = 255;

// The DNS-SD instance name of a device: the ASCII letters, digits and "-" of its host
// name, from the first letter on. If nothing is left, the name is "vex-", the product
// name, "-" and the serial number. Either is cut to kInstanceNameMax bytes. hostName may
// contain any bytes; the locale does not matter. Any thread.
//
// Avahi refuses names of more than 63 bytes, the limit of a DNS label (RFC 1035, 2.3.4).
[[nodiscard]] std::string instanceName(std::string_view hostName, std::string_view productName,
                                       std::string_view serial);

struct StringListDeleter
{
    void operator()(AvahiStringList *list) const { avahi_string_list_free(list); }
};
using TxtStrings = std::unique_ptr<AvahiStringList, StringListDeleter>; // null: no strings

// One service to publish.
struct Service
{
    int port;         // in host byte order
    const char *type; // such as "_http._tcp"; the text belongs to the caller of Mdns
    TxtStrings txt;
};

// The services to publish, the newest first. One thread at a time.
using Services = std::forward_list<Service>;

// The service with this type (compared as text) and port. If there is none, adds one without
// TXT strings at the front.
[[nodiscard]] Service &findOrAddService(Services &services, const char *type, int port);

// Removes the service with this type (compared as text) and port. Returns false if there is
// none.
[[nodiscard]] bool removeService(Services &services, const char *type, int port);

// The strings in UTF-8, added one after the other. Avahi adds at the front of its list,
// and reverses the list when it writes the TXT record. Any thread.
[[nodiscard]] TxtStrings makeTxtStrings(const QStringList &texts);

} // namespace mdns
